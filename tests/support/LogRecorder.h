#pragma once

// A log for tests: keeps each line, with its text as the log would write it.

#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Common/KrCommon/KrComn_Log.h"

namespace test_support {

// Stands in for the main log (or the log given) as long as it lives, and puts the former log back.
// Lines may come from any thread; the recorder is made and dropped while no other thread logs.
class LogRecorder : public KrCommon::LogSink {
public:
    struct Line {
        std::string file;
        std::uint32_t line;
        std::uint32_t level;
        std::wstring text;
    };

    // All levels are let through unless a mask is given; a forced line passes every mask.
    explicit LogRecorder(std::uint32_t levelMask = 0xffffffff,
                         KrCommon::LogSink** place = &g_pDebugLog)
        : m_uiLevelMask(levelMask), m_ppPlace(place), m_pFormer(*place) {
        *m_ppPlace = this;
    }
    ~LogRecorder() override { *m_ppPlace = m_pFormer; }

    bool IsLevelEnabled(std::uint32_t level) override {
        return level == KrCommon::LogLevel::kForced || (m_uiLevelMask & level) != 0;
    }

    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override {
        if (!IsLevelEnabled(level))
            return true;
        std::va_list arguments;
        va_start(arguments, format);
        std::wstring text = Format(format, arguments);
        va_end(arguments);
        const std::lock_guard guard(m_mutex);
        m_Lines.push_back({file, line, level, std::move(text)});
        return true;
    }

    std::vector<Line> Lines() const {
        const std::lock_guard guard(m_mutex);
        return m_Lines;
    }

    std::vector<std::wstring> Texts() const {
        std::vector<std::wstring> texts;
        for (const Line& line : Lines())
            texts.push_back(line.text);
        return texts;
    }

    // True when a line of this level has exactly this text.
    bool Has(std::uint32_t level, std::wstring_view text) const {
        for (const Line& line : Lines()) {
            if (line.level == level && line.text == text)
                return true;
        }
        return false;
    }

    // Number of lines that contain this text.
    std::size_t CountContaining(std::wstring_view text) const {
        std::size_t count = 0;
        for (const Line& line : Lines()) {
            if (line.text.find(text) != std::wstring::npos)
                ++count;
        }
        return count;
    }

    void Clear() {
        const std::lock_guard guard(m_mutex);
        m_Lines.clear();
    }

private:
    // A format that cannot be carried out gives an empty text, as in the product's log.
    static std::wstring Format(const wchar_t* format, std::va_list arguments) {
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

    const std::uint32_t m_uiLevelMask;
    KrCommon::LogSink** const m_ppPlace;
    KrCommon::LogSink* const m_pFormer;
    mutable std::mutex m_mutex;
    std::vector<Line> m_Lines;
};

}  // namespace test_support
