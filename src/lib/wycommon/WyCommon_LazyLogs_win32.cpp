#include "lib/wycommon/WyCommon_LazyLogs.h"

#include <cstdarg>
#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace WyCommon::LazyLogs {

namespace {

using KrCommon::LogLevel::kForced;
using KrCommon::Synchronize::SingleLock;

using FolderFunction = std::wstring();

constexpr DWORD kHostPathLimit = 1000;

class LazyLog : public KrCommon::LogSink {
public:
    LazyLog(const wchar_t* moduleName, FolderFunction* folder)
        : m_szModuleName(moduleName), m_fnFolder(folder) {}

    // Forced lines pass without the configuration.
    bool IsLevelEnabled(std::uint32_t level) override {
        return level == kForced || (OpenOnce() && m_Log.IsLevelEnabled(level));
    }

    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override {
        if (!OpenOnce())
            return false;
        std::va_list arguments;
        va_start(arguments, format);
        const bool done = m_Log.TraceV(file, line, level, format, arguments);
        va_end(arguments);
        return done;
    }

private:
    bool OpenOnce() noexcept {
        const SingleLock lock(m_OpenLock);
        if (!m_bTried) {
            m_bTried = true;
            m_bOpen = Open();
        }
        return m_bOpen;
    }

    bool Open() noexcept {
        try {
            const std::wstring folder = m_fnFolder();
            const KrCommon::Storage::Key key(KrCommon::Storage::Key::kIniFile, folder.c_str(),
                                             L"\\krdbg.ini");
            return !folder.empty() && m_Log.Initialize(m_szModuleName, key, folder);
        } catch (...) {
            return false;
        }
    }

    const wchar_t* const m_szModuleName;
    FolderFunction* const m_fnFolder;
    KrCommon::Synchronize::CriticalSection m_OpenLock;
    bool m_bTried = false;
    bool m_bOpen = false;
    KrCommon::DebugLog m_Log;
};

std::wstring HostFolder() {
    // Old systems do not end a path that was cut.
    wchar_t path[kHostPathLimit + 1] = {};
    GetModuleFileNameW(nullptr, path, kHostPathLimit);
    return std::wstring(KrCommon::String::RemoveFileName(path));
}

}  // namespace

void Start() {
    static LazyLog s_EventLog(L"Event", &HostFolder);
    static LazyLog s_FeedbackErrorLog(L"FeedbackError", &Utility::GetProductPath);
    g_pEventLog = &s_EventLog;
    g_pFeedbackErrorLog = &s_FeedbackErrorLog;
}

void Stop() {
    g_pEventLog = nullptr;
    g_pFeedbackErrorLog = nullptr;
}

}  // namespace WyCommon::LazyLogs
