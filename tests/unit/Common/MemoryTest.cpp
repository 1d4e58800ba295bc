// What the foundation does when memory runs out, and what it must not allocate.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Synchronize.h"
#include "support/AllocationFaults.h"
#include "support/FakeLogStorage.h"
#include "support/LogSinks.h"
#include "support/TraceFolder.h"

namespace {

constexpr const char* kLogSource = "MemoryTest";
constexpr const wchar_t* kLogModule = L"Module";

namespace String = KrCommon::String;
using KrCommon::LogLevel::kError;
using KrCommon::Synchronize::CriticalSection;
using test_support::AllocationCount;
using test_support::CountingSink;
using test_support::FailAllocations;
using test_support::FakeLogStorage;
using test_support::RawSink;
using test_support::TraceFolder;

TEST(LogStream, without_log_nothing_is_allocated) {
    ASSERT_EQ(g_pDebugLog, nullptr);
    const std::wstring text(1000, L'x');
    const std::size_t before = AllocationCount();
    WY_LOG_ERROR << text << 12345 << WyHex{7} << "narrow text longer than a small string";
    EXPECT_EQ(AllocationCount(), before);
}

TEST(LogStream, disabled_level_is_tested_once_and_builds_no_text) {
    CountingSink sink(false);
    const std::wstring text(1000, L'x');
    const std::size_t before = AllocationCount();
    WY_LOG_ERROR << text << 12345 << WyHex{7} << "narrow text longer than a small string";
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(sink.m_iTests, 1);
    EXPECT_EQ(sink.m_iLines, 0);
}

TEST(LogStream, without_memory_the_rest_of_the_text_is_lost_and_no_sign_is_halved) {
    RawSink sink;
    sink.m_strFormat.reserve(1000);
    {
        WyLogStream stream(&sink, "s", 1, kError);
        stream << L"100%";
        const FailAllocations fault(0);
        stream << L"%%%%%%%%%%%%%%%%%%%%" << L"tail";
        ASSERT_TRUE(fault.Happened());
    }
    EXPECT_EQ(sink.m_strFormat, L"100%%");
}

TEST(FunctionTrace, without_memory_nothing_is_written_and_nothing_raised) {
    for (std::size_t passed = 0; passed < 2; ++passed) {
        CountingSink sink(true);
        const FailAllocations fault(passed);
        const WyFunctionTrace trace(L"module longer than a small string", "s",
                                    L"function longer than a small string", 1);
        EXPECT_TRUE(fault.Happened());
        EXPECT_EQ(sink.m_iLines, 0);
    }
}

TEST(Utf8, without_memory_the_raising_forms_raise_and_the_others_answer_false) {
    const std::wstring wide(100, L'x');
    const std::string narrow(100, 'x');
    std::string narrowOut = "old";
    std::wstring wideOut = L"old";
    bool raised = false;
    const FailAllocations fault(0);
    const bool toUtf8 = String::ToUtf8(wide, narrowOut);
    const bool fromUtf8 = String::FromUtf8(narrow, wideOut);
    try {
        String::ToUtf8(wide);
    } catch (const std::bad_alloc&) {
        raised = true;
    }
    EXPECT_FALSE(toUtf8);
    EXPECT_FALSE(fromUtf8);
    EXPECT_TRUE(narrowOut.empty());
    EXPECT_TRUE(wideOut.empty());
    EXPECT_TRUE(raised);
}

// A log that is open and enabled for errors.
class DebugLogMemory : public testing::Test {
protected:
    DebugLogMemory() {
        FakeLogStorage::Clear();
        FakeLogStorage::Set(L"Enable", L"1");
        folder.AddModule();
        EXPECT_TRUE(Initialize());
    }

    bool Initialize() { return log.Initialize(kName, {1, L"", L""}, path); }

    const std::wstring kName = L"a name longer than a small string";
    const std::wstring kText = std::wstring(1000, L'x');
    TraceFolder folder;
    const std::wstring path = folder.Path();
    KrCommon::DebugLog log{&FakeLogStorage::Make};
};

TEST_F(DebugLogMemory, line_that_is_filtered_away_allocates_nothing) {
    const std::size_t before = AllocationCount();
    EXPECT_TRUE(log.Trace("Some", 1, 1, L"%ls", kText.c_str()));
    EXPECT_EQ(AllocationCount(), before);
}

TEST_F(DebugLogMemory, message_that_cannot_be_formatted_leaves_a_line_without_one) {
    bool written = false;
    {
        const FailAllocations fault(0, FailAllocations::Mode::kOnce);
        written = log.Trace("Some", 3, kError, L"%ls", kText.c_str());
        EXPECT_TRUE(fault.Happened());
    }
    EXPECT_TRUE(written);
    ASSERT_EQ(folder.Calls().size(), 2U);
    EXPECT_TRUE(folder.Calls()[1].ends_with("a name longer than a small string>  - Some(3)$"))
        << folder.Calls()[1];
}

TEST_F(DebugLogMemory, memory_that_ends_anywhere_loses_a_line_and_raises_nothing) {
    std::size_t lost = 0;
    bool happened = true;
    for (std::size_t passed = 0; happened; ++passed) {
        ASSERT_LT(passed, 1000U);
        const FailAllocations fault(passed);
        lost += log.Trace("Some", 3, kError, L"%ls", kText.c_str()) ? 0U : 1U;
        happened = fault.Happened();
    }
    EXPECT_GE(lost, 2U);
    EXPECT_TRUE(log.Trace("Some", 4, kError, L"later"));
}

TEST_F(DebugLogMemory, configuration_that_cannot_be_read_anew_leaves_the_log_open) {
    bool happened = true;
    for (std::size_t passed = 0; happened; ++passed) {
        ASSERT_LT(passed, 1000U);
        const FailAllocations fault(passed);
        const bool done = Initialize();
        happened = fault.Happened();
        EXPECT_TRUE(done || happened);
    }
    EXPECT_TRUE(log.IsLevelEnabled(kError));
    EXPECT_TRUE(log.Trace("Some", 4, kError, L"later"));
}

TEST(Format, without_memory_raises_6_and_changes_nothing) {
    const std::wstring text(300, L'x');
    for (std::size_t passed = 0; passed < 2; ++passed) {  // the first buffer, the doubled one
        std::wstring out = L"before";
        std::uint32_t code = 0;
        bool happened = false;
        try {
            const FailAllocations fault(passed, FailAllocations::Mode::kOnce);
            try {
                String::Format(out, L"%ls", text.c_str());
            } catch (...) {
                happened = fault.Happened();
                throw;
            }
        } catch (String::Exception* raised) {
            const KrCommon::Exception::Caught caught(raised);
            code = raised->Code();
        }
        EXPECT_TRUE(happened) << passed;
        EXPECT_EQ(code, 6U) << passed;
        EXPECT_EQ(out, L"before") << passed;
    }
}

TEST(Exception, without_memory_for_it_bad_alloc_goes_out) {
    bool came = false;
    try {
        const FailAllocations fault(0);
        KrCommon::Exception::Raise<String::Exception>(6U, 1U, "File");
    } catch (const std::bad_alloc&) {
        came = true;
    }
    EXPECT_TRUE(came);
}

TEST(CriticalSection, without_memory_is_invalid_and_does_nothing) {
    const FailAllocations fault(0);
    CriticalSection section;
    EXPECT_TRUE(fault.Happened());
    EXPECT_FALSE(section.IsValid());
    section.Lock();
    section.Unlock();
}

}  // namespace
