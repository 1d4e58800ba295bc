#include "deploy/SystemCheckHelper.h"

#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "deploy/DeployPlatform.h"
#include "deploy/SetupConfig.h"

namespace WyDeployHelper::SetupHelper {

namespace {

namespace Condition = KrCommon::OsVersion::Condition;
namespace Result = KrCommon::Result;

constexpr char kLogSource[] = "SystemCheckHelper";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

struct LowestSystem {
    const wchar_t* os;
    std::uint32_t condition;
};

// The condition for Win7 holds for no version with the minor number 0 and so refuses Windows 10.
// Packages that are meant for it ask for WinVista; this is kept for them.
constexpr LowestSystem kLowestSystems[] = {
    {L"WinVista", Condition::kNt60OrLater},
    {L"Win7", Condition::kNt60OrLaterButMinor0},
    {L"Win8", Condition::kNt62OrLater},
    {L"Win8.1", Condition::kNt63OrLater},
};

std::uint32_t ConditionOf(const std::wstring& os) noexcept {
    for (const LowestSystem& row : kLowestSystems) {
        if (os == row.os)
            return row.condition;
    }
    return Condition::kNt51Pack2OrLater;
}

std::uint32_t Refuse(const wchar_t* reason) noexcept {
    WY_LOG_ERROR << reason;
    return Result::kSystemRefused;
}

// True when the system's number is the demanded one or later. So is one that the system does not
// tell, which leaves a line in the log; 0 demands nothing, and the system is not asked.
bool Reaches(std::uint32_t demanded, std::uint32_t Platform::Version::*number,
             const wchar_t* unknown) noexcept {
    if (demanded == 0)
        return true;
    Platform::Version version;
    if (!Platform::GetVersion(version)) {
        WY_LOG_ERROR << unknown;
        return true;
    }
    return version.*number >= demanded;
}

}  // namespace

CSystemCheckHelper::~CSystemCheckHelper() = default;

void CSystemCheckHelper::InitCheckFunction() {
    if (g_SetupConfig.IsOsChecked())
        m_listCheckFunctions.push_back(&CSystemCheckHelper::CheckOs);
}

std::uint32_t CSystemCheckHelper::CheckAllSystemItems() noexcept {
    std::uint32_t result = Result::kSuccess;
    for (const CheckFunction check : m_listCheckFunctions) {
        result = (this->*check)();
        if (Result::Failed(result)) {
            WY_LOG_ERROR << L"Check system items failed...retCode=" << WyHex{result};
            return result;
        }
    }
    return result;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): an entry of the list of checks
std::uint32_t CSystemCheckHelper::CheckOs() noexcept {
    if (!Platform::Is(ConditionOf(g_SetupConfig.GetOs())))
        return Refuse(L"Windows version is not support.");
    if (!Reaches(g_SetupConfig.GetServicePack(), &Platform::Version::servicePack,
                 L"Can't get service pack..."))
        return Refuse(L"Windows service pack required.");
    if (!Reaches(g_SetupConfig.GetMinBuildNumber(), &Platform::Version::buildNumber,
                 L"Can't get build number..."))
        return Refuse(L"Windows build number not meet minimum requirement.");
    if (Platform::Is(Condition::kServer))
        return Refuse(L"Windows server version is not support.");
    if (Platform::Is(Condition::kNt52Workstation))
        return Refuse(L"Windows XP 64 version is not support.");
    return Result::kSuccess;
}

}  // namespace WyDeployHelper::SetupHelper
