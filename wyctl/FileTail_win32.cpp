#include <fmt/format.h>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/Errors.h"
#include "wyctl/FileTail.h"

namespace WyCtl {

namespace {

constexpr DWORD kPiece = 1U << 16;

std::uint64_t SizeOf(HANDLE file) {
    DWORD high = 0;
    const DWORD low = GetFileSize(file, &high);
    return static_cast<std::uint64_t>(high) << 32 | low;
}

bool IsSameFile(HANDLE a, HANDLE b) {
    BY_HANDLE_FILE_INFORMATION first = {};
    BY_HANDLE_FILE_INFORMATION second = {};
    return GetFileInformationByHandle(a, &first) != FALSE &&
           GetFileInformationByHandle(b, &second) != FALSE &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
           first.nFileIndexHigh == second.nFileIndexHigh &&
           first.nFileIndexLow == second.nFileIndexLow;
}

}  // namespace

FileTail::FileTail(const std::string& path) : m_strPath(path), m_hFile(Open()) {
    if (m_hFile == INVALID_HANDLE_VALUE) {
        throw Failure(fmt::format("cannot open {} (system error {})", path, GetLastError()));
    }
}

FileTail::~FileTail() {
    CloseHandle(m_hFile);
}

// Whoever writes the log may rename and delete it meanwhile.
void* FileTail::Open() const {
    return CreateFileW(KrCommon::String::FromUtf8(m_strPath).c_str(), GENERIC_READ,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, 0, nullptr);
}

void FileTail::ReadRest(std::string& text) {
    if (SizeOf(m_hFile) < m_uiOffset) {
        m_uiOffset = 0;
    }
    for (;;) {
        OVERLAPPED position = {};
        position.Offset = static_cast<DWORD>(m_uiOffset);
        position.OffsetHigh = static_cast<DWORD>(m_uiOffset >> 32);
        const std::size_t before = text.size();
        text.resize(before + kPiece);
        DWORD count = 0;
        const BOOL read = ReadFile(m_hFile, text.data() + before, kPiece, &count, &position);
        const DWORD error = read != FALSE ? ERROR_SUCCESS : GetLastError();
        text.resize(before + count);
        m_uiOffset += count;
        if (error != ERROR_SUCCESS && error != ERROR_HANDLE_EOF) {
            throw Failure(fmt::format("cannot read {} (system error {})", m_strPath, error));
        }
        if (count == 0) {
            return;
        }
    }
}

void FileTail::FollowName(std::string& text) {
    const HANDLE now = Open();
    if (now == INVALID_HANDLE_VALUE) {
        return;
    }
    if (IsSameFile(m_hFile, now)) {
        CloseHandle(now);
        return;
    }
    CloseHandle(m_hFile);
    m_hFile = now;
    m_uiOffset = 0;
    ReadRest(text);
}

std::string FileTail::ReadNew() {
    std::string text;
    ReadRest(text);
    FollowName(text);
    return text;
}

}  // namespace WyCtl
