#pragma once

// A service manager by script that also takes new entries and deletes them.

#include "support/FakeServiceManager_win32.h"

namespace deploy_test {

// Adds to what FakeServiceManager stands in for. The calls show in its list.
class FakeServiceEntry : public test_support::FakeServiceManager {
public:
    // The errors of CreateServiceW in turn, 0 for none; the last one stays.
    std::vector<DWORD> createErrors{0};

    FakeServiceEntry() { s_pCurrent = this; }
    ~FakeServiceEntry() { s_pCurrent = nullptr; }

private:
    static FakeServiceEntry& Current() { return *s_pCurrent; }

    static std::wstring Text(const wchar_t* text) {
        return text != nullptr ? L"\"" + std::wstring(text) + L"\"" : L"null";
    }

    static SC_HANDLE WINAPI Create(SC_HANDLE manager, LPCWSTR name, LPCWSTR display, DWORD access,
                                   DWORD type, DWORD start, DWORD severity, LPCWSTR program,
                                   LPCWSTR group, LPDWORD tag, LPCWSTR dependencies,
                                   LPCWSTR account, LPCWSTR password) {
        FakeServiceEntry& self = Current();
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(manager), kManager);
        EXPECT_EQ(tag, nullptr);
        self.calls.push_back(L"CreateService " + Text(name) + L' ' + Text(display) + L' ' +
                             Hex(access) + L' ' + Hex(type) + L' ' + Hex(start) + L' ' +
                             Hex(severity) + L' ' + program + L' ' + Text(group) + L' ' +
                             Text(dependencies) + L' ' + Text(account) + L' ' + Text(password));
        const DWORD error = self.createErrors.front();
        if (self.createErrors.size() > 1)
            self.createErrors.erase(self.createErrors.begin());
        if (error == 0)
            return self.Open<SC_HANDLE>(kService);
        SetLastError(error);
        return nullptr;
    }

    static BOOL WINAPI Configure(SC_HANDLE, DWORD what, LPVOID data) {
        const auto* description = static_cast<SERVICE_DESCRIPTIONW*>(data);
        Current().calls.push_back(L"Configure " + Hex(what) + L' ' + description->lpDescription);
        return Current().Fails("ChangeServiceConfig2W") ? FALSE : TRUE;
    }

    static BOOL WINAPI Control(SC_HANDLE, DWORD control, SERVICE_STATUS* status) {
        Current().calls.push_back(L"Control " + Hex(control));
        status->dwCurrentState = SERVICE_STOP_PENDING;
        return Current().Fails("ControlService") ? FALSE : TRUE;
    }

    static BOOL WINAPI Delete(SC_HANDLE) {
        Current().calls.push_back(L"Delete");
        return Current().Fails("DeleteService") ? FALSE : TRUE;
    }

    static inline FakeServiceEntry* s_pCurrent = nullptr;

    test_support::IatPatch m_Create{m_hProgram, "advapi32.dll", "CreateServiceW", Create};
    test_support::IatPatch m_Configure{m_hProgram, "advapi32.dll", "ChangeServiceConfig2W",
                                       Configure};
    test_support::IatPatch m_Control{m_hProgram, "advapi32.dll", "ControlService", Control};
    test_support::IatPatch m_Delete{m_hProgram, "advapi32.dll", "DeleteService", Delete};
};

}  // namespace deploy_test
