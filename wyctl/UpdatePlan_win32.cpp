#include "wyctl/UpdatePlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cwctype>
#include <map>

#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_String.h"
#include "WySdk/UpdateDeploy.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

using KrCommon::String::ToUtf8;
using WyCommon::Utility::JoinPath;

struct Entry {
    std::wstring name;  // relative to the folder that was listed
    bool folder = false;
    bool link = false;
    bool leftover = false;
    std::uint64_t size = 0;
};

// By a key that ignores case and has a folder directly before what is in it.
using Tree = std::map<std::wstring, Entry>;

std::wstring KeyOf(const std::wstring& name) {
    std::wstring key = name;
    std::transform(key.begin(), key.end(), key.begin(), [](wchar_t character) {
        return character == L'\\' ? L'\1' : static_cast<wchar_t>(std::towupper(character));
    });
    return key;
}

Tree List(const std::wstring& folder) {
    Tree tree;
    std::vector<std::wstring> heads(1);
    WIN32_FIND_DATAW found;
    for (std::size_t i = 0; i < heads.size(); ++i) {
        const std::wstring head = heads[i];
        std::wstring path = JoinPath(folder, head);
        const KrCommon::Storage::FileFind find(JoinPath(path, L"*"), found);
        if (!find.IsOpen()) {
            const DWORD error = GetLastError();
            KrCommon::String::RemoveSeparator(path);
            throw Failure(fmt::format("{} cannot be listed, error {}", ToUtf8(path),
                                      static_cast<unsigned long>(error)));
        }
        do {
            if (KrCommon::Storage::IsDots(found)) {
                continue;
            }
            Entry entry;
            entry.name = head + found.cFileName;
            entry.folder = KrCommon::Storage::IsFolder(found);
            entry.link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            entry.size = (std::uint64_t{found.nFileSizeHigh} << 32U) | found.nFileSizeLow;
            if (entry.folder) {
                heads.push_back(entry.name + L"\\");
            }
            tree.emplace(KeyOf(entry.name), std::move(entry));
        } while (find.Next(found));
    }
    return tree;
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void PlanCopies(const Tree& download, UpdatePlan& plan) {
    for (const auto& [key, entry] : download) {
        if (!entry.folder) {
            std::wstring to = JoinPath(plan.temporary, entry.name);
            const bool replaces = Exists(to);
            plan.copies.push_back(
                {JoinPath(plan.download, entry.name), std::move(to), entry.size, replaces});
        }
    }
}

void PlanRestart(const Tree& temporary, UpdatePlan& plan) {
    for (const auto& [key, entry] : temporary) {
        std::wstring from = JoinPath(plan.temporary, entry.name);
        if (entry.folder && !entry.link) {
            plan.removals.push_back(from);
        }
        std::wstring to = JoinPath(plan.product, entry.name);
        const bool exists = Exists(to);
        plan.moves.push_back(
            {std::move(from), std::move(to), entry.folder, entry.leftover, exists});
    }
    // What lies deepest goes first.
    std::reverse(plan.removals.begin(), plan.removals.end());
    plan.removals.push_back(plan.temporary);
}

}  // namespace

std::uint64_t UpdatePlan::Bytes() const {
    std::uint64_t bytes = 0;
    for (const Copy& copy : copies) {
        bytes += copy.size;
    }
    return bytes;
}

UpdatePlan MakeUpdatePlan(const std::wstring& download, const std::wstring& product) {
    UpdatePlan plan;
    plan.download = download;
    KrCommon::String::RemoveSeparator(plan.download);
    plan.product = product;
    KrCommon::String::RemoveSeparator(plan.product);
    plan.temporary = UpdateDeploy::TemporaryFolder(product);
    Tree tree = List(plan.download);
    PlanCopies(tree, plan);
    if (Exists(plan.temporary)) {
        for (auto& [key, entry] : List(plan.temporary)) {
            entry.leftover = true;
            tree.emplace(key, entry);
        }
    }
    PlanRestart(tree, plan);
    return plan;
}

}  // namespace WyCtl
