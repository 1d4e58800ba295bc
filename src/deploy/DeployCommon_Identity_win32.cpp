#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "Tool/UpdateAgent/luxWrapper.h"
#include "deploy/DeployCommon_Identity.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace Reg = KrCommon::Storage::Reg;
namespace Storage = KrCommon::Storage;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "DeployCommon_Identity";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr wchar_t kUpdateComponent[] = L"t3201";

bool Store(const std::wstring& key, const std::wstring& name, const std::wstring& value,
           std::uint32_t* error) {
    return Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, key, name, value, Reg::ProductView(),
                                        error);
}

bool StoreOrTell(const std::wstring& name, const std::wstring& value) {
    std::uint32_t error = ERROR_SUCCESS;
    if (Store(Utility::GetProductRegistryKey(), name, value, &error))
        return true;
    WY_LOG_ERROR << L"KrCommon::Storage::Reg::StoreValueWithAllAccess failed... " << WyHex{error};
    return false;
}

void OpenAndClose(const std::wstring& key, std::uint32_t view) {
    Storage::Registry registry(view);
    registry.OpenForRead(Storage::Key(Storage::Key::kRegistry, HKEY_LOCAL_MACHINE, nullptr), key);
    registry.Close(false);
}

}  // namespace

bool SetId(const std::wstring& productId, const std::wstring& vendorId) noexcept try {
    return StoreOrTell(L"ProductId", productId) && StoreOrTell(L"VendorId", vendorId);
} catch (...) {
    return false;
}

bool SetWinGuid(const std::wstring& guid) noexcept try {
    return StoreOrTell(L"WinGuid", guid);
} catch (...) {
    return false;
}

void SetWorkingId(const std::wstring& id) noexcept {
    Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, kSharedKey, L"WorkingId", id.c_str(),
                                 Reg::ProductView(), nullptr);
}

bool UpdateWyVersionInfo(const std::wstring& version, bool isTavrenoxMode) noexcept try {
    const std::wstring root = Utility::GetProductRegistryKey();
    bool stored = Store(root, L"ProductVersion", version, nullptr);
    stored = Store(root, L"AgentVersion", version, nullptr) && stored;
    if (!isTavrenoxMode)
        return stored;
    for (const wchar_t* entry : {kSecondProductGuid, WY_PRODUCT_GUID})
        stored = Store(std::wstring(kProgramList) + entry, L"DisplayVersion", version, nullptr) &&
                 stored;
    return stored;
} catch (...) {
    return false;
}

bool UpdateAu7eVersion(const std::wstring& version) noexcept try {
    const std::wstring key = Utility::GetProductRegistryKey() + L"\\Au\\Au7e";
    UpdateComponent component;
    CLuxWrapper::ConvertProductID(Reg::LoadValue(HKEY_LOCAL_MACHINE, key, kUpdateComponent,
                                                 std::wstring(), Reg::ProductView()),
                                  component);
    component.strVersion = version;
    std::wstring text;
    CLuxWrapper::ConvertProductID(component, text);
    // Only lack of memory leaves no text, and that must not wipe out the identifier.
    if (!text.empty() && Store(key, kUpdateComponent, text, nullptr))
        return true;
    WY_LOG_ERROR << L"KrCommon::Storage::Reg::StoreValueWithAllAccess failed...";
    return false;
} catch (...) {
    return false;
}

bool IsRegKeyExist(const std::wstring& key, std::uint32_t view) noexcept {
    try {
        OpenAndClose(key, view);
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        return raised->Code() != ERROR_FILE_NOT_FOUND;
    } catch (...) {
        return true;
    }
    return true;
}

}  // namespace WyDeployHelper::DeployCommon
