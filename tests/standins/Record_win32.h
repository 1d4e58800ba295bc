#pragma once

// Where a stand-in of a product program writes down what it was asked.

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

// The environment variable with the folder for records. Without it a record lies beside its
// program.
inline constexpr wchar_t kRecordFolderVariable[] = L"WY_STANDIN_RECORDS";

// The folder of the running program, with a separator at its end.
inline std::wstring OwnFolder() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring whole = path;
    return whole.substr(0, whole.rfind(L'\\') + 1);
}

// The file of the running program: its own name with ".asked.txt" behind it.
inline std::wstring RecordPath() {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    wchar_t folder[MAX_PATH] = L"";
    const DWORD length = GetEnvironmentVariableW(kRecordFolderVariable, folder, MAX_PATH);
    const std::wstring path = std::wstring(program) + L".asked.txt";
    if (length == 0 || length >= MAX_PATH)
        return path;
    return std::wstring(folder) + path.substr(path.rfind(L'\\'));
}

inline std::string InUtf8(const std::wstring& text) {
    std::string bytes(text.size() * 3, '\0');
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

// Appends a line, in UTF-8. What cannot be written is lost: the reader misses it.
inline void Note(const std::wstring& path, const std::wstring& line) {
    std::FILE* const file = _wfopen(path.c_str(), L"ab");
    if (file == nullptr)
        return;
    const std::string bytes = InUtf8(line) + "\n";
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}
