#pragma once

#include <cstdio>
#include <mutex>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"

namespace DevHost {

// The log of the host: lines appended to a file, in the form of the product's logs, as UTF-8.
// Debug lines are filtered away. Any thread may write.
class HostLog : public KrCommon::LogSink {
public:
    HostLog() = default;
    ~HostLog() override;

    // False when the file cannot be opened for writing. The path is UTF-8.
    bool Open(const std::string& path);

    bool IsLevelEnabled(std::uint32_t level) override;
    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override;

private:
    void Write(const char* file, std::uint32_t line, std::uint32_t level,
               const std::wstring& message);

    std::mutex m_Mutex;
    std::FILE* m_pFile = nullptr;
};

}  // namespace DevHost
