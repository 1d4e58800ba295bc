#pragma once

// The log as every call site uses it.
//
// Vocabulary: a *line* has a source name, a line number, a *level* and a text. The level is one
// bit of a mask that the log's configuration filters by; the *tag* inside the text (": [INFO] ")
// is independent of it. A log that is absent or filters a level away costs a call site nothing
// but a test: no text is built.
//
// Logging never raises and never changes a result. All of it may be used from any thread; the
// pointers to the logs change only while no other thread of the library logs.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace KrCommon {

namespace LogLevel {
constexpr std::uint32_t kInformation = 1;
constexpr std::uint32_t kWarning = 16;  // also the function trace
constexpr std::uint32_t kError = 256;
constexpr std::uint32_t kDebug = 4096;
constexpr std::uint32_t kForced = 0x10000000;  // passes every filter
}  // namespace LogLevel

// What a log must offer to the call sites. The log class of the product stands behind it; tests
// put a recorder there.
class LogSink {
public:
    LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    virtual ~LogSink() = default;

    // True when a line of this level would be written.
    virtual bool IsLevelEnabled(std::uint32_t level) = 0;

    // Writes one line. `file` is a source name, `format` a wide printf-style format.
    // Returns true when the line was filtered away or written.
    virtual bool Trace(const char* file, std::uint32_t line, std::uint32_t level,
                       const wchar_t* format, ...) = 0;
};

}  // namespace KrCommon

// The main log; null when there is none, and then every log call is a no-op.
//
// No lock guards the pointer: a call site reads it and goes on to use the log. It changes when the
// library is loaded and unloaded, and where an operation that runs alone moves the log to another
// folder. Whoever tears the main log down while other threads log breaks the contract: they may
// use a log that is gone.
extern KrCommon::LogSink* g_pDebugLog;

// The log that takes the notes of the service's life, and the one that takes the lines of failed
// calls of the scan family; null when there is none. Lines of these logs have the forced level.
extern KrCommon::LogSink* g_pEventLog;
extern KrCommon::LogSink* g_pFeedbackErrorLog;

// A number that is written as "0x" and hexadecimal digits.
struct WyHex {
    std::uint64_t value;
};

// One line in stream style: collects text and hands it to the log when it goes out of scope.
//
// A percent sign in the text is doubled on the way, so that it cannot act as a conversion.
// Running out of memory while the text is collected loses the rest of the text, nothing else.
class WyLogStream {
public:
    // A line of the main log.
    WyLogStream(const char* file, std::uint32_t line, std::uint32_t level) noexcept
        : WyLogStream(g_pDebugLog, file, line, level) {}

    // A line of another log; null writes nothing.
    WyLogStream(KrCommon::LogSink* log, const char* file, std::uint32_t line,
                std::uint32_t level) noexcept
        : m_pLog(log != nullptr && log->IsLevelEnabled(level) ? log : nullptr),
          m_szFile(file),
          m_uiLine(line),
          m_uiLevel(level) {}

    // A line of a log that is known to let the level through.
    WyLogStream(KrCommon::LogSink& log, const char* file, std::uint32_t line,
                std::uint32_t level) noexcept
        : m_pLog(&log), m_szFile(file), m_uiLine(line), m_uiLevel(level) {}

    WyLogStream(const WyLogStream&) = delete;
    WyLogStream& operator=(const WyLogStream&) = delete;

    ~WyLogStream() {
        if (m_pLog != nullptr)
            Flush();
    }

    WyLogStream& operator<<(const wchar_t* text) noexcept {
        if (m_pLog != nullptr)
            Append(text != nullptr ? std::wstring_view(text) : L"(null)");
        return *this;
    }
    WyLogStream& operator<<(std::wstring_view text) noexcept {
        if (m_pLog != nullptr)
            Append(text);
        return *this;
    }
    WyLogStream& operator<<(const std::wstring& text) noexcept {
        return *this << std::wstring_view(text);
    }
    // Narrow text is identifiers and the like: each byte becomes one character.
    WyLogStream& operator<<(const char* text) noexcept {
        if (m_pLog != nullptr)
            AppendNarrow(text != nullptr ? std::string_view(text) : "(null)");
        return *this;
    }
    WyLogStream& operator<<(const std::string& text) noexcept {
        if (m_pLog != nullptr)
            AppendNarrow(text);
        return *this;
    }
    WyLogStream& operator<<(WyHex number) noexcept {
        if (m_pLog != nullptr)
            AppendHex(number.value);
        return *this;
    }
    // One character; without this it would be written as its number.
    WyLogStream& operator<<(wchar_t character) noexcept {
        return *this << std::wstring_view(&character, 1);
    }
    WyLogStream& operator<<(char character) noexcept {
        if (m_pLog != nullptr)
            AppendNarrow({&character, 1});
        return *this;
    }
    template <class Integer>
    requires std::is_integral_v<Integer> WyLogStream& operator<<(Integer number) noexcept {
        if (m_pLog != nullptr) {
            if constexpr (std::is_signed_v<Integer>) {
                AppendSigned(number);
            } else {
                AppendUnsigned(number);
            }
        }
        return *this;
    }
    // An address, as "0x" and hexadecimal digits.
    WyLogStream& operator<<(const void* address) noexcept {
        return *this << WyHex{reinterpret_cast<std::uintptr_t>(address)};
    }

private:
    void Append(std::wstring_view text) noexcept;
    void AppendNarrow(std::string_view text) noexcept;
    void AppendHex(std::uint64_t number) noexcept;
    void AppendSigned(std::int64_t number) noexcept;
    void AppendUnsigned(std::uint64_t number) noexcept;
    void Flush() noexcept;

    KrCommon::LogSink* m_pLog;
    const char* m_szFile;
    std::uint32_t m_uiLine;
    std::uint32_t m_uiLevel;
    bool m_bFull = false;  // memory ran out: what follows is lost
    std::wstring m_strText;
};

// Writes "[INFO],[module], ==> function" when it is made and "[INFO],[module], <== function" when
// it goes, at level 16, both with the line number given.
//
// The arguments are copied; without memory for the copies neither line is written. The text goes
// to the log as a format, unescaped: names MUST NOT contain a percent sign.
class WyFunctionTrace {
public:
    WyFunctionTrace(const wchar_t* module, const char* file, const wchar_t* function,
                    std::uint32_t line) noexcept;
    WyFunctionTrace(const WyFunctionTrace&) = delete;
    WyFunctionTrace& operator=(const WyFunctionTrace&) = delete;
    ~WyFunctionTrace();

private:
    void Write(const wchar_t* arrow) const noexcept;

    std::wstring m_strModule;
    std::string m_strFile;
    std::wstring m_strFunction;
    std::uint32_t m_uiLine;
    bool m_bCopied = false;
};

// True when a line of this level would be written to the main log.
inline bool WyLogEnabled(std::uint32_t level) noexcept {
    return g_pDebugLog != nullptr && g_pDebugLog->IsLevelEnabled(level);
}

// Gives both branches of WY_LOG_LINE the type void; binds weaker than << and stronger than ?:.
struct WyLogVoid {
    void operator&(const WyLogStream&) const noexcept {}
};

// A source file that logs defines, in an unnamed namespace, `kLogSource` (narrow: its name,
// without path and extension, or the name its log lines are known by) and `kLogModule` (wide:
// the module tag at the head of the text).
//
// A line is a statement: `WY_LOG_ERROR << L"text" << value;`. What stands behind << is not
// evaluated when the line is not written.
//
// The macro stands open at its end, for the << of the statement.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define WY_LOG_LINE(level, tag)                                                                   \
    !WyLogEnabled(level) ? static_cast<void>(0)                                                   \
                         : WyLogVoid() & WyLogStream(*g_pDebugLog, kLogSource, __LINE__, (level)) \
                                             << kLogModule << (tag)
// NOLINTEND(bugprone-macro-parentheses)
// One line in printf style, for texts that start without the module. A wide text argument is
// written "%ls". The arguments are not evaluated when there is no log.
#define WY_TRACE(level, ...)    \
    (g_pDebugLog == nullptr     \
         ? static_cast<void>(0) \
         : static_cast<void>(g_pDebugLog->Trace(kLogSource, __LINE__, (level), __VA_ARGS__)))
#define WY_LOG_INFO WY_LOG_LINE(KrCommon::LogLevel::kInformation, L": [INFO] ")
#define WY_LOG_WARN WY_LOG_LINE(KrCommon::LogLevel::kWarning, L": [WARN] ")
#define WY_LOG_ERROR WY_LOG_LINE(KrCommon::LogLevel::kError, L": [ERROR] ")
#define WY_LOG_FATAL WY_LOG_LINE(KrCommon::LogLevel::kError, L": [FATAL] ")
#define WY_LOG_DEBUG WY_LOG_LINE(KrCommon::LogLevel::kDebug, L": [DEBUG] ")
