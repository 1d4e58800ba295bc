#include "Common/KrCommon/KrComn_WinScheduler.h"

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Windows.h"

#include <objbase.h>
#include <oleauto.h>
#include <taskschd.h>

#include <string>
#include <vector>

#include "support/FakeTaskService_win32.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"

namespace {

using KrCommon::WinScheduler::CWinSchedulerHelper;
using KrCommon::WinScheduler::DeleteScheduledTask;
using test_support::IatPatch;
using test_support::LogRecorder;
using test_support::task_service::g_pScript;
using test_support::task_service::Script;

constexpr const wchar_t* kEnter = L"[Enter] KrCommon::WinScheduler::DeleteScheduledTask";
constexpr const wchar_t* kLeave = L"[Leave] KrCommon::WinScheduler::DeleteScheduledTask";

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

// A line as "level text".
std::vector<std::wstring> LinesOf(const LogRecorder& log) {
    std::vector<std::wstring> lines;
    for (const LogRecorder::Line& line : log.Lines()) {
        EXPECT_EQ(line.file, "KrComn_WinScheduler");
        lines.push_back(std::to_wstring(line.level) + L" " + line.text);
    }
    return lines;
}

std::vector<std::wstring> Framed(std::vector<std::wstring> between, bool left) {
    between.insert(between.begin(), std::wstring(L"1 ") + kEnter);
    if (left)
        between.push_back(std::wstring(L"1 ") + kLeave);
    return between;
}

class ScriptedScheduler : public testing::Test {
    test_support::task_service::FakeTaskService m_Service;
};

TEST_F(ScriptedScheduler, every_step_that_fails_says_so) {
    const struct {
        const char* what;
        HRESULT Script::*step;
        HRESULT answer;
        bool result;
        std::vector<std::wstring> lines;  // between the first and, on success, the last
        const wchar_t* task;              // that was asked to go
    } rows[] = {
        {"nothing fails", &Script::initialize, S_OK, true, {}, L"task"},
        {"COM runs on the thread", &Script::initialize, S_FALSE, true, {}, L"task"},
        {"COM runs in another mode", &Script::initialize, RPC_E_CHANGED_MODE, true, {}, L"task"},
        {"COM does not start",
         &Script::initialize,
         E_OUTOFMEMORY,
         false,
         {L"256 CoInitializeEx failed: 8007000e", L"256 Failed to initialize WinSchedulerHelper!"},
         L""},
        {"security is set already", &Script::security, RPC_E_TOO_LATE, true, {}, L"task"},
        {"security is refused",
         &Script::security,
         E_ACCESSDENIED,
         false,
         {L"256 CoInitializeSecurity failed: 80070005",
          L"256 Failed to initialize WinSchedulerHelper!"},
         L""},
        {"no task service",
         &Script::create,
         REGDB_E_CLASSNOTREG,
         false,
         {L"256 Failed to create an instance of ITaskService: 80040154"},
         L""},
        {"service does not answer",
         &Script::connect,
         static_cast<HRESULT>(0x80070422),
         false,
         {L"256 ITaskService::Connect failed: 80070422"},
         L""},
        {"no root folder",
         &Script::getFolder,
         static_cast<HRESULT>(0x80070003),
         false,
         {L"256 Cannot get Root Folder pointer: 80070003"},
         L""},
        {"unknown task",
         &Script::deleteTask,
         static_cast<HRESULT>(0x80070002),
         true,
         {L"256 Failed to delete scheduled task."},
         L"task"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Script script;
        g_pScript = &script;
        script.*row.step = row.answer;
        const LogRecorder log;
        EXPECT_EQ(DeleteScheduledTask(L"task"), row.result);
        EXPECT_EQ(LinesOf(log), Framed(row.lines, row.result));
        EXPECT_EQ(script.task, row.task);
        EXPECT_EQ(script.objects, 0);
        EXPECT_EQ(script.started, 0);
    }
}

TEST_F(ScriptedScheduler, works_without_a_log) {
    Script script;
    g_pScript = &script;
    EXPECT_TRUE(DeleteScheduledTask(L"task"));
    script.connect = E_FAIL;
    EXPECT_FALSE(DeleteScheduledTask(L"task"));
}

TEST_F(ScriptedScheduler, asks_with_its_fixed_arguments) {
    Script script;
    g_pScript = &script;
    EXPECT_TRUE(DeleteScheduledTask(L"a \\task"));
    // No descriptor, any service, packet privacy (6), impersonation (3).
    EXPECT_EQ(script.security_arguments, (std::vector<std::int64_t>{0, -1, 0, 0, 6, 3, 0, 0, 0}));
    EXPECT_TRUE(script.emptyVariants);
    EXPECT_EQ(script.folder, L"\\");
    EXPECT_EQ(script.task, L"a \\task");
    EXPECT_EQ(script.flags, 0);
}

TEST_F(ScriptedScheduler, helper_takes_back_only_what_it_started) {
    const struct {
        HRESULT initialize;
        HRESULT security;
        bool initialized;
        int started;
    } rows[] = {
        {S_OK, S_OK, true, 1},
        {S_FALSE, S_OK, true, 1},
        {RPC_E_CHANGED_MODE, S_OK, true, 0},
        {RPC_E_CHANGED_MODE, RPC_E_TOO_LATE, true, 0},
        {RPC_E_CHANGED_MODE, E_FAIL, false, 0},
        {S_OK, E_FAIL, false, 1},
        {E_FAIL, S_OK, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        Script script;
        g_pScript = &script;
        script.initialize = row.initialize;
        script.security = row.security;
        {
            const CWinSchedulerHelper helper;
            EXPECT_EQ(helper.IsInitialized(), row.initialized);
            EXPECT_EQ(script.started, row.started);
            EXPECT_EQ(script.security_arguments.empty(), row.initialize == E_FAIL);
        }
        EXPECT_EQ(script.started, 0);
    }
}

int g_iTexts = 0;
BSTR WINAPI RefuseText(const OLECHAR* text) {
    return g_iTexts-- > 0 ? SysAllocStringLen(text, static_cast<UINT>(wcslen(text))) : nullptr;
}

TEST_F(ScriptedScheduler, no_memory_for_a_text_fails_its_step) {
    const IatPatch patch(Self(), "oleaut32.dll", "SysAllocString", RefuseText);
    Script script;
    g_pScript = &script;
    {
        g_iTexts = 0;
        const LogRecorder log;
        EXPECT_FALSE(DeleteScheduledTask(L"task"));
        EXPECT_EQ(LinesOf(log), Framed({L"256 Cannot get Root Folder pointer: 8007000e"}, false));
    }
    {
        g_iTexts = 1;
        const LogRecorder log;
        EXPECT_TRUE(DeleteScheduledTask(L"task"));
        EXPECT_EQ(LinesOf(log), Framed({L"256 Failed to delete scheduled task."}, true));
    }
    EXPECT_EQ(script.objects, 0);
}

constexpr wchar_t kTaskXml[] =
    L"<?xml version=\"1.0\"?>"
    L"<Task xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">"
    L"<RegistrationInfo/><Settings><Enabled>false</Enabled></Settings>"
    L"<Actions><Exec><Command>none.exe</Command></Exec></Actions></Task>";

// The system's own scheduler.
class RealScheduler : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CoCreateInstance(__uuidof(TaskScheduler), nullptr, CLSCTX_INPROC_SERVER,
                                   __uuidof(ITaskService), reinterpret_cast<void**>(&m_pService)),
                  S_OK);
        ASSERT_EQ(m_pService->Connect(VARIANT{}, VARIANT{}, VARIANT{}, VARIANT{}), S_OK);
        BSTR path = SysAllocString(L"\\");
        ASSERT_EQ(m_pService->GetFolder(path, &m_pFolder), S_OK);
        SysFreeString(path);
    }
    void TearDown() override {
        if (m_pFolder != nullptr)
            m_pFolder->Release();
        if (m_pService != nullptr)
            m_pService->Release();
    }

    HRESULT Register(const wchar_t* name) {
        IRegisteredTask* task = nullptr;
        BSTR path = SysAllocString(name);
        BSTR xml = SysAllocString(kTaskXml);
        const HRESULT result = m_pFolder->RegisterTask(path, xml, TASK_CREATE, VARIANT{}, VARIANT{},
                                                       TASK_LOGON_NONE, VARIANT{}, &task);
        SysFreeString(path);
        SysFreeString(xml);
        if (task != nullptr)
            task->Release();
        return result;
    }

    bool Exists(const wchar_t* name) {
        IRegisteredTask* task = nullptr;
        BSTR path = SysAllocString(name);
        const HRESULT result = m_pFolder->GetTask(path, &task);
        SysFreeString(path);
        if (task != nullptr)
            task->Release();
        return SUCCEEDED(result);
    }

    ITaskService* m_pService = nullptr;
    ITaskFolder* m_pFolder = nullptr;
};

// COM on the test's thread in one mode, for a scope.
class ComMode {
public:
    explicit ComMode(COINIT mode) { EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, mode))); }
    ComMode(const ComMode&) = delete;
    ComMode& operator=(const ComMode&) = delete;
    ~ComMode() { CoUninitialize(); }
};

class SchedulerInMode : public RealScheduler, public testing::WithParamInterface<COINIT> {
private:
    const ComMode m_Mode{GetParam()};
};

TEST_P(SchedulerInMode, task_is_deleted_and_an_unknown_one_is_true) {
    ASSERT_EQ(Register(L"WyUnitTest task"), S_OK);
    ASSERT_EQ(Register(L"WyUnitTest other"), S_OK);
    {
        const LogRecorder log;
        EXPECT_TRUE(DeleteScheduledTask(L"WyUnitTest task"));
        EXPECT_EQ(LinesOf(log), Framed({}, true));
    }
    EXPECT_FALSE(Exists(L"WyUnitTest task"));
    EXPECT_TRUE(Exists(L"WyUnitTest other"));
    EXPECT_TRUE(DeleteScheduledTask(L"WyUnitTest other"));
    EXPECT_FALSE(Exists(L"WyUnitTest other"));

    const LogRecorder log;
    EXPECT_TRUE(DeleteScheduledTask(L"WyUnitTest task"));
    EXPECT_EQ(LinesOf(log), Framed({L"256 Failed to delete scheduled task."}, true));
}

INSTANTIATE_TEST_SUITE_P(Modes, SchedulerInMode,
                         testing::Values(COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED));

}  // namespace
