#pragma once

// The values of a read Setup.ini in one line, for tables.

#include <string>

#include "deploy/SetupConfig.h"

namespace deploy_test {

// CheckOS [OS] ServicePack MinBuildNumber [ShowWyEula] [UpdateRegistry], such as
// "1 [Win7] 1 7601 [1] [0]".
inline std::wstring Fields(const WyDeployHelper::SetupHelper::CSetupConfig& config) {
    return std::wstring(config.IsOsChecked() ? L"1" : L"0") + L" [" + config.GetOs() + L"] " +
           std::to_wstring(config.GetServicePack()) + L" " +
           std::to_wstring(config.GetMinBuildNumber()) + L" [" + config.GetShowWyEula() + L"] [" +
           config.GetUpdateRegistry() + L"]";
}

}  // namespace deploy_test
