#include "wyctl/UpdatePlan.h"

#include <algorithm>
#include <map>

#include "Common/KrCommon/KrComn_String.h"
#include "WySdk/UpdateDeploy.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/FolderTree.h"

namespace WyCtl {

namespace {

using WyCommon::Utility::JoinPath;

struct Entry : TreeEntry {
    bool leftover = false;
};

using Tree = std::map<std::wstring, Entry, PathOrder>;

Tree List(const std::wstring& folder) {
    Tree tree;
    for (TreeEntry& entry : ListTree(folder)) {
        std::wstring name = entry.name;
        tree.emplace(std::move(name), Entry{std::move(entry)});
    }
    return tree;
}

void PlanCopies(const Tree& download, UpdatePlan& plan) {
    for (const auto& [key, entry] : download) {
        if (!entry.folder) {
            std::wstring to = JoinPath(plan.temporary, entry.name);
            const bool replaces = PathExists(to);
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
        const bool exists = PathExists(to);
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
    if (PathExists(plan.temporary)) {
        for (auto& [key, entry] : List(plan.temporary)) {
            entry.leftover = true;
            tree.emplace(key, entry);
        }
    }
    PlanRestart(tree, plan);
    return plan;
}

}  // namespace WyCtl
