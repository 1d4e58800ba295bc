#pragma once

// What the tests of the deployment have in common: a product of their own, whose key is theirs
// alone, and the recorded log.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "utilMode/FrwkMode.h"

namespace deploy_test {

constexpr std::uint32_t kSuccess = 0x20ff0000;
const std::wstring kId = L"DeployTest";
const std::wstring kProductKey = L"SOFTWARE\\KorvexData\\DeployTest";
const std::wstring kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

using Lines = std::vector<std::wstring>;

// Deletes a key under HKEY_LOCAL_MACHINE with all that is below it, in the view of the product.
inline void DeleteTree(const std::wstring& path) {
    const REGSAM view = KrCommon::Storage::Reg::ProductView() != 0 ? KEY_WOW64_64KEY : 0;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS | view, &key) !=
        ERROR_SUCCESS)
        return;
    RegDeleteTreeW(key, nullptr);
    RegCloseKey(key);
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), view, 0);
}

class DeployFixture : public ::testing::Test {
protected:
    void SetUp() override {
        Frwk::Mode::SetWyvarionId(kId);
        DeleteTree(kProductKey);
    }
    void TearDown() override {
        DeleteTree(kProductKey);
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
    }

    // The lines of the sources with this beginning, "level text" each, without the module's name.
    Lines Log(const std::string& source = "DeployCommon_") const {
        const std::wstring module = L"WyDeployHelper: ";
        Lines lines;
        for (const auto& line : m_Log.Lines()) {
            if (line.file.rfind(source, 0) != 0)
                continue;
            const bool tagged = line.text.rfind(module, 0) == 0;
            lines.push_back(std::to_wstring(line.level) + L' ' +
                            (tagged ? line.text.substr(module.size()) : L"!" + line.text));
        }
        return lines;
    }

    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    test_support::LogRecorder m_Log;
};

// A text value under HKEY_LOCAL_MACHINE, in the view of the product; "(none)" without one.
inline std::wstring Value(const std::wstring& key, const std::wstring& name) {
    return KrCommon::Storage::Reg::LoadValue(HKEY_LOCAL_MACHINE, key, name, L"(none)",
                                             KrCommon::Storage::Reg::ProductView());
}

inline void PutValue(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
    ASSERT_TRUE(KrCommon::Storage::Reg::StoreValue(HKEY_LOCAL_MACHINE, key, name, text,
                                                   KrCommon::Storage::Reg::ProductView(), nullptr));
}

// Lets the test program's calls of the registry fail, as long as it lives. One at a time.
class RegistryFaults {
public:
    DWORD openError = 0;
    DWORD deleteError = 0;
    // Values, or a part of the path of keys, that cannot be stored, and the error for them.
    std::vector<std::wstring> refused;
    DWORD storeError = ERROR_ACCESS_DENIED;
    // What was asked to be stored, in order: "KEY|VALUE".
    Lines stores;

    RegistryFaults() { s_pCurrent = this; }
    RegistryFaults(const RegistryFaults&) = delete;
    RegistryFaults& operator=(const RegistryFaults&) = delete;
    ~RegistryFaults() { s_pCurrent = nullptr; }

private:
    static LSTATUS WINAPI Open(HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
        if (s_pCurrent->openError != 0)
            return static_cast<LSTATUS>(s_pCurrent->openError);
        return s_pCurrent->m_Open.Original<decltype(RegOpenKeyExW)>()(root, path, options, access,
                                                                      key);
    }

    static LSTATUS WINAPI Create(HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type,
                                 DWORD options, REGSAM access, SECURITY_ATTRIBUTES* attributes,
                                 PHKEY key, LPDWORD disposition) {
        s_pCurrent->m_strKey = path;
        return s_pCurrent->m_Create.Original<decltype(RegCreateKeyExW)>()(
            root, path, reserved, type, options, access, attributes, key, disposition);
    }

    static LSTATUS WINAPI Set(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
        RegistryFaults& self = *s_pCurrent;
        const std::wstring store = self.m_strKey + L"|" + name;
        self.stores.push_back(store);
        for (const std::wstring& each : self.refused) {
            if (store.find(each) != std::wstring::npos)
                return static_cast<LSTATUS>(self.storeError);
        }
        return self.m_Set.Original<decltype(RegSetValueExW)>()(key, name, reserved, type, data,
                                                               size);
    }

    static LSTATUS WINAPI Delete(HKEY key, LPCWSTR name) {
        if (s_pCurrent->deleteError != 0)
            return static_cast<LSTATUS>(s_pCurrent->deleteError);
        return s_pCurrent->m_Delete.Original<decltype(RegDeleteValueW)>()(key, name);
    }

    static inline RegistryFaults* s_pCurrent = nullptr;

    std::wstring m_strKey;
    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    test_support::IatPatch m_Open{m_hProgram, "advapi32.dll", "RegOpenKeyExW", Open};
    test_support::IatPatch m_Create{m_hProgram, "advapi32.dll", "RegCreateKeyExW", Create};
    test_support::IatPatch m_Set{m_hProgram, "advapi32.dll", "RegSetValueExW", Set};
    test_support::IatPatch m_Delete{m_hProgram, "advapi32.dll", "RegDeleteValueW", Delete};
};

}  // namespace deploy_test
