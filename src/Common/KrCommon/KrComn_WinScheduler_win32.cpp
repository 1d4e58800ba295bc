#include "Common/KrCommon/KrComn_WinScheduler.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Windows.h"

// Behind the header that brings in <windows.h>.
#include <objbase.h>
#include <oleauto.h>
#include <taskschd.h>

namespace KrCommon::WinScheduler {

namespace {

constexpr char kLogSource[] = "KrComn_WinScheduler";

using LogLevel::kError;
using LogLevel::kInformation;

// True on success; otherwise the failure goes to the log. The format takes the result code.
bool Succeeded(HRESULT result, const wchar_t* format, std::uint32_t line) {
    if (SUCCEEDED(result))
        return true;
    if (g_pDebugLog != nullptr)
        g_pDebugLog->Trace(kLogSource, line, kError, format, static_cast<unsigned>(result));
    return false;
}

template <class Interface>
class ComPointer {
public:
    ComPointer() = default;
    ComPointer(const ComPointer&) = delete;
    ComPointer& operator=(const ComPointer&) = delete;
    ~ComPointer() {
        if (m_pObject != nullptr)
            m_pObject->Release();
    }
    Interface* operator->() const { return m_pObject; }
    Interface** Out() { return &m_pObject; }

private:
    Interface* m_pObject = nullptr;
};

// Text as the task service takes it; null without memory.
class Bstr {
public:
    explicit Bstr(const wchar_t* text) : m_bstr(SysAllocString(text)) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(m_bstr); }
    BSTR Get() const { return m_bstr; }

private:
    BSTR m_bstr;
};

HRESULT GetRootFolder(ITaskService& service, ITaskFolder** folder) {
    const Bstr path(L"\\");
    return path.Get() != nullptr ? service.GetFolder(path.Get(), folder) : E_OUTOFMEMORY;
}

HRESULT DeleteTask(ITaskFolder& folder, const std::wstring& name) {
    const Bstr task(name.c_str());
    return task.Get() != nullptr ? folder.DeleteTask(task.Get(), 0) : E_OUTOFMEMORY;
}

// Connects to the task service of this machine and gives its root folder.
bool OpenRootFolder(ComPointer<ITaskService>& service, ComPointer<ITaskFolder>& folder) {
    if (!Succeeded(
            CoCreateInstance(__uuidof(TaskScheduler), nullptr, CLSCTX_INPROC_SERVER,
                             __uuidof(ITaskService), reinterpret_cast<void**>(service.Out())),
            L"Failed to create an instance of ITaskService: %x", __LINE__))
        return false;
    if (!Succeeded(service->Connect(VARIANT{}, VARIANT{}, VARIANT{}, VARIANT{}),
                   L"ITaskService::Connect failed: %x", __LINE__))
        return false;
    return Succeeded(GetRootFolder(*service.operator->(), folder.Out()),
                     L"Cannot get Root Folder pointer: %x", __LINE__);
}

}  // namespace

CWinSchedulerHelper::CWinSchedulerHelper() noexcept {
    const HRESULT started = CoInitialize(nullptr);
    m_bComStarted = SUCCEEDED(started);
    if (started != RPC_E_CHANGED_MODE &&
        !Succeeded(started, L"CoInitializeEx failed: %x", __LINE__))
        return;
    const HRESULT secured =
        CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                             RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    m_bInitialized = secured == RPC_E_TOO_LATE ||
                     Succeeded(secured, L"CoInitializeSecurity failed: %x", __LINE__);
}

CWinSchedulerHelper::~CWinSchedulerHelper() {
    if (m_bComStarted)
        CoUninitialize();
}

bool DeleteScheduledTask(const std::wstring& name) noexcept {
    WY_TRACE(kInformation, L"[Enter] KrCommon::WinScheduler::DeleteScheduledTask");
    const CWinSchedulerHelper helper;
    if (!helper.IsInitialized()) {
        WY_TRACE(kError, L"Failed to initialize WinSchedulerHelper!");
        return false;
    }
    // The folder goes before the service, and both before COM.
    ComPointer<ITaskService> service;
    ComPointer<ITaskFolder> folder;
    if (!OpenRootFolder(service, folder))
        return false;
    if (FAILED(DeleteTask(*folder.operator->(), name)))
        WY_TRACE(kError, L"Failed to delete scheduled task.");
    WY_TRACE(kInformation, L"[Leave] KrCommon::WinScheduler::DeleteScheduledTask");
    return true;
}

}  // namespace KrCommon::WinScheduler
