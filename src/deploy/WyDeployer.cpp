#include "deploy/WyDeployer.h"

#include <cwctype>
#include <limits>
#include <new>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
using KrCommon::String::EqualNoCase;

constexpr char kLogSource[] = "WyDeployer";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t k64BitView = 2;

// The number at the start of a text, as wcstoul() with 32 bits gives it: blanks and a sign may
// stand before it, what is too large is the largest number, and no number is 0.
std::uint32_t ToDword(const std::wstring& text) noexcept {
    constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();
    constexpr std::uint64_t kBase = 10;
    const wchar_t* at = text.c_str();
    while (std::iswspace(static_cast<std::wint_t>(*at)) != 0)
        ++at;
    const bool negative = *at == L'-';
    if (negative || *at == L'+')
        ++at;
    std::uint64_t number = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        number = number * kBase + static_cast<std::uint64_t>(*at - L'0');
        if (number > kLargest)
            return kLargest;
    }
    const auto dword = static_cast<std::uint32_t>(number);
    return negative ? 0U - dword : dword;
}

// Carries out the items of a list that are for this platform, up to the first that fails.
template <class Records, class Step>
bool DeployItems(const Records& records, bool is64Bit, const wchar_t* skipped, Step step) {
    for (const auto& record : records) {
        if (!IsForPlatform(record.platform, is64Bit)) {
            WY_LOG_INFO << skipped;
            continue;
        }
        if (!step(record))
            return false;
    }
    return true;
}

}  // namespace

bool IsForPlatform(const std::wstring& platform, bool is64Bit) noexcept {
    return !EqualNoCase(platform, is64Bit ? L"win32" : L"x64");
}

CWyDeployer::~CWyDeployer() = default;

bool CWyDeployer::ParseConfig(const std::wstring& pathOfDll,
                              const std::wstring& configPath) noexcept {
    return Read(pathOfDll, configPath, deployRegistry);
}

bool CWyDeployer::Deploy(const std::wstring& packageDir, const std::wstring& installDir) noexcept {
    try {
        return DeployLists(packageDir, installDir);
    } catch (const std::bad_alloc&) {
        WY_LOG_ERROR << L"Deploy failed, not enough memory...";
        return false;
    }
}

bool CWyDeployer::DeployLists(const std::wstring& packageDir, const std::wstring& installDir) {
    const bool is64Bit = m_pMachine->Is64Bit();
    const std::uint32_t view = is64Bit ? k64BitView : 0;

    WY_LOG_INFO << L"Deploy Registry Key...";
    for (const RegistryKeyRecord& record : registryKeys) {
        if (!DeployRegistryKey(record, view))
            return false;
    }
    WY_LOG_INFO << L"Deploy Registry Value...";
    if (!DeployItems(registryValues, is64Bit,
                     L"Skip deploying this value as the platform does not match.",
                     [&](const auto& record) { return DeployRegistryValue(record, view); })) {
        return false;
    }
    WY_LOG_INFO << L"Deploy Module folders...";
    if (!DeployItems(
            folders, is64Bit, L"Skip deploying this folder as the platform does not match.",
            [&](const auto& record) { return DeployFolder(record, packageDir, installDir); })) {
        return false;
    }
    WY_LOG_INFO << L"Deploy Module files...";
    return DeployItems(
        files, is64Bit, L"Skip deploying this file as the platform does not match.",
        [&](const auto& record) { return DeployFile(record, packageDir, installDir); });
}

RootKey CWyDeployer::GetRootKey(const std::wstring& root) noexcept {
    if (EqualNoCase(root, L"HKLM"))
        return RootKey::kLocalMachine;
    return EqualNoCase(root, L"HKCU") ? RootKey::kCurrentUser : RootKey::kNone;
}

bool CWyDeployer::DeployRegistryKey(const RegistryKeyRecord& record, std::uint32_t view) {
    WY_LOG_INFO << L"Id: " << record.id << L",Action: " << record.action << L",Root: "
                << record.root << L",Key: " << record.key << L",Platform: " << record.platform;
    const RootKey root = GetRootKey(record.root);
    if (EqualNoCase(record.action, L"create")) {
        std::uint32_t error = ErrorCode::kSuccess;
        if (!m_pMachine->CreateKey(root, record.key, view, error)) {
            WY_LOG_ERROR << L"KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!"
                         << WyHex{error};
            return false;
        }
    } else if (EqualNoCase(record.action, L"delete")) {
        if (!m_pMachine->DeleteKey(root, record.key)) {
            WY_LOG_ERROR << L"KrCommon::Storage::Reg::DeleteAllSection() failed!";
            return false;
        }
    }
    return true;
}

bool CWyDeployer::DeployRegistryValue(const RegistryValueRecord& record, std::uint32_t view) {
    WY_LOG_INFO << L"Id: " << record.id << L",Action: " << record.action << L",AllAccess: "
                << record.allAccess << L",Root: " << record.root << L",Key: " << record.key
                << L",Name: " << record.name << L",Value: " << record.value << L",Type: "
                << record.type << L",Platform: " << record.platform;
    if (EqualNoCase(record.action, L"write"))
        return StoreRegistryValue(record, view);
    if (EqualNoCase(record.action, L"delete")) {
        std::uint32_t error = ErrorCode::kSuccess;
        if (!m_pMachine->DeleteValue(GetRootKey(record.root), record.key, record.name, view,
                                     error) &&
            error != ErrorCode::kFileNotFound) {
            WY_LOG_ERROR << L"KrCommon::Storage::Reg::DeleteEntry() failed: " << WyHex{error};
            return false;
        }
    }
    return true;
}

bool CWyDeployer::StoreRegistryValue(const RegistryValueRecord& record, std::uint32_t view) {
    const RootKey root = GetRootKey(record.root);
    const bool allAccess = EqualNoCase(record.allAccess, L"yes");
    bool stored = true;
    std::uint32_t error = ErrorCode::kSuccess;
    if (EqualNoCase(record.type, L"string")) {
        stored = m_pMachine->StoreText(root, record.key, record.name, record.value, allAccess, view,
                                       error);
    } else if (EqualNoCase(record.type, L"dword")) {
        stored = m_pMachine->StoreNumber(root, record.key, record.name, ToDword(record.value),
                                         allAccess, view, error);
    }
    if (!stored)
        WY_LOG_ERROR << L"Store registry value failed: " << WyHex{error};
    return stored;
}

}  // namespace WyDeployHelper::DeployCommon
