// Stands in for the tool that makes the product's shortcuts:
//
//   Shortcut.exe -Create "<install folder>" "<description>"
//   Shortcut.exe -Delete "<install folder>" "<description>"
//
// Appends its command line to its record. The description is a text in UTF-8 with elements
// <Shortcut Name="..." Target="..."/>; for each one -Create writes the file "<Name>.lnk" with the
// path of the target in the install folder, and -Delete deletes it. They lie in the folder "Korvex
// Data" of the programs that all users have in their start menu, which goes with its last shortcut.
//
// The exit code is 0 when all of it could be done, 2 for another command line.

#include <string>

#include "Record_win32.h"

#include <shellapi.h>
#include <shlobj.h>

namespace {

std::wstring ShortcutFolder() {
    wchar_t path[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_COMMON_PROGRAMS | CSIDL_FLAG_CREATE, nullptr,
                     SHGFP_TYPE_CURRENT, path);
    return std::wstring(path) + L"\\Korvex Data";
}

// Empty for a file that cannot be read.
std::wstring Content(const wchar_t* path) {
    std::FILE* const file = _wfopen(path, L"rb");
    if (file == nullptr)
        return {};
    std::string bytes;
    char buffer[4096];
    for (std::size_t size = 1; size > 0;) {
        size = std::fread(buffer, 1, sizeof buffer, file);
        bytes.append(buffer, size);
    }
    std::fclose(file);
    std::wstring text(bytes.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                           text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// The value of an attribute in the text of one element; empty when it is not there.
std::wstring Attribute(const std::wstring& element, const std::wstring& name) {
    const std::wstring head = L" " + name + L"=\"";
    const std::size_t at = element.find(head);
    if (at == std::wstring::npos)
        return {};
    const std::size_t begin = at + head.size();
    return element.substr(begin, element.find(L'"', begin) - begin);
}

bool Make(const std::wstring& path, const std::wstring& target) {
    std::FILE* const file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr)
        return false;
    const std::string bytes = InUtf8(target);
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && written;
}

bool Remove(const std::wstring& path) {
    return DeleteFileW(path.c_str()) != 0 || GetLastError() == ERROR_FILE_NOT_FOUND ||
           GetLastError() == ERROR_PATH_NOT_FOUND;
}

// True when every shortcut of the description could be made or deleted.
bool Handle(bool create, const std::wstring& installDir, const std::wstring& description) {
    const std::wstring folder = ShortcutFolder();
    if (create)
        CreateDirectoryW(folder.c_str(), nullptr);
    bool done = true;
    for (std::size_t at = description.find(L"<Shortcut "); at != std::wstring::npos;
         at = description.find(L"<Shortcut ", at + 1)) {
        const std::wstring element = description.substr(at, description.find(L'>', at) - at);
        const std::wstring path = folder + L"\\" + Attribute(element, L"Name") + L".lnk";
        done = (create ? Make(path, installDir + L"\\" + Attribute(element, L"Target"))
                       : Remove(path)) &&
               done;
    }
    // Refused as long as something lies there.
    if (!create)
        RemoveDirectoryW(folder.c_str());
    return done;
}

}  // namespace

int main() {
    Note(RecordPath(), GetCommandLineW());
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count != 4)
        return 2;
    const std::wstring action = arguments[1];
    if (action != L"-Create" && action != L"-Delete")
        return 2;
    return Handle(action == L"-Create", arguments[2], Content(arguments[3])) ? 0 : 1;
}
