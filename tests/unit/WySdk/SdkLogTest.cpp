#include "WySdk/SdkLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "WySdk/SdkLogConfig.h"
#include "support/TraceFolder.h"

namespace {

using test_support::TraceFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint32_t kForced = 0x10000000;

class SdkLog : public testing::Test {
protected:
    ~SdkLog() override { StopDebugLog(); }

    void Start() { StartDebugLog(L"WySdk", folder.Path()); }

    bool Write(std::uint32_t level, const wchar_t* text) {
        return g_pDebugLog->Trace("src/Some.cpp", 77, level, L"%ls", text);
    }

    // The calls behind the initialisation.
    std::vector<std::string> Traced() const {
        std::vector<std::string> calls = folder.Calls();
        if (!calls.empty())
            calls.erase(calls.begin());
        return calls;
    }

    TraceFolder folder;
};

TEST_F(SdkLog, writes_lines_that_pass_the_filter_in_the_form_of_the_log) {
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\r\nEnable=1\r\nLevel=0x00000111\r\n");
    Start();
    EXPECT_TRUE(Write(1, L"one"));
    EXPECT_TRUE(Write(16, L"two 100%"));
    EXPECT_TRUE(Write(256, L"three \x20ac"));
    // Filtered away counts as done.
    EXPECT_TRUE(Write(4096, L"not written"));
    EXPECT_TRUE(Write(kForced, L"four"));
    constexpr char kForm[] =
        "^trace 1 \\d\\d\\d\\d \\d\\d/\\d\\d/\\d\\d\\d\\d \\d\\d:\\d\\d:\\d\\d.\\d\\d\\d "
        "\\w+:\\w+ ";
    using testing::AllOf;
    using testing::ContainsRegex;
    using testing::EndsWith;
    EXPECT_THAT(
        Traced(),
        ElementsAre(AllOf(ContainsRegex(kForm), EndsWith(" .w. <WySdk> one - Some.cpp(77)$")),
                    AllOf(ContainsRegex(kForm), EndsWith(" @@@ <WySdk> two 100% - Some.cpp(77)$")),
                    AllOf(ContainsRegex(kForm),
                          EndsWith(" !!! <WySdk> three \xe2\x82\xac - Some.cpp(77)$")),
                    AllOf(ContainsRegex(kForm), EndsWith(" ??? <WySdk> four - Some.cpp(77)$"))));
}

TEST_F(SdkLog, answers_which_levels_pass) {
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=1\nLevel=0x1111\n");
    Start();
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(1));
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(4096));
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(2));
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(kForced));
}

TEST_F(SdkLog, carries_forced_lines_alone_when_it_is_off) {
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=0\nLevel=0xffffffff\n");
    Start();
    EXPECT_TRUE(Write(256, L"not written"));
    EXPECT_TRUE(Write(kForced, L"written"));
    EXPECT_THAT(Traced(), ElementsAre(HasSubstr(" written - ")));
}

TEST_F(SdkLog, without_a_configuration_is_off) {
    folder.AddModule();
    Start();
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(256));
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(kForced));
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize service=[0] robust=[0]")));
    EXPECT_THAT(folder.Calls()[0], HasSubstr(" process=[0] unit=[0] module=[WySdk] folder=[] "
                                             "prefix=[qrn] file=[] extension=[log]"));
}

TEST_F(SdkLog, enabled_means_1_and_the_default_mask_is_256) {
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=1\n");
    Start();
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(256));
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(1));
}

TEST_F(SdkLog, hands_the_configuration_to_the_module) {
    folder.AddModule();
    folder.AddFile("krdbg.ini",
                   "[ServiceSession]\nLogPrefix=wrong\n[InteractiveSession]\nEnable=1\n"
                   "LogProcess=3\nLogUnitType=4\nLogFolder=C:\\logs\nLogPrefix=p\nLogFile=f\n"
                   "LogExtension=txt\nRobust=2\nDebugger=1\n");
    Start();
    ASSERT_EQ(folder.Calls().size(), 1U);
    EXPECT_THAT(folder.Calls()[0], StartsWith("initialize service=[0] robust=[1] debugger=[1] "
                                              "year=[20"));
    EXPECT_THAT(folder.Calls()[0], HasSubstr(" process=[3] unit=[4] module=[WySdk] "
                                             "folder=[C:\\logs] prefix=[p] file=[f] "
                                             "extension=[txt]"));
}

TEST_F(SdkLog, cuts_texts_that_are_too_long_for_the_record) {
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nLogFolder=" + std::string(1000, 'f') +
                                    "\nLogPrefix=" + std::string(1000, 'p') + "\n");
    const SdkLogConfig config = ReadSdkLogConfig(std::wstring(100, L'm'), folder.Path());
    EXPECT_EQ(std::wstring(config.record.szModuleName), std::wstring(31, L'm'));
    EXPECT_EQ(std::wstring(config.record.szLogFolder), std::wstring(259, L'f'));
    EXPECT_EQ(std::wstring(config.record.szLogPrefix), std::wstring(255, L'p'));
    EXPECT_EQ(config.record.uiReserved, 0);
}

TEST_F(SdkLog, a_long_message_is_written_whole) {
    folder.AddModule();
    Start();
    const std::wstring text(5000, L'x');
    EXPECT_TRUE(Write(kForced, text.c_str()));
    EXPECT_THAT(Traced(), ElementsAre(HasSubstr(" <WySdk> " + std::string(5000, 'x') + " - ")));
}

TEST_F(SdkLog, a_percent_sign_in_a_stream_is_no_conversion) {
    folder.AddModule();
    Start();
    WyLogStream("Some", 5, kForced) << L"100%s %n";
    EXPECT_THAT(Traced(), ElementsAre(HasSubstr(" <WySdk> 100%s %n - Some(5)$")));
}

TEST_F(SdkLog, without_the_module_stays_and_writes_nothing) {
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=1\n");
    Start();
    ASSERT_NE(g_pDebugLog, nullptr);
    EXPECT_FALSE(Write(256, L"x"));
    EXPECT_FALSE(Write(kForced, L"x"));
}

TEST_F(SdkLog, with_a_module_that_is_none_writes_nothing) {
    folder.AddFile("KrDbgLog.dll", "no library");
    Start();
    EXPECT_FALSE(Write(kForced, L"x"));
}

TEST_F(SdkLog, with_a_module_that_refuses_writes_nothing) {
    folder.AddModule();
    folder.AddFile("refuse", "");
    Start();
    EXPECT_FALSE(Write(kForced, L"x"));
    StopDebugLog();
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize")));
}

TEST_F(SdkLog, with_a_module_that_gives_no_session_writes_nothing) {
    folder.AddModule();
    folder.AddFile("no-session", "");
    Start();
    EXPECT_FALSE(Write(kForced, L"x"));
    StopDebugLog();
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize")));
}

TEST_F(SdkLog, stop_ends_the_session_and_clears_the_pointers) {
    folder.AddModule();
    Start();
    StartFeedbackErrorLog();
    EXPECT_NE(g_pFeedbackErrorLog, nullptr);
    StopDebugLog();
    EXPECT_EQ(g_pDebugLog, nullptr);
    EXPECT_EQ(g_pFeedbackErrorLog, nullptr);
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize"), "uninitialize 1"));
    // The module is no longer loaded.
    EXPECT_NE(DeleteFileW((folder.Path() + L"\\KrDbgLog.dll").c_str()), 0);
    StopDebugLog();
}

TEST_F(SdkLog, may_be_started_again_after_its_end) {
    folder.AddModule();
    Start();
    StopDebugLog();
    Start();
    EXPECT_TRUE(Write(kForced, L"again"));
    EXPECT_EQ(folder.Calls().size(), 4U);
}

TEST(SdkLogConfigSession, a_test_is_no_service) {
    EXPECT_FALSE(IsServiceSession());
}

}  // namespace
