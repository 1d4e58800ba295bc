// Starting the session agent, and ending what runs of the product.

#include "deploy/DeployCommon_Processes.h"

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "support/AllocationFaults.h"
#include "support/ProcessFigures.h"
#include "support/TemporaryFolder.h"
#include "support/WatchedService.h"
#include "unit/deploy/DeployFixture_win32.h"
#include "unit/deploy/FakeProcesses_win32.h"
#include "unit/lib/wycommon/TestChild.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using deploy_test::kProductKey;
using deploy_test::kSuccess;
using test_support::IatPatch;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using wycommon_test::Child;

constexpr wchar_t kNoSetup[] = L"32-bit system: the set-up program is like any other there";
constexpr wchar_t kStopEvent[] = L"Global\\WATCHDOG_EVENT_STOP_WATCHDOGDeployTest";

// The path that this process seems to run from; the former one while it is empty.
std::wstring s_strExecutable;
IatPatch* s_pModuleName = nullptr;

DWORD WINAPI ModuleName(HMODULE module, LPWSTR path, DWORD size) {
    if (module != nullptr || s_strExecutable.empty())
        return s_pModuleName->Original<decltype(GetModuleFileNameW)>()(module, path, size);
    std::wcsncpy(path, s_strExecutable.c_str(), size);
    return static_cast<DWORD>(s_strExecutable.size());
}

// A function that the system seems not to have.
const char* s_szMissing = nullptr;
IatPatch* s_pLookUp = nullptr;

FARPROC WINAPI LookUp(HMODULE module, LPCSTR name) {
    if (s_szMissing != nullptr && !IS_INTRESOURCE(name) && std::strcmp(name, s_szMissing) == 0) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return s_pLookUp->Original<decltype(GetProcAddress)>()(module, name);
}

class DeployProcesses : public deploy_test::DeployFixture {
protected:
    DeployProcesses() {
        s_pModuleName = &m_ModuleName;
        s_pLookUp = &m_LookUp;
    }
    void SetUp() override {
        DeployFixture::SetUp();
        deploy_test::PutValue(kProductKey, L"ProductPath", m_Dir);
    }
    void TearDown() override {
        s_strExecutable.clear();
        s_szMissing = nullptr;
        DeployFixture::TearDown();
    }

    // False, on a 32-bit system, when being the set-up program makes no difference.
    static bool RunAs(const wchar_t* executable) {
        s_strExecutable = executable;
        return KrCommon::OsVersion::Is64Bit();
    }

    // The name of a file as it stands enciphered before the first comma behind the launcher.
    static std::wstring FileIn(const std::wstring& start, const std::wstring& launcher) {
        const std::wstring head = L"\"" + launcher + L"\" ";
        if (start.rfind(head, 0) != 0)
            return L"not for " + launcher + L": " + start;
        std::wstring file = start.substr(head.size(), start.find(L',') - head.size());
        KrCommon::Cryptograph::DecryptString(file);
        return file;
    }
    static std::wstring FieldsIn(const std::wstring& start) {
        return start.substr(start.find(L','));
    }

    test_support::TemporaryFolder m_Folder{L"wy processes"};
    const std::wstring m_Dir = m_Folder.Path().wstring();
    IatPatch m_ModuleName{Program(), "kernel32.dll", "GetModuleFileNameW", ModuleName};
    IatPatch m_LookUp{Program(), "kernel32.dll", "GetProcAddress", LookUp};
};

// ---- the session agent

class DeployAgent : public DeployProcesses {
protected:
    std::wstring Line(int mode) const {
        return L"\"C:\\Inst dir\\WySessionAgent.exe\" " + std::to_wstring(mode);
    }

    deploy_test::FakeProcesses m_Processes;
};

TEST_F(DeployAgent, plain_start_is_hidden_in_the_install_folder_and_not_waited_for) {
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 3, false), kSuccess);
    EXPECT_THAT(m_Processes.starts, ElementsAre(Line(3) + L"|C:\\Inst dir|8000200"));
    EXPECT_THAT(m_Processes.waits, IsEmpty());
    m_Processes.ExpectHidden();
    EXPECT_THAT(Log(), ElementsAre(L"4096 [DEBUG] Use KrCommon::Process::InvokeProcess to start "
                                   L"WySessionAgent. Commandline: " +
                                   Line(3)));
}

TEST_F(DeployAgent, plain_start_that_fails_is_told_once) {
    m_Processes.createError = 2;
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 2, false), 0xe00e0010U);
    EXPECT_THAT(Log("KrComn_Process"),
                ElementsAre(L"256 !KrCommon::Process::InvokeProcess() failed. "
                            L"ExitCode=0x0,ErrorCode=0x2"));
    EXPECT_EQ(Log().size(), 1U);
}

TEST_F(DeployAgent, plain_start_is_the_same_for_the_set_up_program) {
    RunAs(L"C:\\pkg\\Setup.exe");
    Frwk::Mode::SetWyvarionId(L"Mirdoshale");
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 1, false), kSuccess);
    EXPECT_THAT(m_Processes.starts,
                ElementsAre(L"\"C:\\Inst dir\\WySessionAgent_C.exe\" 1|C:\\Inst dir|8000200"));
}

TEST_F(DeployAgent, set_up_program_in_the_system_session_uses_the_launcher) {
    if (!RunAs(L"C:\\pkg\\SETUP.exe"))
        GTEST_SKIP() << kNoSetup;
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 3, true), kSuccess);
    ASSERT_EQ(m_Processes.starts.size(), 1U);
    EXPECT_EQ(FileIn(m_Processes.starts[0], m_Dir + L"\\WyLauncher.exe"),
              m_Dir + L"\\WySessionAgent.exe")
        << "the registered folder counts";
    const std::wstring null(sizeof(void*) * 2, L'0');
    EXPECT_EQ(FieldsIn(m_Processes.starts[0]), L",open,3," + null + L",0,|null|8000200");
    EXPECT_THAT(
        Log(),
        ElementsAre(L"4096 [DEBUG] Use WyCommon::Launcher::Impersonate to start WySessionAgent."));
}

TEST_F(DeployAgent, launcher_that_fails_is_told_and_gives_its_code) {
    if (!RunAs(L"C:\\pkg\\Setup.exe"))
        GTEST_SKIP() << kNoSetup;
    m_Processes.createError = 5;
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 3, true), 0xe0fe0005U);
    EXPECT_EQ(Log().back(),
              L"256 [ERROR] WyCommon::Launcher::Impersonate() failed. [retCode=0xe0fe0005]");
}

TEST_F(DeployAgent, other_program_in_the_system_session_starts_it_in_the_active_one) {
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 2, true), kSuccess);
    EXPECT_THAT(m_Processes.starts, ElementsAre(Line(2) + L"|null|600|as user"));
    EXPECT_THAT(m_Processes.waits, IsEmpty());
    EXPECT_THAT(Log(), ElementsAre(L"4096 [DEBUG] Use KrCommon::WindowStation::"
                                   L"InvokeProcessOnInteractiveSession to start WySessionAgent. "
                                   L"Commandline: " +
                                       Line(2),
                                   L"1 [INFO] Active session: %d1"));
}

TEST_F(DeployAgent, set_up_program_of_another_identity_is_another_program) {
    RunAs(L"C:\\pkg\\Setup_P.exe");
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 2, true), kSuccess);
    EXPECT_THAT(m_Processes.starts, ElementsAre(Line(2) + L"|null|600|as user"));
}

TEST_F(DeployAgent, session_that_the_system_does_not_tell_is_minus_one) {
    s_szMissing = "WTSGetActiveConsoleSessionId";
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 2, true), kSuccess);
    EXPECT_THAT(Log(), Contains(L"1 [INFO] Active session: %d-1"));
}

TEST_F(DeployAgent, start_in_the_active_session_that_fails_is_told) {
    m_Processes.createError = 2;
    EXPECT_EQ(StartWySessionAgent(L"C:\\Inst dir", 2, true), 0xe00e0010U);
    EXPECT_EQ(Log().back(),
              L"256 [ERROR] KrCommon::WindowStation::InvokeProcessOnInteractiveSession failed... "
              L"ErrorCode=0x2");
}

TEST_F(DeployAgent, repetition_leaves_no_handles) {
    StartWySessionAgent(L"C:\\Inst dir", 1, true);
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 20; ++round) {
        StartWySessionAgent(L"C:\\Inst dir", 1, false);
        StartWySessionAgent(L"C:\\Inst dir", 1, true);
    }
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

// ---- ending everything

class DeployExit : public DeployProcesses {
protected:
    void TearDown() override {
        CloseHandle(m_hStop);
        DeployProcesses::TearDown();
    }

    // A watchdog's event without a watchdog that sees it.
    void MakeStopEvent() { m_hStop = CreateEventW(nullptr, TRUE, FALSE, kStopEvent); }

    static HANDLE WINAPI RefuseEvent(DWORD, BOOL, LPCWSTR) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    static HANDLE WINAPI RefuseNewEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR) {
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return nullptr;
    }

    Child m_Child{m_Folder.Path() / L"sub" / L"WyMainConsole.exe"};
    HANDLE m_hStop = nullptr;
    deploy_test::FakeProcesses m_Processes;
};

TEST_F(DeployExit, without_a_watchdog_nothing_is_ended) {
    EXPECT_TRUE(ExitAllExec(L""));
    EXPECT_TRUE(m_Child.IsRunning());
    EXPECT_THAT(Log(), ElementsAre(L"16 [WARN] WyWatchDog is already exit..."));
    EXPECT_THAT(m_Processes.pauses, IsEmpty());
}

TEST_F(DeployExit, watchdog_whose_event_cannot_be_opened_is_a_failure) {
    const IatPatch open(Program(), "kernel32.dll", "OpenEventW", RefuseEvent);
    EXPECT_FALSE(ExitAllExec(L""));
    EXPECT_TRUE(m_Child.IsRunning());
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] OpenEvent for WATCHDOG_EVENT_STOP_WATCHDOG "
                                   L"failed...ErrorCode=0x5"));
}

TEST_F(DeployExit, exit_event_that_cannot_be_made_is_a_failure) {
    MakeStopEvent();
    const int handles = test_support::CountHandlesOn(m_hStop);
    {
        const IatPatch create(Program(), "kernel32.dll", "CreateEventW", RefuseNewEvent);
        EXPECT_FALSE(ExitAllExec(L""));
    }
    EXPECT_TRUE(m_Child.IsRunning());
    EXPECT_EQ(WaitForSingleObject(m_hStop, 0), DWORD{WAIT_TIMEOUT}) << "nobody was told";
    EXPECT_EQ(test_support::CountHandlesOn(m_hStop), handles);
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] CreateMultipleGlobal failed... ErrorCode=0x5aa"));
}

// How the watchdog's events were asked for.
struct {
    std::wstring opened;
    DWORD access = 0;
    std::wstring created;
    BOOL manual = FALSE;
    BOOL set = TRUE;
    std::string entries;
} s_Asked;
const IatPatch* s_pOpenEvent = nullptr;
const IatPatch* s_pCreateEvent = nullptr;

// Who may do what with an object, as the bytes of the list; empty for everyone.
std::string Entries(const SECURITY_ATTRIBUTES* attributes) {
    BOOL present = FALSE;
    BOOL byDefault = FALSE;
    ACL* list = nullptr;
    if (attributes == nullptr ||
        GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &present, &list, &byDefault) ==
            0 ||
        list == nullptr)
        return {};
    return {reinterpret_cast<const char*>(list), list->AclSize};
}

HANDLE WINAPI NoteOpen(DWORD access, BOOL inherit, LPCWSTR name) {
    s_Asked.opened = name;
    s_Asked.access = access;
    return s_pOpenEvent->Original<decltype(OpenEventW)>()(access, inherit, name);
}
HANDLE WINAPI NoteCreate(SECURITY_ATTRIBUTES* attributes, BOOL manual, BOOL set, LPCWSTR name) {
    s_Asked.created = name;
    s_Asked.manual = manual;
    s_Asked.set = set;
    s_Asked.entries = Entries(attributes);
    return s_pCreateEvent->Original<decltype(CreateEventW)>()(attributes, manual, set, name);
}

TEST_F(DeployExit, events_are_asked_for_as_the_watchdog_knows_them) {
    MakeStopEvent();
    s_szMissing = "EnumProcesses";
    m_Processes.waitResult = WAIT_OBJECT_0;
    {
        const IatPatch open(Program(), "kernel32.dll", "OpenEventW", NoteOpen);
        const IatPatch create(Program(), "kernel32.dll", "CreateEventW", NoteCreate);
        s_pOpenEvent = &open;
        s_pCreateEvent = &create;
        EXPECT_TRUE(ExitAllExec(L""));
    }
    m_Processes.waitResult.reset();
    EXPECT_EQ(s_Asked.opened, kStopEvent);
    EXPECT_EQ(s_Asked.access, DWORD{EVENT_MODIFY_STATE});
    EXPECT_EQ(s_Asked.created, L"Global\\WATCHDOG_NOTIFY_WATCHDOG_EXITDeployTest");
    EXPECT_EQ(s_Asked.manual, TRUE);
    EXPECT_EQ(s_Asked.set, FALSE);
    namespace AccessControl = KrCommon::AccessControl;
    const AccessControl::SecurityAttributes shared(AccessControl::kEvent, false);
    EXPECT_FALSE(s_Asked.entries.empty());
    EXPECT_EQ(s_Asked.entries, Entries(&shared));
}

TEST_F(DeployExit, wait_that_sees_no_end_goes_on_all_the_same) {
    const struct {
        DWORD result;
        DWORD error;
        const wchar_t* code;
    } rows[] = {
        {WAIT_TIMEOUT, 77, L"0x102"}, {WAIT_ABANDONED, 77, L"0x80"}, {WAIT_FAILED, 6, L"0x6"}};
    MakeStopEvent();
    // Without a process that this test would have to wait for.
    s_szMissing = "EnumProcesses";
    for (const auto& row : rows) {
        m_Log.Clear();
        m_Processes.waits.clear();
        m_Processes.waitResult = row.result;
        m_Processes.waitError = row.error;
        EXPECT_TRUE(ExitAllExec(L"")) << "the result of the ending is dropped";
        EXPECT_THAT(m_Processes.waits, ElementsAre(20000U));
        EXPECT_THAT(m_Processes.pauses, IsEmpty());
        EXPECT_THAT(Log(),
                    ElementsAre(L"256 [ERROR] WaitForSingleObject for hWatchdogExitEvent "
                                L"failed...ErrorCode=" +
                                    std::wstring(row.code),
                                L"256 [ERROR] WyCommon::Utility::ForceTerminateModule failed..."));
        m_Processes.waitResult.reset();
        EXPECT_EQ(WaitForSingleObject(m_hStop, 0), DWORD{WAIT_TIMEOUT}) << "reset behind the wait";
    }
}

TEST_F(DeployExit, watchdog_is_told_and_the_product_ended) {
    m_Processes.real = true;
    test_support::WatchdogProcess watchdog(L"--product DeployTest");
    EXPECT_TRUE(ExitAllExec(L""));
    EXPECT_THAT(watchdog.WaitForEnd(), testing::Optional(0U));
    EXPECT_TRUE(m_Child.Ends());
    EXPECT_EQ(m_Child.ExitCode(), 0U);
    EXPECT_THAT(m_Processes.pauses, Contains(2000U));
    EXPECT_THAT(Log(), ElementsAre(L"1 [INFO] WatchDog is already exit..."));
}

TEST_F(DeployExit, excluded_process_lives_on) {
    m_Processes.real = true;
    test_support::WatchdogProcess watchdog(L"--product DeployTest");
    EXPECT_TRUE(ExitAllExec(L"wymainconsole"));
    EXPECT_TRUE(m_Child.IsRunning());
}

TEST_F(DeployExit, set_up_program_leaves_the_ending_to_the_launcher_of_its_package) {
    if (!RunAs(L"C:\\The pkg\\setup.EXE"))
        GTEST_SKIP() << kNoSetup;
    MakeStopEvent();
    m_Processes.waitResult = WAIT_OBJECT_0;
    EXPECT_TRUE(ExitAllExec(L"a.exe"));
    ASSERT_EQ(m_Processes.starts.size(), 1U);
    EXPECT_EQ(FileIn(m_Processes.starts[0], L"C:\\The pkg\\x64\\product\\WyLauncher.exe"),
              L"C:\\The pkg\\CustomAct64.dll");
    EXPECT_EQ(FieldsIn(m_Processes.starts[0]), L",ForceKillProcessWrapper,a.exe|null|8000200");
    EXPECT_THAT(m_Processes.pauses, ElementsAre(2000U));
    m_Processes.waitResult.reset();
    EXPECT_TRUE(m_Child.IsRunning()) << "not ended by this process";

    m_Processes.waitResult = WAIT_OBJECT_0;
    m_Processes.createError = 2;
    EXPECT_FALSE(ExitAllExec(L""));
    m_Processes.waitResult.reset();
}

TEST_F(DeployExit, set_up_program_has_the_name_of_its_identity) {
    if (!RunAs(L"C:\\pkg\\Setup_P.exe"))
        GTEST_SKIP() << kNoSetup;
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    const HANDLE stop =
        CreateEventW(nullptr, TRUE, FALSE, L"Global\\WATCHDOG_EVENT_STOP_WATCHDOGTavrenox");
    m_Processes.waitResult = WAIT_OBJECT_0;
    EXPECT_TRUE(ExitAllExec(L""));
    ASSERT_EQ(m_Processes.starts.size(), 1U);
    EXPECT_EQ(FileIn(m_Processes.starts[0], L"C:\\pkg\\x64\\product\\WyLauncher_P.exe"),
              L"C:\\pkg\\CustomAct64.dll");
    m_Processes.waitResult.reset();
    CloseHandle(stop);
}

// The attributes that the privilege was given.
std::vector<DWORD> s_Attributes;
BOOL WINAPI NoteAttributes(HANDLE, BOOL, TOKEN_PRIVILEGES* privileges, DWORD, TOKEN_PRIVILEGES*,
                           DWORD*) {
    s_Attributes.push_back(privileges->Privileges[0].Attributes);
    return TRUE;
}

TEST_F(DeployExit, kill_takes_the_debug_privilege_for_its_length) {
    const IatPatch adjust(Program(), "advapi32.dll", "AdjustTokenPrivileges", NoteAttributes);
    s_Attributes.clear();
    EXPECT_TRUE(KillWyExec(L""));
    EXPECT_THAT(s_Attributes, ElementsAre(2U, 0x80000000U));
    EXPECT_TRUE(m_Child.Ends());
    EXPECT_THAT(Log(), IsEmpty());

    s_Attributes.clear();
    s_szMissing = "EnumProcesses";
    EXPECT_FALSE(KillWyExec(L""));
    EXPECT_THAT(s_Attributes, ElementsAre(2U, 0x80000000U)) << "given back also on a failure";
    EXPECT_THAT(Log(),
                ElementsAre(L"256 [ERROR] WyCommon::Utility::ForceTerminateModule failed..."));
}

TEST_F(DeployExit, kill_gives_the_privilege_back_when_memory_runs_out) {
    const IatPatch adjust(Program(), "advapi32.dll", "AdjustTokenPrivileges", NoteAttributes);
    s_Attributes.reserve(2);  // noting them is no allocation
    const std::wstring everything = L"\\";
    bool happened = true;
    for (std::size_t passed = 0; happened; ++passed) {
        ASSERT_LT(passed, 2000U);
        s_Attributes.clear();
        {
            const test_support::FailAllocations fault(passed);
            KillWyExec(everything);
            happened = fault.Happened();
        }
        EXPECT_THAT(s_Attributes, ElementsAre(2U, 0x80000000U)) << passed << " allocations";
    }
    EXPECT_TRUE(m_Child.IsRunning());
}

TEST_F(DeployExit, repetition_leaves_no_handles) {
    MakeStopEvent();
    m_Processes.waitResult = WAIT_OBJECT_0;
    ExitAllExec(L"wymainconsole");
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 5; ++round)
        EXPECT_TRUE(ExitAllExec(L"wymainconsole"));
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
    m_Processes.waitResult.reset();
}

}  // namespace
