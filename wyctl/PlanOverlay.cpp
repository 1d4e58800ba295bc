#include "wyctl/PlanOverlay.h"

#include <cwctype>
#include <utility>

namespace WyCtl {

namespace {

// One "\" between the parts, none at the end.
std::wstring Clean(const std::wstring& place) {
    std::wstring clean;
    for (const wchar_t letter : place) {
        const wchar_t plain = letter == L'/' ? L'\\' : letter;
        if (plain != L'\\' || clean.empty() || clean.back() != L'\\') {
            clean += plain;
        }
    }
    if (clean.ends_with(L'\\')) {
        clean.pop_back();
    }
    return clean;
}

std::wstring Above(const std::wstring& key) {
    const std::size_t end = key.rfind(L'\\');
    return end == std::wstring::npos ? std::wstring() : key.substr(0, end);
}

}  // namespace

std::wstring PlanOverlay::KeyOf(const std::wstring& place) {
    std::wstring key = Clean(place);
    for (wchar_t& letter : key) {
        letter = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(letter)));
    }
    return key;
}

void PlanOverlay::PutOne(const std::wstring& place, const std::wstring& origin) {
    Entry& entry = m_Entries[KeyOf(place)];
    entry.place = place;
    entry.origin = origin;
    entry.there = true;
    entry.kept = false;
}

void PlanOverlay::Put(const std::wstring& place, const std::wstring& origin) {
    const std::wstring clean = Clean(place);
    PutOne(clean, origin);
    for (std::wstring above = Above(clean); !above.empty(); above = Above(above)) {
        const auto known = m_Entries.find(KeyOf(above));
        if (known != m_Entries.end() && known->second.there) {
            return;
        }
        PutOne(above, {});
    }
}

void PlanOverlay::Remove(const std::wstring& place) {
    const std::wstring key = KeyOf(place);
    const std::wstring head = key + L'\\';
    for (auto at = m_Entries.lower_bound(head);
         at != m_Entries.end() && at->first.starts_with(head);) {
        at = m_Entries.erase(at);
    }
    Entry& entry = m_Entries[key];
    entry.there = false;
    entry.wiped = true;
    entry.kept = false;
}

void PlanOverlay::Keep(const std::wstring& place) {
    const std::wstring clean = Clean(place);
    Put(Above(clean), {});
    Entry& entry = m_Entries[KeyOf(clean)];
    entry.there = false;
    entry.wiped = false;
    entry.kept = true;
}

PlanOverlay::Answer PlanOverlay::Find(const std::wstring& place, std::wstring* origin) const {
    const std::wstring key = KeyOf(place);
    const auto exact = m_Entries.find(key);
    if (exact != m_Entries.end() && exact->second.there) {
        if (origin != nullptr) {
            *origin = exact->second.origin;
        }
        return Answer::There;
    }
    for (std::wstring at = key; !at.empty(); at = Above(at)) {
        const auto known = m_Entries.find(at);
        if (known != m_Entries.end() && known->second.kept) {
            return Answer::AsOnMachine;
        }
        if (known != m_Entries.end() && known->second.wiped) {
            return Answer::Gone;
        }
    }
    return Answer::AsOnMachine;
}

std::vector<std::wstring> PlanOverlay::PutBelow(const std::wstring& place) const {
    std::vector<std::wstring> places;
    const std::wstring head = KeyOf(place) + L'\\';
    for (auto at = m_Entries.lower_bound(head);
         at != m_Entries.end() && at->first.starts_with(head); ++at) {
        if (at->second.there && !at->second.origin.empty()) {
            places.push_back(at->second.place);
        }
    }
    return places;
}

}  // namespace WyCtl
