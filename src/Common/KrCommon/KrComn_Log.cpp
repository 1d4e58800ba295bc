#include "Common/KrCommon/KrComn_Log.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

// Set before any code of the library runs: static initialisers log too.
constinit KrCommon::LogSink* g_pDebugLog = nullptr;
constinit KrCommon::LogSink* g_pEventLog = nullptr;
constinit KrCommon::LogSink* g_pFeedbackErrorLog = nullptr;

namespace {

wchar_t Widen(wchar_t character) {
    return character;
}

wchar_t Widen(char character) {
    return static_cast<wchar_t>(static_cast<unsigned char>(character));
}

// Appends all of the source with percent signs doubled, or raises and appends nothing: half of a
// doubled sign would act as a conversion.
template <class Char>
void AppendEscaped(std::wstring& target, std::basic_string_view<Char> source) {
    const auto percents =
        static_cast<std::size_t>(std::count(source.begin(), source.end(), Char{'%'}));
    target.reserve(target.size() + source.size() + percents);
    for (const Char character : source) {
        target.push_back(Widen(character));
        if (character == Char{'%'})
            target.push_back(L'%');
    }
}

// The digits of a number, in a buffer that fits 64 bits in any base used here.
class Digits {
public:
    template <class Integer>
    explicit Digits(Integer number, int base = 10) noexcept
        : m_pEnd(std::to_chars(m_szBuffer, m_szBuffer + sizeof(m_szBuffer), number, base).ptr) {}
    std::string_view View() const noexcept {
        return {m_szBuffer, static_cast<std::size_t>(m_pEnd - m_szBuffer)};
    }

private:
    char m_szBuffer[24];
    char* m_pEnd;
};

}  // namespace

void WyLogStream::Append(std::wstring_view text) noexcept {
    if (m_bFull)
        return;
    try {
        AppendEscaped(m_strText, text);
    } catch (...) {
        m_bFull = true;
    }
}

void WyLogStream::AppendNarrow(std::string_view text) noexcept {
    if (m_bFull)
        return;
    try {
        AppendEscaped(m_strText, text);
    } catch (...) {
        m_bFull = true;
    }
}

void WyLogStream::AppendHex(std::uint64_t number) noexcept {
    AppendNarrow("0x");
    AppendNarrow(Digits(number, 16).View());
}

void WyLogStream::AppendSigned(std::int64_t number) noexcept {
    AppendNarrow(Digits(number).View());
}

void WyLogStream::AppendUnsigned(std::uint64_t number) noexcept {
    AppendNarrow(Digits(number).View());
}

void WyLogStream::Flush() noexcept {
    try {
        m_pLog->Trace(m_szFile, m_uiLine, m_uiLevel, m_strText.c_str());
    } catch (...) {
        // A log that fails loses the line; the caller goes on.
    }
}

WyFunctionTrace::WyFunctionTrace(const wchar_t* module, const char* file, const wchar_t* function,
                                 std::uint32_t line) noexcept
    : m_uiLine(line) {
    try {
        m_strModule = module;
        m_strFile = file;
        m_strFunction = function;
        m_bCopied = true;
    } catch (...) {
        return;
    }
    Write(L"==> ");
}

WyFunctionTrace::~WyFunctionTrace() {
    Write(L"<== ");
}

void WyFunctionTrace::Write(const wchar_t* arrow) const noexcept {
    constexpr std::uint32_t kLevel = KrCommon::LogLevel::kWarning;
    KrCommon::LogSink* const log = g_pDebugLog;
    if (log == nullptr || !m_bCopied)
        return;
    try {
        if (!log->IsLevelEnabled(kLevel))
            return;
        const std::wstring text = L"[INFO],[" + m_strModule + L"], " + arrow + m_strFunction;
        log->Trace(m_strFile.c_str(), m_uiLine, kLevel, text.c_str());
    } catch (...) {
        // A log that fails loses the line; the function traced goes on.
    }
}
