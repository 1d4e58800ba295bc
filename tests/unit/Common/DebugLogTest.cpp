#include "Common/KrCommon/KrComn_DebugLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_ServiceSession.h"
#include "support/FakeLogStorage.h"
#include "support/TraceFolder.h"

namespace {

using KrCommon::DebugLog;
using KrCommon::Storage::Key;
using test_support::FakeLogStorage;
using test_support::TraceFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint32_t kForced = 0x10000000;
constexpr wchar_t kIniName[] = L"\\krdbg.ini";

// A log with the stand-in of the trace module and a store in memory.
class DebugLogTest : public testing::Test {
protected:
    DebugLogTest() { FakeLogStorage::Clear(); }

    bool Initialize(const std::wstring& name = L"WySdk", std::uint32_t type = Key::kIniFile) {
        const std::wstring path = folder.Path();
        return log.Initialize(name, Key(type, path.c_str(), kIniName), path);
    }

    bool Open(const wchar_t* enable, const wchar_t* level) {
        folder.AddModule();
        FakeLogStorage::Set(L"Enable", enable);
        FakeLogStorage::Set(L"Level", level);
        return Initialize();
    }

    bool Write(std::uint32_t level, const wchar_t* text = L"text") {
        return log.Trace("src/Some.cpp", 77, level, L"%ls", text);
    }

    // The calls behind the initialisation.
    std::vector<std::string> Traced() const {
        std::vector<std::string> calls = folder.Calls();
        if (!calls.empty())
            calls.erase(calls.begin());
        return calls;
    }

    TraceFolder folder;
    DebugLog log{&FakeLogStorage::Make};
};

// The text with each digit shown as 9.
std::string Shape(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
    return text;
}

TEST_F(DebugLogTest, line_has_time_ids_label_module_message_source_and_line_number) {
    ASSERT_TRUE(Open(L"1", L"256"));
    const KrDbgTime before = KrCommon::LogPlatform::LocalTime();
    EXPECT_TRUE(
        log.Trace("folder\\WySdk.cpp", 1060, 256, L"WySdk: [ERROR] retCode = 0x%08x", 0xe0ff0007U));
    ASSERT_EQ(Traced().size(), 1U);
    const std::string line = Traced()[0];
    // Behind the mark of the session and the year of the time that came with the line.
    EXPECT_EQ(Shape(line.substr(0, 36)), "trace 9 9999 99/99/9999 99:99:99.999");
    EXPECT_THAT(line, testing::EndsWith(" <WySdk> WySdk: [ERROR] retCode = 0xe0ff0007 - "
                                        "WySdk.cpp(1060)$"));
    char ids[32];
    std::snprintf(ids, sizeof ids, " %04x:%04x !!! <WySdk> ", KrCommon::LogPlatform::ProcessId(),
                  KrCommon::LogPlatform::ThreadId());
    EXPECT_THAT(line, HasSubstr(ids));
    char day[32];
    std::snprintf(day, sizeof day, " %02d/%02d/%04d ", before.uiDay, before.uiMonth, before.uiYear);
    const KrDbgTime after = KrCommon::LogPlatform::LocalTime();
    if (before.uiDay == after.uiDay) {
        EXPECT_THAT(line, HasSubstr(day)) << "the day stands first";
    }
}

TEST_F(DebugLogTest, label_follows_the_level_alone) {
    ASSERT_TRUE(Open(L"1", L"0xffffffff"));
    const struct {
        std::uint32_t level;
        const char* label;
    } rows[] = {{1, ".w."}, {16, "@@@"},    {256, "!!!"}, {4096, "???"},      {kForced, "???"},
                {2, "???"}, {0x111, "???"}, {17, "???"},  {0x80000000, "???"}};
    for (const auto& row : rows) {
        EXPECT_TRUE(Write(row.level));
        EXPECT_THAT(Traced().back(), HasSubstr(std::string(" ") + row.label + " <WySdk> text - "))
            << row.level;
    }
    EXPECT_EQ(Traced().size(), std::size(rows));
}

TEST_F(DebugLogTest, filter_lets_through_what_fits_the_mask_of_an_enabled_log_and_forced_lines) {
    folder.AddModule();
    const struct {
        const wchar_t* enable;
        const wchar_t* mask;
        std::uint32_t level;
        bool passes;
    } rows[] = {
        {L"1", L"256", 256, true},
        {L"1", L"256", 1, false},
        {L"1", L"273", 1, true},
        {L"1", L"273", 16, true},
        {L"1", L"273", 256, true},
        {L"1", L"273", 4096, false},
        {L"1", L"0x1111", 4096, true},
        {L"1", L"0x1111", 2, false},
        {L"1", L"0", 256, false},
        {L"1", L"0", kForced, true},
        {L"0", L"0x1111", 256, false},
        {L"0", L"0", kForced, true},
        {L"2", L"0x1111", 256, false},
        {L"0xffffffff", L"0x1111", 256, false},
        {L"1", L"0x1111", 0, false},
        {L"1", L"0xffffffff", 0x80000000, true},
        // Only the forced level alone passes every filter.
        {L"0", L"0x1111", kForced | 1, false},
    };
    for (const auto& row : rows) {
        FakeLogStorage::Set(L"Enable", row.enable);
        FakeLogStorage::Set(L"Level", row.mask);
        ASSERT_TRUE(Initialize());
        const std::size_t before = folder.Calls().size();
        EXPECT_EQ(log.IsLevelEnabled(row.level), row.passes) << row.mask << ' ' << row.level;
        // Filtered away counts as done.
        EXPECT_TRUE(Write(row.level));
        EXPECT_EQ(folder.Calls().size() - before, row.passes ? 1U : 0U)
            << row.mask << ' ' << row.level;
    }
}

TEST_F(DebugLogTest, keys_are_read_in_their_order_with_their_defaults) {
    folder.AddModule();
    ASSERT_TRUE(Initialize());
    EXPECT_THAT(FakeLogStorage::Steps(),
                ElementsAre(L"open InteractiveSession", L"Enable=0", L"Level=256", L"LogProcess=0",
                            L"LogUnitType=0", L"LogFolder=", L"LogPrefix=qrn", L"LogFile=",
                            L"LogExtension=log", L"Robust=0", L"Debugger=0", L"close"));
}

TEST_F(DebugLogTest, without_values_the_record_has_the_defaults_and_the_log_is_off) {
    folder.AddModule();
    ASSERT_TRUE(Initialize());
    ASSERT_EQ(folder.Calls().size(), 1U);
    EXPECT_THAT(folder.Calls()[0], StartsWith("initialize service=[0] robust=[0] debugger=[0] "
                                              "year=[2"));
    EXPECT_THAT(folder.Calls()[0],
                HasSubstr(" process=[0] unit=[0] module=[WySdk] folder=[] prefix=[qrn] file=[] "
                          "extension=[log]"));
    EXPECT_FALSE(log.IsLevelEnabled(256));
    EXPECT_TRUE(log.IsLevelEnabled(kForced));
}

// Reads a little-endian number of the record.
std::uint32_t Number(const std::vector<unsigned char>& bytes, std::size_t offset,
                     std::size_t size) {
    std::uint32_t number = 0;
    for (std::size_t i = size; i-- > 0;) {
        number = number << 8 | bytes.at(offset + i);
    }
    return number;
}

// Reads a text of the record up to its NUL; checks that all behind it is 0.
std::u16string Text(const std::vector<unsigned char>& bytes, std::size_t offset,
                    std::size_t units) {
    std::u16string text;
    bool ended = false;
    for (std::size_t i = 0; i < units; ++i) {
        const auto unit = static_cast<char16_t>(Number(bytes, offset + 2 * i, 2));
        ended = ended || unit == 0;
        EXPECT_TRUE(!ended || unit == 0) << "offset " << offset + 2 * i;
        if (!ended)
            text += unit;
    }
    EXPECT_TRUE(ended) << "no NUL at offset " << offset;
    return text;
}

TEST_F(DebugLogTest, record_has_each_field_at_its_offset) {
    folder.AddModule();
    FakeLogStorage::Set(L"LogProcess", L"0x01020304");
    FakeLogStorage::Set(L"LogUnitType", L"0x11121314");
    FakeLogStorage::Set(L"LogFolder", L"folder");
    FakeLogStorage::Set(L"LogPrefix", L"prefix");
    FakeLogStorage::Set(L"LogFile", L"file\x20ac");
    FakeLogStorage::Set(L"LogExtension", L"extension");
    FakeLogStorage::Set(L"Robust", L"0x100");
    FakeLogStorage::Set(L"Debugger", L"1");
    const KrDbgTime before = KrCommon::LogPlatform::LocalTime();
    ASSERT_TRUE(Initialize(L"module"));
    const std::vector<unsigned char> bytes = folder.ConfigBytes();
    ASSERT_EQ(bytes.size(), 2148U);
    const struct {
        std::size_t offset;
        std::size_t size;
        std::uint32_t value;
    } numbers[] = {
        {0, 1, 0},  // service session
        {1, 1, 1},  // robust
        {2, 1, 1},  // debugger
        {3, 1, 0},  // reserved
        {4, 2, before.uiYear},
        {6, 2, before.uiMonth},
        {8, 2, before.uiDayOfWeek},
        {10, 2, before.uiDay},
        {12, 2, before.uiHour},
        {20, 4, 0x01020304},  // log process
        {24, 4, 0x11121314},  // log unit type
    };
    const KrDbgTime after = KrCommon::LogPlatform::LocalTime();
    for (const auto& row : numbers) {
        // The hour, and all above it, may change under the test.
        if (row.offset < 4 || row.offset > 12 || before.uiHour == after.uiHour) {
            EXPECT_EQ(Number(bytes, row.offset, row.size), row.value) << row.offset;
        }
    }
    const struct {
        std::size_t offset;
        std::size_t units;
        const char16_t* text;
    } texts[] = {{28, 32, u"module"},
                 {92, 260, u"folder"},
                 {612, 256, u"prefix"},
                 {1124, 256, u"file\x20ac"},
                 {1636, 256, u"extension"}};
    for (const auto& row : texts) {
        EXPECT_EQ(Text(bytes, row.offset, row.units), row.text) << row.offset;
    }
}

TEST_F(DebugLogTest, texts_of_the_record_are_cut_to_their_fields) {
    folder.AddModule();
    for (const wchar_t* key : {L"LogFolder", L"LogPrefix", L"LogFile", L"LogExtension"}) {
        FakeLogStorage::Set(key, std::wstring(1000, L'x'));
    }
    ASSERT_TRUE(Initialize(std::wstring(100, L'm')));
    const std::vector<unsigned char> bytes = folder.ConfigBytes();
    EXPECT_EQ(Text(bytes, 28, 32), std::u16string(31, u'm'));
    EXPECT_EQ(Text(bytes, 92, 260), std::u16string(259, u'x'));
    for (const std::size_t offset : {612U, 1124U, 1636U}) {
        EXPECT_EQ(Text(bytes, offset, 256), std::u16string(255, u'x'));
    }
}

// A store that raises leaves what was read before, and the log opens all the same.
TEST_F(DebugLogTest, store_that_raises_leaves_what_was_read_before) {
    folder.AddModule();
    const struct {
        int step;
        bool errorPasses;        // Enable was read
        bool informationPasses;  // Level was read
        const char* fields;
    } rows[] = {
        {0, false, false, " process=[0] unit=[0] module=[WySdk] folder=[] prefix=[] file=[] "},
        {1, false, false, " process=[0] unit=[0] module=[WySdk] folder=[] prefix=[] file=[] "},
        {2, true, false, " process=[0] unit=[0] module=[WySdk] folder=[] prefix=[] file=[] "},
        {3, true, true, " process=[0] unit=[0] module=[WySdk] folder=[] prefix=[] file=[] "},
        {4, true, true, " process=[3] unit=[0] module=[WySdk] folder=[] prefix=[] file=[] "},
        {5, true, true, " process=[3] unit=[4] module=[WySdk] folder=[] prefix=[] file=[] "},
        {6, true, true, " process=[3] unit=[4] module=[WySdk] folder=[f] prefix=[] file=[] "},
        {7, true, true, " process=[3] unit=[4] module=[WySdk] folder=[f] prefix=[p] file=[] "},
        {8, true, true, " folder=[f] prefix=[p] file=[n] extension=[]"},
        {9, true, true, " folder=[f] prefix=[p] file=[n] extension=[e]"},
        {10, true, true, " folder=[f] prefix=[p] file=[n] extension=[e]"},
        {11, true, true, " folder=[f] prefix=[p] file=[n] extension=[e]"},
    };
    for (const auto& row : rows) {
        FakeLogStorage::Clear();
        const std::pair<const wchar_t*, const wchar_t*> values[] = {
            {L"Enable", L"1"},      {L"Level", L"273"},      {L"LogProcess", L"3"},
            {L"LogUnitType", L"4"}, {L"LogFolder", L"f"},    {L"LogPrefix", L"p"},
            {L"LogFile", L"n"},     {L"LogExtension", L"e"}, {L"Robust", L"1"},
            {L"Debugger", L"1"}};
        for (const auto& [key, value] : values) {
            FakeLogStorage::Set(key, value);
        }
        FakeLogStorage::RaiseAt(row.step);
        const std::wstring path = folder.Path();
        DebugLog other(&FakeLogStorage::Make);
        EXPECT_TRUE(other.Initialize(L"WySdk", Key(Key::kRegistry, nullptr, nullptr), path));
        EXPECT_EQ(other.IsLevelEnabled(256), row.errorPasses) << row.step;
        EXPECT_EQ(other.IsLevelEnabled(1), row.informationPasses) << row.step;
        ASSERT_FALSE(folder.Calls().empty());
        const std::string call = folder.Calls().back();
        EXPECT_THAT(call, HasSubstr(row.fields)) << row.step;
        EXPECT_THAT(call, HasSubstr(row.step > 9 ? " robust=[1] " : " robust=[0] ")) << row.step;
        EXPECT_THAT(call, HasSubstr(row.step > 10 ? " debugger=[1] " : " debugger=[0] "))
            << row.step;
    }
}

TEST_F(DebugLogTest, key_types_0_1_and_4_are_known) {
    folder.AddModule();
    const struct {
        std::uint32_t type;
        bool known;
    } rows[] = {{2, false}, {3, false}, {5, false}, {0xffffffff, false},
                {0, true},  {1, true},  {4, true}};
    for (const auto& row : rows) {
        EXPECT_EQ(Initialize(L"WySdk", row.type), row.known) << row.type;
        EXPECT_EQ(FakeLogStorage::Types().back(), row.type);
        if (!row.known) {
            EXPECT_THAT(folder.Calls(), IsEmpty());
            EXPECT_FALSE(Write(kForced));
        }
    }
    // The session was opened once.
    EXPECT_EQ(folder.Calls().size(), 1U);
}

TEST_F(DebugLogTest, without_a_usable_module_stays_closed) {
    const struct {
        const char* module;
        const char* file;
    } rows[] = {{nullptr, "other"},
                {nullptr, "KrDbgLog.dll"},  // no library
                {"TraceModuleIncomplete.dll", "other"},
                {"TraceModuleStandin.dll", "refuse"},
                {"TraceModuleStandin.dll", "no-session"}};
    for (const auto& row : rows) {
        TraceFolder other;
        if (row.module != nullptr)
            other.AddModule(row.module);
        other.AddFile(row.file, "no library");
        const std::wstring path = other.Path();
        DebugLog closed(&FakeLogStorage::Make);
        FakeLogStorage::Set(L"Enable", L"1");
        EXPECT_FALSE(closed.Initialize(L"WySdk", Key(1, path.c_str(), kIniName), path));
        EXPECT_TRUE(closed.IsLevelEnabled(256)) << "the configuration was read";
        EXPECT_FALSE(closed.Trace("Some", 1, kForced, L"text"));
        EXPECT_FALSE(closed.Trace("Some", 1, 1, L"text")) << "a line that is filtered away";
        EXPECT_FALSE(closed.Uninitialize());
        for (const std::string& call : other.Calls()) {
            EXPECT_THAT(call, StartsWith("initialize"));
        }
    }
}

TEST_F(DebugLogTest, module_that_refused_may_be_asked_again) {
    folder.AddModule();
    folder.AddFile("refuse", "");
    EXPECT_FALSE(Initialize());
    std::filesystem::remove(std::filesystem::path(folder.Path()) / "refuse");
    EXPECT_TRUE(Initialize());
    EXPECT_TRUE(Write(kForced));
}

TEST_F(DebugLogTest, module_that_refuses_a_line_is_reported) {
    ASSERT_TRUE(Open(L"1", L"256"));
    folder.AddFile("refuse-lines", "");
    EXPECT_FALSE(Write(256));
    EXPECT_TRUE(Write(1)) << "filtered away";
}

TEST_F(DebugLogTest, initialised_anew_reads_again_and_keeps_the_session) {
    ASSERT_TRUE(Open(L"1", L"256"));
    EXPECT_TRUE(log.IsLevelEnabled(256));
    FakeLogStorage::Set(L"Level", L"16");
    ASSERT_TRUE(Initialize(L"Renamed"));
    EXPECT_FALSE(log.IsLevelEnabled(256));
    EXPECT_TRUE(Write(16));
    EXPECT_FALSE(Initialize(L"Again", 2)) << "a key that is not known";
    EXPECT_TRUE(Write(16));
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize"), HasSubstr(" <Renamed> text"),
                                            HasSubstr(" <Again> text")));
}

TEST_F(DebugLogTest, module_name_may_be_empty) {
    folder.AddModule();
    ASSERT_TRUE(Initialize({}));
    EXPECT_TRUE(Write(kForced));
    EXPECT_THAT(Traced(), ElementsAre(HasSubstr(" ??? <> text - Some.cpp(77)$")));
}

TEST_F(DebugLogTest, uninitialize_closes_the_session_and_clears_the_filter) {
    EXPECT_FALSE(log.Uninitialize()) << "never opened";
    ASSERT_TRUE(Open(L"1", L"256"));
    EXPECT_TRUE(log.Uninitialize());
    EXPECT_FALSE(log.Uninitialize());
    EXPECT_FALSE(log.IsLevelEnabled(256));
    EXPECT_TRUE(log.IsLevelEnabled(kForced));
    EXPECT_FALSE(Write(kForced));
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize"), "uninitialize 1"));
    // The module is free: it can be loaded anew.
    EXPECT_TRUE(Initialize());
    EXPECT_TRUE(Write(kForced));
}

TEST_F(DebugLogTest, destructor_frees_the_module_and_leaves_the_session) {
    folder.AddModule();
    const std::wstring path = folder.Path();
    {
        DebugLog other(&FakeLogStorage::Make);
        ASSERT_TRUE(other.Initialize(L"Event", Key(1, path.c_str(), kIniName), path));
    }
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize")));
}

TEST_F(DebugLogTest, percent_sign_is_a_conversion_in_a_format_and_a_sign_in_a_stream) {
    ASSERT_TRUE(Open(L"1", L"256"));
    EXPECT_TRUE(log.Trace("Some", 1, 256, L"100%% %d", 5));
    WyLogStream(&log, "Some", 2, 256) << L"100% %s %n";
    EXPECT_THAT(Traced(), ElementsAre(HasSubstr(" <WySdk> 100% 5 - Some(1)$"),
                                      HasSubstr(" <WySdk> 100% %s %n - Some(2)$")));
}

TEST_F(DebugLogTest, messages_of_every_length_are_written_whole) {
    ASSERT_TRUE(Open(L"1", L"256"));
    for (const std::size_t length : {0U, 1U, 254U, 255U, 256U, 257U, 511U, 512U, 5000U, 1U << 20}) {
        const std::wstring text(length, L'x');
        EXPECT_TRUE(Write(256, text.c_str()));
        EXPECT_THAT(Traced().back(),
                    testing::EndsWith(" <WySdk> " + std::string(length, 'x') + " - Some.cpp(77)$"))
            << length;
    }
}

TEST_F(DebugLogTest, source_is_the_file_name_of_its_path) {
    ASSERT_TRUE(Open(L"1", L"256"));
    const struct {
        const char* path;
        const char* shown;
    } rows[] = {{"Some", "Some"},
                {"a\\b\\Some.cpp", "Some.cpp"},
                {"a/b/Some.cpp", "Some.cpp"},
                {"C:Some.cpp", "Some.cpp"},
                {"", ""},
                {nullptr, ""}};
    for (const auto& row : rows) {
        EXPECT_TRUE(log.Trace(row.path, 0xffffffff, 256, L"m"));
        EXPECT_THAT(Traced().back(),
                    testing::EndsWith(std::string("> m - ") + row.shown + "(4294967295)$"));
    }
}

TEST_F(DebugLogTest, function_trace_is_written_with_mask_273_and_not_by_default) {
    folder.AddModule();
    g_pDebugLog = &log;
    FakeLogStorage::Set(L"Enable", L"1");
    ASSERT_TRUE(Initialize());
    { const WyFunctionTrace trace(L"WySdk", "Mode", L"A::B", 42); }
    EXPECT_THAT(Traced(), IsEmpty());
    FakeLogStorage::Set(L"Level", L"273");
    ASSERT_TRUE(Initialize());
    { const WyFunctionTrace trace(L"WySdk", "Mode", L"A::B", 42); }
    g_pDebugLog = nullptr;
    EXPECT_THAT(Traced(),
                ElementsAre(HasSubstr(" @@@ <WySdk> [INFO],[WySdk], ==> A::B - Mode(42)$"),
                            HasSubstr(" @@@ <WySdk> [INFO],[WySdk], <== A::B - Mode(42)$")));
}

// The answers of the system for one decision.
class FakeSystem : public KrCommon::SessionSystem {
public:
    bool Meets(std::uint32_t condition) override {
        return KrCommon::OsVersion::Meets(m_Record, condition);
    }
    bool GetSessionId(std::uint32_t& session) override {
        ++m_iSessionQuestions;
        session = static_cast<std::uint32_t>(m_iSession);
        return m_iSession >= 0;
    }
    bool IsLocalSystem(bool& member) override {
        ++m_iMemberQuestions;
        member = m_iMember == 1;
        return m_iMember >= 0;
    }
    KrCommon::OsVersion::Record m_Record;
    int m_iSession = -1;
    int m_iMember = -1;
    int m_iSessionQuestions = 0;
    int m_iMemberQuestions = 0;
};

TEST(ServiceSession, is_session_0_since_vista_and_the_local_system_before) {
    const struct {
        const char* what;
        std::uint32_t platform;
        std::uint32_t major;
        int session;  // -1: the question fails
        int member;   // -1: the question fails
        bool service;
        int asked;  // 0: neither, 1: for the session, 2: for the member
    } rows[] = {
        {"no answer about the version", 0, 0, 0, 1, false, 0},
        {"not the NT family", 1, 6, 0, 1, false, 0},
        {"NT 4", 2, 4, 0, 1, false, 0},
        {"2000, local system", 2, 5, 1, 1, true, 2},
        {"2000, a person, session 0", 2, 5, 0, 0, false, 2},
        {"2000, no answer", 2, 5, 0, -1, false, 2},
        {"Vista, session 0", 2, 6, 0, 0, true, 1},
        {"Vista, session 1, local system", 2, 6, 1, 1, false, 1},
        {"Vista, no answer", 2, 6, -1, 1, false, 1},
        {"10, session 0", 2, 10, 0, 0, true, 1},
    };
    for (const auto& row : rows) {
        FakeSystem system;
        system.m_Record.platformId = row.platform;
        system.m_Record.majorVersion = row.major;
        system.m_iSession = row.session;
        system.m_iMember = row.member;
        EXPECT_EQ(KrCommon::IsServiceSession(system), row.service) << row.what;
        EXPECT_EQ(system.m_iSessionQuestions, row.asked == 1 ? 1 : 0) << row.what;
        EXPECT_EQ(system.m_iMemberQuestions, row.asked == 2 ? 1 : 0) << row.what;
    }
}

TEST(ServiceSession, test_program_is_no_service) {
    EXPECT_FALSE(KrCommon::IsServiceSession());
}

}  // namespace
