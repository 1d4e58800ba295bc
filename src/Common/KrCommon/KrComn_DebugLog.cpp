#include "Common/KrCommon/KrComn_DebugLog.h"

#include <cstddef>
#include <cwchar>
#include <new>
#include <utility>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_LogLine.h"
#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "Common/KrCommon/KrComn_ServiceSession.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon {

namespace {

using Synchronize::SingleLock;

constexpr wchar_t kModuleFile[] = L"KrDbgLog.dll";
constexpr wchar_t kConfigurationFile[] = L"\\krdbg.ini";

constexpr std::uint32_t kDefaultEnable = 0;
constexpr std::uint32_t kDefaultLevel = LogLevel::kError;

// Fills a text of the record, cut so that a NUL stands behind it.
template <std::size_t size>
void Put(char16_t (&field)[size], std::wstring_view text) {
    std::size_t used = 0;
    for (const wchar_t character : text) {
        auto code = static_cast<char32_t>(character);
        // A character outside the basic plane; where wide text is UTF-16 there is none.
        const bool isPair = code > 0xffff;
        if (used + (isPair ? 2 : 1) >= size)
            break;
        if (isPair) {
            code -= 0x10000;
            field[used++] = static_cast<char16_t>(0xd800 + (code >> 10));
            code = 0xdc00 + (code & 0x3ff);
        }
        field[used++] = static_cast<char16_t>(code);
    }
    field[used] = u'\0';
}

// The keys of one section, in the order in which they are read.
class Settings {
public:
    std::uint32_t m_uiEnable = kDefaultEnable;
    std::uint32_t m_uiLevel = kDefaultLevel;

    // What was read before the store raised stays.
    void Read(Storage::Base& storage, const Storage::Key& key, KrDbgConfig& config) {
        try {
            storage.OpenForRead(key,
                                config.bServiceSession ? L"ServiceSession" : L"InteractiveSession");
            m_uiEnable = storage.ReadDword(L"Enable", kDefaultEnable);
            m_uiLevel = storage.ReadDword(L"Level", kDefaultLevel);
            config.uiLogProcess = storage.ReadDword(L"LogProcess", 0);
            config.uiLogUnitType = storage.ReadDword(L"LogUnitType", 0);
            Put(config.szLogFolder, storage.ReadString(L"LogFolder", {}));
            Put(config.szLogPrefix, storage.ReadString(L"LogPrefix", L"qrn"));
            Put(config.szLogFile, storage.ReadString(L"LogFile", {}));
            Put(config.szLogExtension, storage.ReadString(L"LogExtension", L"log"));
            config.bRobust = storage.ReadDword(L"Robust", 0) != 0;
            config.bDebugger = storage.ReadDword(L"Debugger", 0) != 0;
            storage.Close(false);
        } catch (Storage::Exception* raised) {
            const Exception::Caught caught(raised);
        }
    }
};

// The text of one line. Most fit the buffer on the stack.
class Message {
public:
    std::wstring_view Format(const wchar_t* format, std::va_list arguments) noexcept {
        std::va_list copy;
        va_copy(copy, arguments);
        const int length = std::vswprintf(m_szShort, kShort, format, copy);
        va_end(copy);
        if (length >= 0 && static_cast<std::size_t>(length) < kShort)
            return {m_szShort, static_cast<std::size_t>(length)};
        try {
            String::FormatV(m_strLong, 2 * kShort, format, arguments);
        } catch (String::Exception* raised) {
            const Exception::Caught caught(raised);
        } catch (...) {
            // No memory, not even for the exception: the message stays empty, too.
        }
        return m_strLong;
    }

private:
    static constexpr std::size_t kShort = 256;

    wchar_t m_szShort[kShort];
    std::wstring m_strLong;
};

std::wstring BuildLine(const KrDbgTime& time, const std::wstring* moduleName, const char* file,
                       std::uint32_t line, std::uint32_t level, std::wstring_view message) {
    LogLine parts;
    parts.day = time.uiDay;
    parts.month = time.uiMonth;
    parts.year = time.uiYear;
    parts.hour = time.uiHour;
    parts.minute = time.uiMinute;
    parts.second = time.uiSecond;
    parts.millisecond = time.uiMilliseconds;
    parts.processId = LogPlatform::ProcessId();
    parts.threadId = LogPlatform::ThreadId();
    parts.level = level;
    if (moduleName != nullptr)
        parts.moduleName = *moduleName;
    parts.message = message;
    if (file != nullptr)
        parts.sourcePath = file;
    parts.sourceLine = line;
    return FormatLogLine(parts);
}

DebugLog* s_pMainLog = nullptr;

}  // namespace

DebugLog::~DebugLog() = default;

bool DebugLog::Initialize(const std::wstring& moduleName, const Storage::Key& key,
                          const std::wstring& folder) noexcept {
    const SingleLock lock(m_TraceLock);
    try {
        SetName(std::make_shared<const std::wstring>(moduleName));
        KrDbgConfig config = {};
        if (!ReadConfiguration(moduleName, key, config))
            return false;
        if (IsInitialized())
            return true;
        if (!OpenSession(folder, config))
            return false;
        const SingleLock state(m_StateLock);
        m_bInitialized = true;
        return true;
    } catch (...) {
        return false;
    }
}

bool DebugLog::ReadConfiguration(const std::wstring& moduleName, const Storage::Key& key,
                                 KrDbgConfig& config) {
    config.stInitialized = LogPlatform::LocalTime();
    config.bServiceSession = IsServiceSession();
    Put(config.szModuleName, moduleName);
    const std::unique_ptr<Storage::Base> storage = m_fnStorage(key.GetType());
    if (storage == nullptr)
        return false;
    Settings settings;
    settings.Read(*storage, key, config);
    const SingleLock lock(m_StateLock);
    m_bEnabled = settings.m_uiEnable == 1;
    m_uiLevelMask = settings.m_uiLevel;
    return true;
}

bool DebugLog::OpenSession(const std::wstring& folder, const KrDbgConfig& config) {
    std::wstring path = folder;
    String::AppendSeparator(path);
    path += kModuleFile;
    // A module without one of the functions stays loaded until the log goes.
    if (m_Library.IsBound() || !m_Library.Load(path.c_str(), 0, nullptr) ||
        !m_Library.Bind(true, nullptr))
        return false;
    void* session = nullptr;
    if (m_Library.m_fnInitialize(&session, &config) != 0 || session == nullptr) {
        if (m_Library.Unload(nullptr))
            m_Library.Bind(false, nullptr);
        return false;
    }
    m_pSession = session;
    return true;
}

bool DebugLog::Uninitialize() noexcept {
    const SingleLock lock(m_TraceLock);
    if (!IsInitialized())
        return false;
    if (m_Library.IsBound()) {
        m_Library.m_fnUninitialize(m_pSession);
        m_pSession = nullptr;
        if (m_Library.Unload(nullptr))
            m_Library.Bind(false, nullptr);
    }
    const SingleLock state(m_StateLock);
    m_bInitialized = false;
    m_bEnabled = false;
    m_uiLevelMask = 0;
    m_pModuleName.reset();
    return true;
}

bool DebugLog::IsInitialized() {
    const SingleLock lock(m_StateLock);
    return m_bInitialized;
}

void DebugLog::SetName(Name name) {
    const SingleLock lock(m_StateLock);
    // The former name goes when no line uses it any more.
    m_pModuleName.swap(name);
}

bool DebugLog::Passes(std::uint32_t level) const {
    return level == LogLevel::kForced || (m_bEnabled && (m_uiLevelMask & level) != 0);
}

bool DebugLog::IsLevelEnabled(std::uint32_t level) {
    const SingleLock lock(m_StateLock);
    return Passes(level);
}

bool DebugLog::Trace(const char* file, std::uint32_t line, std::uint32_t level,
                     const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool done = TraceV(file, line, level, format, arguments);
    va_end(arguments);
    return done;
}

bool DebugLog::TraceV(const char* file, std::uint32_t line, std::uint32_t level,
                      const wchar_t* format, std::va_list arguments) noexcept {
    Name moduleName;
    {
        const SingleLock lock(m_StateLock);
        if (!m_bInitialized)
            return false;
        if (!Passes(level))
            return true;
        moduleName = m_pModuleName;
    }
    Message message;
    const std::wstring_view text = message.Format(format, arguments);
    const KrDbgTime time = LogPlatform::LocalTime();
    try {
        return Hand(time, BuildLine(time, moduleName.get(), file, line, level, text));
    } catch (...) {
        return false;
    }
}

bool DebugLog::Hand(const KrDbgTime& time, const std::wstring& line) {
    const SingleLock lock(m_TraceLock);
    return m_Library.m_fnTrace != nullptr &&
           m_Library.m_fnTrace(m_pSession, &time, line.c_str()) == 0;
}

void DestroyMainLog() noexcept {
    g_pDebugLog = nullptr;
    const std::unique_ptr<DebugLog> log(std::exchange(s_pMainLog, nullptr));
    if (log != nullptr)
        log->Uninitialize();
}

void CreateMainLog(const std::wstring& moduleName, const std::wstring& folder) noexcept {
    DestroyMainLog();
    s_pMainLog = new (std::nothrow) DebugLog;
    g_pDebugLog = s_pMainLog;
    if (s_pMainLog == nullptr)
        return;
    const Storage::Key key(Storage::Key::kIniFile, folder.c_str(), kConfigurationFile);
    s_pMainLog->Initialize(moduleName, key, folder);
}

}  // namespace KrCommon
