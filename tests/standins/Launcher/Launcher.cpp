// Stands in for the launcher: does what its command line says, and writes down what that was.
//
// Behind the path of the program stand fields, separated by commas. The first is the enciphered
// name of a file. With at least six fields a program is started and left running: name, verb (only
// "open" is known), parameters, two that are not looked at, directory. With fewer it is a DLL,
// whose function is called: name, function, parameters.
//
// The path of this program with ".asked.txt" is the file it writes, in UTF-8, anew at each run: the
// raw command line, the show-window flag and value it was started with, the deciphered name, and
// each further field on a line of its own. The exit code is 0 when all of it could be done.

#include <cstdio>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace {

constexpr std::size_t kFieldsOfOpen = 6;
constexpr std::size_t kFieldsOfCall = 3;

// The path in quotes and a blank go.
std::wstring FieldsOf(const std::wstring& commandLine) {
    const std::size_t quote = commandLine.find(L'"', 1);
    return quote == std::wstring::npos || quote + 2 > commandLine.size()
               ? std::wstring()
               : commandLine.substr(quote + 2);
}

std::vector<std::wstring> SplitAtCommas(const std::wstring& text) {
    std::vector<std::wstring> fields(1);
    for (const wchar_t character : text) {
        if (character == L',') {
            fields.emplace_back();
        } else {
            fields.back() += character;
        }
    }
    return fields;
}

void WriteDown(const std::vector<std::wstring>& lines) {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::FILE* const file = _wfopen((std::wstring(path) + L".asked.txt").c_str(), L"wb");
    if (file == nullptr)
        return;
    for (const std::wstring& line : lines)
        std::fprintf(file, "%s\n", KrCommon::String::ToUtf8(line).c_str());
    std::fclose(file);
}

bool Open(const std::vector<std::wstring>& fields) {
    if (fields[1] != L"open")
        return false;
    std::wstring line = L"\"" + fields[0] + L"\" " + fields[2];
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                       fields[5].empty() ? nullptr : fields[5].c_str(), &startup, &started) == 0)
        return false;
    const KrCommon::UniqueHandle process(started.hProcess);
    const KrCommon::UniqueHandle thread(started.hThread);
    return true;
}

bool Call(const std::vector<std::wstring>& fields) {
    const HMODULE module = LoadLibraryW(fields[0].c_str());
    if (module == nullptr)
        return false;
    auto* const function = reinterpret_cast<void (*)(const wchar_t*)>(reinterpret_cast<void*>(
        GetProcAddress(module, KrCommon::String::ToUtf8(fields[1]).c_str())));
    if (function != nullptr)
        function(fields[2].c_str());
    FreeLibrary(module);
    return function != nullptr;
}

}  // namespace

int main() {
    const std::wstring commandLine = GetCommandLineW();
    STARTUPINFOW startup = {};
    GetStartupInfoW(&startup);
    std::vector<std::wstring> fields = SplitAtCommas(FieldsOf(commandLine));
    const bool deciphered = KrCommon::Cryptograph::DecryptString(fields[0]);
    std::vector<std::wstring> lines = {commandLine,
                                       L"show " + std::to_wstring(startup.dwFlags & 1) + L" " +
                                           std::to_wstring(startup.wShowWindow)};
    lines.insert(lines.end(), fields.begin(), fields.end());
    WriteDown(lines);
    if (!deciphered || fields.size() < kFieldsOfCall)
        return 1;
    const bool done = fields.size() >= kFieldsOfOpen ? Open(fields) : Call(fields);
    return done ? 0 : 2;
}
