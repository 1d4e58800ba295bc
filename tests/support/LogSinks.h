#pragma once

// Small logs for tests that look at how a call site treats its log.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"

namespace test_support {

// Answers the level test with a fixed word and counts what call sites do.
class CountingSink : public KrCommon::LogSink {
public:
    explicit CountingSink(bool enabled) : m_bEnabled(enabled), m_pFormer(g_pDebugLog) {
        g_pDebugLog = this;
    }
    ~CountingSink() override { g_pDebugLog = m_pFormer; }
    bool IsLevelEnabled(std::uint32_t) override {
        ++m_iTests;
        return m_bEnabled;
    }
    bool Trace(const char*, std::uint32_t, std::uint32_t, const wchar_t*, ...) override {
        ++m_iLines;
        return true;
    }

    int m_iTests = 0;
    int m_iLines = 0;

private:
    bool m_bEnabled;
    KrCommon::LogSink* m_pFormer;
};

// Keeps the raw format: what the log is handed before it formats.
class RawSink : public KrCommon::LogSink {
public:
    bool IsLevelEnabled(std::uint32_t) override { return true; }
    bool Trace(const char*, std::uint32_t, std::uint32_t, const wchar_t* format, ...) override {
        m_strFormat = format;
        return true;
    }
    std::wstring m_strFormat;
};

}  // namespace test_support
