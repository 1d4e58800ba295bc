#include "deploy/SetupConfig.h"

#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Storage.h"
#include "deploy/DeployPlatform.h"

namespace WyDeployHelper::SetupHelper {

namespace {

namespace Condition = KrCommon::OsVersion::Condition;
namespace Storage = KrCommon::Storage;

constexpr char kLogSource[] = "SetupConfig";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

// What a store raises when memory is short.
constexpr std::uint32_t kNoMemory = KrCommon::ErrorCode::kInvalidHandle;

struct SystemSection {
    std::uint32_t condition;
    const wchar_t* section;
};

constexpr SystemSection kSystemSections[] = {
    {Condition::kNt60, L"CheckWinVista"}, {Condition::kNt61, L"CheckWin7"},
    {Condition::kNt62, L"CheckWin8"},     {Condition::kNt63, L"CheckWin8.1"},
    {Condition::kNt100, L"CheckWin10"},
};
// Also for what is later than all of the above.
constexpr wchar_t kOtherSystems[] = L"CheckWinXP";

const wchar_t* SectionOfThisSystem() noexcept {
    for (const SystemSection& row : kSystemSections) {
        if (Platform::Is(row.condition))
            return row.section;
    }
    return kOtherSystems;
}

// The text is no format here: it is written as it is, percent signs and all, and the two numbers
// follow it in decimal without a blank. It is known by these words and meant so.
void LogFailure(std::uint32_t line, std::uint32_t code) noexcept {
    WY_LOG_ERROR << L"KrCommon::Storage::Exception - ln(%u), er(0x%08X)" << line << code;
}

}  // namespace

CSetupConfig g_SetupConfig;

CSetupConfig::~CSetupConfig() = default;

bool CSetupConfig::ReadConfig(const std::wstring& path) noexcept {
    try {
        if (!Platform::Exists(path)) {
            WY_LOG_ERROR << L"Config file does not exist. Path: " << path;
            return false;
        }
        const std::unique_ptr<Storage::Base> store = Platform::MakeIniStore();
        ReadSections(*store, Storage::Key(Storage::Key::kIniFile, nullptr, path.c_str()));
        return true;
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        LogFailure(raised->Line(), raised->Code());
    } catch (const std::bad_alloc&) {
        LogFailure(__LINE__, kNoMemory);
    }
    return false;
}

// Each value is stored as it comes: a failure takes none of those before it back.
void CSetupConfig::ReadSections(Storage::Base& store, const Storage::Key& key) {
    store.OpenForRead(key, L"Check");
    m_bCheckOs = store.ReadString(L"CheckOS", L"") == L"1";
    m_strOs = store.ReadString(L"OS", L"");
    store.Close(false);

    store.OpenForRead(key, SectionOfThisSystem());
    m_uiServicePack = store.ReadDword(L"ServicePack", 0);
    m_uiMinBuildNumber = store.ReadDword(L"MinBuildNumber", 0);
    store.Close(false);

    store.OpenForRead(key, L"MsiConfig");
    m_strShowWyEula = store.ReadString(L"ShowWyEula", L"1");
    m_strUpdateRegistry = store.ReadString(L"UpdateRegistry", L"1");
    store.Close(false);
}

}  // namespace WyDeployHelper::SetupHelper
