#pragma once

// COM and its task service by script.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

#include <objbase.h>
#include <oleauto.h>
#include <taskschd.h>

namespace test_support::task_service {

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
inline Script* g_pScript = nullptr;

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

inline HRESULT WINAPI InitializeGiven(void*) {
    g_pScript->started += SUCCEEDED(g_pScript->initialize);
    return g_pScript->initialize;
}

inline void WINAPI UninitializeGiven() {
    EXPECT_EQ(g_pScript->objects, 0) << "COM ended before its objects";
    --g_pScript->started;
}

inline HRESULT WINAPI SecurityGiven(PSECURITY_DESCRIPTOR descriptor, LONG services,
                                    SOLE_AUTHENTICATION_SERVICE* service, void* reserved,
                                    DWORD level, DWORD impersonation, void* list,
                                    DWORD capabilities, void* more) {
    g_pScript->security_arguments = {descriptor != nullptr, services,     service != nullptr,
                                     reserved != nullptr,   level,        impersonation,
                                     list != nullptr,       capabilities, more != nullptr};
    return g_pScript->security;
}

inline HRESULT WINAPI CreateGiven(REFCLSID classId, IUnknown* outer, DWORD context,
                                  REFIID interfaceId, void** object) {
    EXPECT_EQ(classId, __uuidof(TaskScheduler));
    EXPECT_EQ(interfaceId, __uuidof(ITaskService));
    EXPECT_EQ(outer, nullptr);
    EXPECT_EQ(context, static_cast<DWORD>(CLSCTX_INPROC_SERVER));
    if (SUCCEEDED(g_pScript->create))
        *object = static_cast<ITaskService*>(new Service);
    return g_pScript->create;
}

// Stands in for what the test program imports of COM, as long as it lives. The answers are those of
// the script that g_pScript points to.
class FakeTaskService {
    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    IatPatch m_Initialize{m_hProgram, "ole32.dll", "CoInitialize", InitializeGiven};
    IatPatch m_Uninitialize{m_hProgram, "ole32.dll", "CoUninitialize", UninitializeGiven};
    IatPatch m_Security{m_hProgram, "ole32.dll", "CoInitializeSecurity", SecurityGiven};
    IatPatch m_Create{m_hProgram, "ole32.dll", "CoCreateInstance", CreateGiven};
};

}  // namespace test_support::task_service
