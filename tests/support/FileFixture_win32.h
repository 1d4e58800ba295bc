#pragma once

// A folder with files for tests of the file functions, made and looked at by plain system calls.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

namespace test_support {

// A file held open so that nobody may write or delete it.
class LockedFile {
public:
    explicit LockedFile(const std::wstring& path)
        : m_hFile(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              0, nullptr)) {
        EXPECT_NE(m_hFile, INVALID_HANDLE_VALUE) << GetLastError();
    }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() { CloseHandle(m_hFile); }

private:
    HANDLE m_hFile;
};

// Everything lies in m_Folder; a relative path below it is made absolute by At(), and the log
// is recorded from the end of the test's preparation on (ClearLog()).
class FileFixture : public testing::Test {
protected:
    std::wstring At(const std::wstring& relative = {}) const {
        return relative.empty() ? m_Base : m_Base + L'\\' + relative;
    }

    void PutFolder(const std::wstring& relative, DWORD attributes = 0) const {
        ASSERT_NE(CreateDirectoryW(At(relative).c_str(), nullptr), 0) << GetLastError();
        SetAttributes(relative, attributes);
    }

    void PutFile(const std::wstring& relative, const std::string& content = "content",
                 DWORD attributes = 0) const {
        HANDLE const file =
            CreateFileW(At(relative).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
        DWORD written = 0;
        if (!content.empty()) {
            WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
        }
        EXPECT_EQ(written, content.size());
        CloseHandle(file);
        SetAttributes(relative, attributes);
    }

    bool IsFile(const std::wstring& relative) const {
        const DWORD found = Attributes(relative);
        return found != INVALID_FILE_ATTRIBUTES && (found & FILE_ATTRIBUTE_DIRECTORY) == 0;
    }
    bool IsFolder(const std::wstring& relative) const {
        const DWORD found = Attributes(relative);
        return found != INVALID_FILE_ATTRIBUTES && (found & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    bool IsReadOnly(const std::wstring& relative) const {
        return (Attributes(relative) & FILE_ATTRIBUTE_READONLY) != 0;
    }
    bool IsMissing(const std::wstring& relative) const {
        return Attributes(relative) == INVALID_FILE_ATTRIBUTES;
    }

    std::string Content(const std::wstring& relative) const {
        HANDLE const file = CreateFileW(At(relative).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return "(cannot be opened)";
        std::string content(65536, '\0');
        DWORD length = 0;
        EXPECT_NE(ReadFile(file, content.data(), 65536, &length, nullptr), 0);
        CloseHandle(file);
        content.resize(length);
        return content;
    }

    // The names in a folder, sorted.
    std::vector<std::wstring> Names(const std::wstring& relative = {}) const {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW entry;
        HANDLE const find = FindFirstFileW((At(relative) + L"\\*").c_str(), &entry);
        if (find == INVALID_HANDLE_VALUE)
            return names;
        do {
            names.emplace_back(entry.cFileName);
        } while (FindNextFileW(find, &entry) != 0);
        FindClose(find);
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const auto& name) { return name == L"." || name == L".."; }),
                    names.end());
        std::sort(names.begin(), names.end());
        return names;
    }

    // The recorded lines, "level text" each, with the test's folder written "@" to be short.
    std::vector<std::wstring> LogLines() const {
        std::vector<std::wstring> lines;
        for (const LogRecorder::Line& line : m_Log.Lines()) {
            std::wstring text = std::to_wstring(line.level) + L' ' + line.text;
            for (std::size_t at = text.find(m_Base); at != std::wstring::npos;
                 at = text.find(m_Base)) {
                text.replace(at, m_Base.size(), L"@");
            }
            lines.push_back(text);
        }
        return lines;
    }

    TemporaryFolder m_Folder{L"wy_files"};
    const std::wstring m_Base = m_Folder.Path().wstring();
    LogRecorder m_Log;

private:
    DWORD Attributes(const std::wstring& relative) const {
        return GetFileAttributesW(At(relative).c_str());
    }
    void SetAttributes(const std::wstring& relative, DWORD attributes) const {
        if (attributes != 0) {
            ASSERT_NE(SetFileAttributesW(At(relative).c_str(), attributes), 0) << GetLastError();
        }
    }
};

using Lines = std::vector<std::wstring>;
using NameList = std::vector<std::wstring>;

}  // namespace test_support
