#include "WySdk/SdkLog.h"

#include <cstdarg>
#include <cwchar>
#include <memory>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_LogLine.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Synchronize.h"
#include "WySdk/SdkLogConfig.h"
#include "WySdk/SdkLogContract.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

using KrCommon::Synchronize::CriticalSection;
using KrCommon::Synchronize::SingleLock;

// The trace module and its session.
class TraceModule {
public:
    TraceModule() = default;
    TraceModule(const TraceModule&) = delete;
    TraceModule& operator=(const TraceModule&) = delete;
    // Frees the module alone; the session ends with Close().
    ~TraceModule() { Free(); }

    // False when the module, one of its functions or the session is not to be had.
    bool Open(const std::wstring& folder, const KrDbgConfig& config) {
        std::wstring path = folder;
        KrCommon::String::AppendSeparator(path);
        path += L"KrDbgLog.dll";
        m_hModule = LoadLibraryW(path.c_str());
        if (m_hModule == nullptr)
            return false;
        const auto initialize = Find<KrDbgInitializeFunction>("KrDbgInitialize");
        m_fnTrace = Find<KrDbgTraceFunction>("KrDbgTrace");
        m_fnUninitialize = Find<KrDbgUninitializeFunction>("KrDbgUninitialize");
        if (initialize == nullptr || m_fnTrace == nullptr || m_fnUninitialize == nullptr ||
            initialize(&m_pSession, &config) != 0 || m_pSession == nullptr) {
            m_pSession = nullptr;
            Free();
            return false;
        }
        return true;
    }

    bool Trace(const SYSTEMTIME& time, const std::wstring& line) const {
        return m_fnTrace(m_pSession, &time, line.c_str()) == 0;
    }

    void Close() {
        if (m_pSession != nullptr)
            m_fnUninitialize(m_pSession);
        m_pSession = nullptr;
        Free();
    }

private:
    template <class Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(m_hModule, name)));
    }

    void Free() {
        if (m_hModule != nullptr)
            FreeLibrary(m_hModule);
        m_hModule = nullptr;
    }

    HMODULE m_hModule = nullptr;
    KrDbgTraceFunction* m_fnTrace = nullptr;
    KrDbgUninitializeFunction* m_fnUninitialize = nullptr;
    void* m_pSession = nullptr;
};

// Formats into a buffer that grows until the text fits; empty when that cannot be done.
std::wstring FormatMessageText(const wchar_t* format, std::va_list arguments) {
    constexpr std::size_t kLimit = std::size_t{1} << 26;
    for (std::size_t size = 256; size <= kLimit; size *= 2) {
        std::wstring buffer(size, L'\0');
        std::va_list copy;
        va_copy(copy, arguments);
        const int length = std::vswprintf(buffer.data(), size, format, copy);
        va_end(copy);
        if (length >= 0 && static_cast<std::size_t>(length) < size) {
            buffer.resize(static_cast<std::size_t>(length));
            return buffer;
        }
    }
    return {};
}

std::wstring FormatLine(const std::wstring& module, const SYSTEMTIME& time, const char* file,
                        std::uint32_t line, std::uint32_t level, const std::wstring& message) {
    KrCommon::LogLine parts;
    parts.day = time.wDay;
    parts.month = time.wMonth;
    parts.year = time.wYear;
    parts.hour = time.wHour;
    parts.minute = time.wMinute;
    parts.second = time.wSecond;
    parts.millisecond = time.wMilliseconds;
    parts.processId = GetCurrentProcessId();
    parts.threadId = GetCurrentThreadId();
    parts.level = level;
    parts.moduleName = module;
    parts.message = message;
    parts.sourcePath = file;
    parts.sourceLine = line;
    return KrCommon::FormatLogLine(parts);
}

// A log over one session of the trace module. Filter and session are set by Open() and not changed
// while lines come; one lock keeps the lines of several threads apart.
class ModuleLog : public KrCommon::LogSink {
public:
    void Open(const std::wstring& module, const std::wstring& folder) {
        m_strModule = module;
        const SdkLogConfig config = ReadSdkLogConfig(module, folder);
        m_bEnabled = config.bEnabled;
        m_uiLevelMask = config.uiLevelMask;
        m_bOpen = m_Module.Open(folder, config.record);
    }

    void Close() { m_Module.Close(); }

    bool IsLevelEnabled(std::uint32_t level) override {
        return level == KrCommon::LogLevel::kForced || (m_bEnabled && (m_uiLevelMask & level) != 0);
    }

    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override {
        std::va_list arguments;
        va_start(arguments, format);
        const bool written = TraceList(file, line, level, format, arguments);
        va_end(arguments);
        return written;
    }

    bool TraceList(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
                   std::va_list arguments) {
        if (!m_bOpen)
            return false;
        if (!IsLevelEnabled(level))
            return true;
        try {
            const std::wstring message = FormatMessageText(format, arguments);
            SYSTEMTIME time;
            GetLocalTime(&time);
            const std::wstring text = FormatLine(m_strModule, time, file, line, level, message);
            const SingleLock lock(m_Lock);
            return m_Module.Trace(time, text);
        } catch (...) {
            return false;
        }
    }

private:
    std::wstring m_strModule;
    bool m_bEnabled = false;
    std::uint32_t m_uiLevelMask = 0;
    bool m_bOpen = false;
    TraceModule m_Module;
    CriticalSection m_Lock;
};

// Opens its log when the first line comes. Only forced lines go there. Without an installed
// product it stays closed: nothing is loaded by name from wherever the system looks.
class FeedbackErrorLog : public KrCommon::LogSink {
public:
    bool IsLevelEnabled(std::uint32_t level) override {
        return level == KrCommon::LogLevel::kForced;
    }

    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override {
        try {
            OpenOnce();
        } catch (...) {
            return false;
        }
        std::va_list arguments;
        va_start(arguments, format);
        const bool written = m_Log.TraceList(file, line, level, format, arguments);
        va_end(arguments);
        return written;
    }

private:
    void OpenOnce() {
        const SingleLock lock(m_OpenLock);
        if (m_bTried)
            return;
        m_bTried = true;
        const std::wstring folder = WyCommon::Utility::GetProductPath();
        if (!folder.empty())
            m_Log.Open(L"FeedbackError", folder);
    }

    CriticalSection m_OpenLock;
    bool m_bTried = false;
    ModuleLog m_Log;
};

ModuleLog* s_pMainLog = nullptr;

}  // namespace

void StartDebugLog(const std::wstring& module, const std::wstring& folder) {
    auto log = std::make_unique<ModuleLog>();
    log->Open(module, folder);
    s_pMainLog = log.release();
    g_pDebugLog = s_pMainLog;
}

void StopDebugLog() {
    g_pFeedbackErrorLog = nullptr;
    g_pDebugLog = nullptr;
    const std::unique_ptr<ModuleLog> log(std::exchange(s_pMainLog, nullptr));
    if (log != nullptr)
        log->Close();
}

void StartFeedbackErrorLog() {
    static FeedbackErrorLog s_Log;
    g_pFeedbackErrorLog = &s_Log;
}
