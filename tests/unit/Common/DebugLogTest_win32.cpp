// The log with the stores of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_ServiceSession.h"
#include "Common/KrCommon/KrComn_String.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/TraceFolder.h"

namespace {

using KrCommon::Storage::Key;
using test_support::IatPatch;
using test_support::RegistryKey;
using test_support::TraceFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint32_t kForced = 0x10000000;

// The system's own functions, whatever stands in the import table.
template <class Function>
Function* OfKernel(const char* name) {
    static const HMODULE s_hKernel = GetModuleHandleW(L"kernel32.dll");
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(s_hKernel, name)));
}

auto* const s_FindFunction = OfKernel<FARPROC WINAPI(HMODULE, const char*)>("GetProcAddress");

BOOL WINAPI SessionIs0(DWORD, DWORD* session) {
    *session = 0;
    return TRUE;
}

// Stands in for GetProcAddress: the question for the session is answered here, all others as ever.
FARPROC WINAPI FindWithSession0(HMODULE module, const char* name) {
    if (std::strcmp(name, "ProcessIdToSessionId") == 0)
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&SessionIs0));
    return s_FindFunction(module, name);
}

FARPROC WINAPI FindNoSession(HMODULE module, const char* name) {
    return std::strcmp(name, "ProcessIdToSessionId") == 0 ? nullptr : s_FindFunction(module, name);
}

TEST(ServiceSessionOfTheProcess, is_that_of_session_0) {
    const HMODULE program = GetModuleHandleW(nullptr);
    EXPECT_FALSE(KrCommon::IsServiceSession());
    {
        const IatPatch patch(program, "kernel32.dll", "GetProcAddress", FindWithSession0);
        EXPECT_TRUE(KrCommon::IsServiceSession());
    }
    const IatPatch patch(program, "kernel32.dll", "GetProcAddress", FindNoSession);
    EXPECT_FALSE(KrCommon::IsServiceSession());
}

TEST(LogStorage, is_there_for_types_0_1_and_4) {
    for (const std::uint32_t type : {0U, 1U, 4U}) {
        EXPECT_NE(KrCommon::MakeLogStorage(type), nullptr) << type;
    }
    for (const std::uint32_t type : {2U, 3U, 5U, 0xffffffffU}) {
        EXPECT_EQ(KrCommon::MakeLogStorage(type), nullptr) << type;
    }
}

// The main log, as the library makes it.
class MainLogWithFile : public testing::Test {
protected:
    ~MainLogWithFile() override { KrCommon::DestroyMainLog(); }

    void Create() { KrCommon::CreateMainLog(L"WySdk", folder.Path()); }

    TraceFolder folder;
};

TEST_F(MainLogWithFile, reads_the_section_of_its_session) {
    folder.AddModule();
    folder.AddFile("krdbg.ini",
                   "[ServiceSession]\r\nEnable=1\r\nLevel=0x00000010\r\nLogPrefix=service\r\n"
                   "[InteractiveSession]\r\nEnable=1\r\nLevel=273\r\nLogProcess=3\r\n"
                   "LogUnitType=4\r\nLogFolder=C:\\logs\r\nLogPrefix=person\r\nLogFile=f\r\n"
                   "LogExtension=txt\r\nRobust=2\r\nDebugger=1\r\n");
    Create();
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(256));
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(1));
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(4096));
    {
        const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "GetProcAddress",
                             FindWithSession0);
        Create();
    }
    EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(16));
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(256));
    EXPECT_THAT(folder.Calls(),
                ElementsAre(HasSubstr(" process=[3] unit=[4] module=[WySdk] folder=[C:\\logs] "
                                      "prefix=[person] file=[f] extension=[txt]"),
                            "uninitialize 1",
                            HasSubstr(" process=[0] unit=[0] module=[WySdk] folder=[] "
                                      "prefix=[service] file=[] extension=[log]")));
    EXPECT_THAT(folder.Calls()[0],
                StartsWith("initialize service=[0] robust=[1] debugger=[1] year=["));
    EXPECT_THAT(folder.Calls()[2],
                StartsWith("initialize service=[1] robust=[0] debugger=[0] year=["));
}

TEST_F(MainLogWithFile, without_a_file_carries_forced_lines_alone) {
    folder.AddModule();
    Create();
    EXPECT_TRUE(g_pDebugLog->Trace("Some", 1, 256, L"not written"));
    EXPECT_TRUE(g_pDebugLog->Trace("Some", 2, kForced, L"\x20ac"));
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize"),
                                            HasSubstr(" ??? <WySdk> \xe2\x82\xac - Some(2)$")));
}

TEST_F(MainLogWithFile, hexadecimal_levels_are_read) {
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=1\nLevel=0x00000111\n");
    Create();
    for (const std::uint32_t level : {1U, 16U, 256U}) {
        EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(level)) << level;
    }
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(4096));
}

TEST_F(MainLogWithFile, destroyed_frees_the_module) {
    folder.AddModule();
    Create();
    KrCommon::DestroyMainLog();
    EXPECT_EQ(g_pDebugLog, nullptr);
    EXPECT_THAT(folder.Calls(), ElementsAre(StartsWith("initialize"), "uninitialize 1"));
    EXPECT_NE(DeleteFileW((folder.Path() + L"\\KrDbgLog.dll").c_str()), 0) << GetLastError();
}

TEST_F(MainLogWithFile, source_name_is_text_of_the_code_page) {
    folder.AddModule();
    Create();
    EXPECT_TRUE(g_pDebugLog->Trace("a\\b\xe4.cpp", 1, kForced, L"text"));
    wchar_t wide[8] = {};
    ASSERT_EQ(MultiByteToWideChar(CP_THREAD_ACP, 0, "\xe4", 1, wide, 8), 1);
    EXPECT_THAT(folder.Calls()[1],
                HasSubstr("text - b" + KrCommon::String::ToUtf8(wide) + ".cpp(1)$"));
}

// A key of the registry with values of a log, in the part that this process sees.
class RegistryLog : public testing::Test {
protected:
    static constexpr wchar_t kPath[] = L"SOFTWARE\\KorvexDataLogTest";

    bool SetNumber(RegistryKey& key, const wchar_t* name, std::uint8_t low, std::uint8_t high) {
        return key.Set(name, REG_DWORD, {low, high, 0, 0});
    }

    bool Initialize(std::uint32_t type) {
        return log.Initialize(L"WySdk", Key(type, HKEY_LOCAL_MACHINE, kPath), folder.Path());
    }

    TraceFolder folder;
    KrCommon::DebugLog log;
};

TEST_F(RegistryLog, reads_the_key_until_the_first_value_that_is_missing) {
    folder.AddModule();
    RegistryKey key(kPath, 0);
    RegistryKey section(std::wstring(kPath) + L"\\InteractiveSession", 0);
    ASSERT_TRUE(SetNumber(section, L"Enable", 1, 0));
    ASSERT_TRUE(SetNumber(section, L"Level", 16, 1));
    ASSERT_TRUE(SetNumber(section, L"LogProcess", 7, 0));
    ASSERT_TRUE(section.SetText(L"LogFolder", L"behind the missing LogUnitType"));
    for (const std::uint32_t type : {0U, 4U}) {
        EXPECT_TRUE(Initialize(type)) << type;
    }
    EXPECT_TRUE(log.IsLevelEnabled(16));
    EXPECT_FALSE(log.IsLevelEnabled(1));
    ASSERT_EQ(folder.Calls().size(), 1U);
    EXPECT_THAT(folder.Calls()[0], HasSubstr(" process=[7] unit=[0] module=[WySdk] folder=[] "
                                             "prefix=[] file=[] extension=[]"));
}

TEST_F(RegistryLog, without_a_key_is_off_and_open) {
    folder.AddModule();
    EXPECT_TRUE(Initialize(0));
    EXPECT_FALSE(log.IsLevelEnabled(256));
    EXPECT_TRUE(log.Trace("Some", 1, kForced, L"text"));
    EXPECT_EQ(folder.Calls().size(), 2U);
}

TEST_F(RegistryLog, all_values_reach_the_record) {
    folder.AddModule();
    RegistryKey key(kPath, 0);
    RegistryKey section(std::wstring(kPath) + L"\\InteractiveSession", 0);
    for (const wchar_t* name : {L"Enable", L"LogProcess", L"LogUnitType", L"Robust", L"Debugger"}) {
        ASSERT_TRUE(SetNumber(section, name, 1, 0));
    }
    ASSERT_TRUE(SetNumber(section, L"Level", 17, 17));
    for (const wchar_t* name : {L"LogFolder", L"LogPrefix", L"LogFile", L"LogExtension"}) {
        ASSERT_TRUE(section.SetText(name, name));
    }
    EXPECT_TRUE(Initialize(4));
    EXPECT_TRUE(log.IsLevelEnabled(4096));
    EXPECT_THAT(folder.Calls()[0], StartsWith("initialize service=[0] robust=[1] debugger=[1] "));
    EXPECT_THAT(folder.Calls()[0],
                HasSubstr(" process=[1] unit=[1] module=[WySdk] folder=[LogFolder] "
                          "prefix=[LogPrefix] file=[LogFile] extension=[LogExtension]"));
}

}  // namespace
