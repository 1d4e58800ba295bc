#include <fmt/format.h>

#include <algorithm>
#include <cwctype>

#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"
#include "wyctl/FolderTree.h"

namespace WyCtl {

using WyCommon::Utility::JoinPath;

std::vector<TreeEntry> ListTree(const std::wstring& folder) {
    std::vector<TreeEntry> tree;
    std::vector<std::wstring> heads(1);
    WIN32_FIND_DATAW found;
    for (std::size_t i = 0; i < heads.size(); ++i) {
        const std::wstring head = heads[i];
        std::wstring path = JoinPath(folder, head);
        const KrCommon::Storage::FileFind find(JoinPath(path, L"*"), found);
        if (!find.IsOpen()) {
            const DWORD error = GetLastError();
            KrCommon::String::RemoveSeparator(path);
            throw Failure(fmt::format("{} cannot be listed, error {}",
                                      KrCommon::String::ToUtf8(path),
                                      static_cast<unsigned long>(error)));
        }
        do {
            if (KrCommon::Storage::IsDots(found)) {
                continue;
            }
            TreeEntry entry;
            entry.name = head + found.cFileName;
            entry.folder = KrCommon::Storage::IsFolder(found);
            entry.link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            entry.size = (std::uint64_t{found.nFileSizeHigh} << 32U) | found.nFileSizeLow;
            if (entry.folder) {
                heads.push_back(entry.name + L"\\");
            }
            tree.push_back(std::move(entry));
        } while (find.Next(found));
    }
    return tree;
}

bool PathExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool PathOrder::operator()(const std::wstring& left, const std::wstring& right) const {
    const auto rank = [](wchar_t character) {
        return character == L'\\' ? std::wint_t{1} : std::towupper(character);
    };
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [&](wchar_t one, wchar_t other) { return rank(one) < rank(other); });
}

}  // namespace WyCtl
