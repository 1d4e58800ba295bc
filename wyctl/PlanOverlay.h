#pragma once

// What a plan has changed so far, over a machine that stays as it is: later steps find the places
// as the earlier ones would have left them.

#include <map>
#include <string>
#include <vector>

namespace WyCtl {

// Places are paths of files, folders or keys with "\" between their parts; the case of letters is
// ignored.
class PlanOverlay {
public:
    enum class Answer { AsOnMachine, There, Gone };

    // From now on the place is there, and all above it; `origin` is where it comes from.
    void Put(const std::wstring& place, const std::wstring& origin);
    // From now on neither the place nor anything below it is there.
    void Remove(const std::wstring& place);
    // From now on the place is again as it is on the machine, also below one that was removed.
    void Keep(const std::wstring& place);
    // `origin` receives that of a place that was put; null is allowed.
    Answer Find(const std::wstring& place, std::wstring* origin = nullptr) const;
    // What was put below a place with an origin and is still there, as it was spelled.
    std::vector<std::wstring> PutBelow(const std::wstring& place) const;

private:
    struct Entry {
        std::wstring place;
        std::wstring origin;
        bool there = false;
        bool wiped = false;  // nothing that the machine has below it counts
        bool kept = false;   // as on the machine, whatever is said above it
    };
    static std::wstring KeyOf(const std::wstring& place);
    void PutOne(const std::wstring& place, const std::wstring& origin);

    std::map<std::wstring, Entry> m_Entries;
};

}  // namespace WyCtl
