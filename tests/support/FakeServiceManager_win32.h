#pragma once

// A service manager with one service, and a watchdog with its named events, by script.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/IatPatch.h"

namespace test_support {

// Stands in for what a module imports of the service manager, and for Sleep, as long as it lives.
// One at a time.
class FakeServiceManager {
public:
    // What the service answers to each question for its state, and to all that follow.
    std::vector<DWORD> states{SERVICE_RUNNING};
    // Functions that fail, each with its code: {"OpenServiceW", 1060}.
    std::map<std::string, DWORD> failures;
    // What happens during the pauses, which take no time.
    std::function<void(DWORD milliseconds)> onSleep;

    // The calls in order, with the arguments that matter.
    std::vector<std::wstring> calls;
    // Handles given out and not closed yet.
    int openHandles = 0;

    // In the place of what this module imports, the test program unless another one is given.
    explicit FakeServiceManager(HMODULE module = GetModuleHandleW(nullptr)) : m_hProgram(module) {
        s_pCurrent = this;
    }
    FakeServiceManager(const FakeServiceManager&) = delete;
    FakeServiceManager& operator=(const FakeServiceManager&) = delete;
    ~FakeServiceManager() { s_pCurrent = nullptr; }

    // How often a call was made.
    std::size_t Count(const std::wstring& call) const {
        std::size_t count = 0;
        for (const std::wstring& each : calls)
            count += each == call ? 1 : 0;
        return count;
    }

    static constexpr std::uintptr_t kManager = 0x5c100001;
    static constexpr std::uintptr_t kService = 0x5c100002;

protected:
    bool Fails(const char* function) {
        const auto found = failures.find(function);
        if (found == failures.end())
            return false;
        SetLastError(found->second);
        return true;
    }

    template <class Type>
    Type Open(std::uintptr_t handle) {
        ++openHandles;
        return reinterpret_cast<Type>(handle);
    }

    static std::wstring Hex(DWORD number) {
        wchar_t text[16];
        std::swprintf(text, std::size(text), L"%lx", number);
        return text;
    }

    HMODULE m_hProgram;

private:
    static FakeServiceManager& Current() { return *s_pCurrent; }

    static SC_HANDLE WINAPI Connect(LPCWSTR machine, LPCWSTR database, DWORD access) {
        FakeServiceManager& self = Current();
        self.calls.push_back(L"OpenSCManager " + Hex(access) +
                             (machine != nullptr || database != nullptr ? L" elsewhere" : L""));
        return self.Fails("OpenSCManagerW") ? nullptr : self.Open<SC_HANDLE>(kManager);
    }

    static SC_HANDLE WINAPI OpenNamed(SC_HANDLE manager, LPCWSTR name, DWORD access) {
        FakeServiceManager& self = Current();
        self.calls.push_back(L"OpenService " + std::wstring(name) + L" " + Hex(access));
        if (reinterpret_cast<std::uintptr_t>(manager) != kManager) {
            SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return self.Fails("OpenServiceW") ? nullptr : self.Open<SC_HANDLE>(kService);
    }

    static BOOL WINAPI Query(SC_HANDLE service, SERVICE_STATUS* status) {
        FakeServiceManager& self = Current();
        self.calls.push_back(L"Query");
        if (reinterpret_cast<std::uintptr_t>(service) != kService) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        if (self.Fails("QueryServiceStatus"))
            return FALSE;
        *status = {0x10, self.states.front(), 1, 11, 22, 33, 44};
        if (self.states.size() > 1)
            self.states.erase(self.states.begin());
        return TRUE;
    }

    static BOOL WINAPI Start(SC_HANDLE, DWORD count, LPCWSTR* arguments) {
        Current().calls.push_back(L"StartService " + Hex(count) +
                                  (arguments != nullptr ? L" arguments" : L""));
        return Current().Fails("StartServiceW") ? FALSE : TRUE;
    }

    static BOOL WINAPI CloseService(SC_HANDLE handle) {
        FakeServiceManager& self = Current();
        const bool manager = reinterpret_cast<std::uintptr_t>(handle) == kManager;
        self.calls.push_back(manager ? L"Close manager" : L"Close service");
        if (self.Fails("CloseServiceHandle"))
            return FALSE;
        --self.openHandles;
        return TRUE;
    }

    static void WINAPI Pause(DWORD milliseconds) {
        Current().calls.push_back(L"Sleep " + std::to_wstring(milliseconds));
        if (Current().onSleep)
            Current().onSleep(milliseconds);
    }

    static inline FakeServiceManager* s_pCurrent = nullptr;

    IatPatch m_Sleep{m_hProgram, "kernel32.dll", "Sleep", Pause};
    IatPatch m_OpenManager{m_hProgram, "advapi32.dll", "OpenSCManagerW", Connect};
    IatPatch m_OpenService{m_hProgram, "advapi32.dll", "OpenServiceW", OpenNamed};
    IatPatch m_Query{m_hProgram, "advapi32.dll", "QueryServiceStatus", Query};
    IatPatch m_Start{m_hProgram, "advapi32.dll", "StartServiceW", Start};
    IatPatch m_Close{m_hProgram, "advapi32.dll", "CloseServiceHandle", CloseService};
};

// The same with what the test program imports for named events.
class FakeWatchdog : public FakeServiceManager {
public:
    // So many attempts find no event; -1 means all.
    int missedEvents = 0;

    FakeWatchdog() { s_pCurrent = this; }
    ~FakeWatchdog() { s_pCurrent = nullptr; }

    static constexpr std::uintptr_t kEvent = 0x5c100003;

private:
    static FakeWatchdog& Current() { return *s_pCurrent; }

    static HANDLE WINAPI OpenEventFor(DWORD access, BOOL inherit, LPCWSTR name) {
        FakeWatchdog& self = Current();
        self.calls.push_back(L"OpenEvent " + std::wstring(name) + L" " + Hex(access) +
                             (inherit != 0 ? L" inherited" : L""));
        if (self.Fails("OpenEventW"))
            return nullptr;
        if (self.missedEvents != 0) {
            self.missedEvents -= self.missedEvents > 0 ? 1 : 0;
            SetLastError(ERROR_FILE_NOT_FOUND);
            return nullptr;
        }
        return self.Open<HANDLE>(kEvent);
    }

    static BOOL WINAPI SetOne(HANDLE event) {
        if (reinterpret_cast<std::uintptr_t>(event) != kEvent)
            return Current().m_SetEvent.Original<decltype(SetEvent)>()(event);
        Current().calls.push_back(L"SetEvent");
        return Current().Fails("SetEvent") ? FALSE : TRUE;
    }

    static BOOL WINAPI CloseOne(HANDLE handle) {
        FakeWatchdog& self = Current();
        if (reinterpret_cast<std::uintptr_t>(handle) != kEvent)
            return self.m_CloseHandle.Original<decltype(CloseHandle)>()(handle);
        self.calls.push_back(L"Close event");
        --self.openHandles;
        return TRUE;
    }

    static inline FakeWatchdog* s_pCurrent = nullptr;

    IatPatch m_OpenEvent{m_hProgram, "kernel32.dll", "OpenEventW", OpenEventFor};
    IatPatch m_SetEvent{m_hProgram, "kernel32.dll", "SetEvent", SetOne};
    IatPatch m_CloseHandle{m_hProgram, "kernel32.dll", "CloseHandle", CloseOne};
};

}  // namespace test_support
