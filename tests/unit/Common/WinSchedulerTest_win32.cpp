#include "Common/KrCommon/KrComn_WinScheduler.h"

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Windows.h"

#include <objbase.h>
#include <oleauto.h>
#include <taskschd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/IatPatch.h"
#include "support/LogRecorder.h"

namespace {

using KrCommon::WinScheduler::CWinSchedulerHelper;
using KrCommon::WinScheduler::DeleteScheduledTask;
using test_support::IatPatch;
using test_support::LogRecorder;

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

// What the task service answers, and what it was asked.
struct Script {
    HRESULT initialize = S_OK;
    HRESULT security = S_OK;
    HRESULT create = S_OK;
    HRESULT connect = S_OK;
    HRESULT getFolder = S_OK;
    HRESULT deleteTask = S_OK;
    std::wstring folder;
    std::wstring task;
    LONG flags = 77;
    bool emptyVariants = false;
    int objects = 0;  // COM objects that live
    int started = 0;  // initialisations that are not taken back
    std::vector<std::int64_t> security_arguments;
};
Script* g_pScript = nullptr;

// The part that all objects of the task service share.
template <class Interface>
class Object : public Interface {
public:
    Object() { ++g_pScript->objects; }
    virtual ~Object() { --g_pScript->objects; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_uiCount; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_uiCount;
        if (left == 0)
            delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }

private:
    ULONG m_uiCount = 1;
};

class Folder : public Object<ITaskFolder> {
public:
    HRESULT STDMETHODCALLTYPE DeleteTask(BSTR name, LONG flags) override {
        g_pScript->task = name;
        g_pScript->flags = flags;
        return g_pScript->deleteTask;
    }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Path(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFolder(BSTR, ITaskFolder**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFolders(LONG, ITaskFolderCollection**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateFolder(BSTR, VARIANT, ITaskFolder**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteFolder(BSTR, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTask(BSTR, IRegisteredTask**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTasks(LONG, IRegisteredTaskCollection**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RegisterTask(BSTR, BSTR, LONG, VARIANT, VARIANT, TASK_LOGON_TYPE,
                                           VARIANT, IRegisteredTask**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RegisterTaskDefinition(BSTR, ITaskDefinition*, LONG, VARIANT, VARIANT,
                                                     TASK_LOGON_TYPE, VARIANT,
                                                     IRegisteredTask**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSecurityDescriptor(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSecurityDescriptor(BSTR, LONG) override { return E_NOTIMPL; }
};

class Service : public Object<ITaskService> {
public:
    HRESULT STDMETHODCALLTYPE Connect(VARIANT server, VARIANT user, VARIANT domain,
                                      VARIANT password) override {
        g_pScript->emptyVariants = (server.vt | user.vt | domain.vt | password.vt) == VT_EMPTY;
        return g_pScript->connect;
    }
    HRESULT STDMETHODCALLTYPE GetFolder(BSTR path, ITaskFolder** folder) override {
        g_pScript->folder = path;
        if (SUCCEEDED(g_pScript->getFolder))
            *folder = new Folder;
        return g_pScript->getFolder;
    }
    HRESULT STDMETHODCALLTYPE GetRunningTasks(LONG, IRunningTaskCollection**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE NewTask(DWORD, ITaskDefinition**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Connected(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_TargetServer(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ConnectedDomain(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_HighestVersion(DWORD*) override { return E_NOTIMPL; }
};

HRESULT WINAPI InitializeGiven(void*) {
    g_pScript->started += SUCCEEDED(g_pScript->initialize);
    return g_pScript->initialize;
}

void WINAPI UninitializeGiven() {
    EXPECT_EQ(g_pScript->objects, 0) << "COM ended before its objects";
    --g_pScript->started;
}

HRESULT WINAPI SecurityGiven(PSECURITY_DESCRIPTOR descriptor, LONG services,
                             SOLE_AUTHENTICATION_SERVICE* service, void* reserved, DWORD level,
                             DWORD impersonation, void* list, DWORD capabilities, void* more) {
    g_pScript->security_arguments = {descriptor != nullptr, services,     service != nullptr,
                                     reserved != nullptr,   level,        impersonation,
                                     list != nullptr,       capabilities, more != nullptr};
    return g_pScript->security;
}

HRESULT WINAPI CreateGiven(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                           void** object) {
    EXPECT_EQ(classId, __uuidof(TaskScheduler));
    EXPECT_EQ(interfaceId, __uuidof(ITaskService));
    EXPECT_EQ(outer, nullptr);
    EXPECT_EQ(context, static_cast<DWORD>(CLSCTX_INPROC_SERVER));
    if (SUCCEEDED(g_pScript->create))
        *object = static_cast<ITaskService*>(new Service);
    return g_pScript->create;
}

// COM and the task service stand in for by a script.
class ScriptedScheduler : public testing::Test {
protected:
    ScriptedScheduler()
        : m_Initialize(Self(), "ole32.dll", "CoInitialize", InitializeGiven),
          m_Uninitialize(Self(), "ole32.dll", "CoUninitialize", UninitializeGiven),
          m_Security(Self(), "ole32.dll", "CoInitializeSecurity", SecurityGiven),
          m_Create(Self(), "ole32.dll", "CoCreateInstance", CreateGiven) {}

private:
    IatPatch m_Initialize;
    IatPatch m_Uninitialize;
    IatPatch m_Security;
    IatPatch m_Create;
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
