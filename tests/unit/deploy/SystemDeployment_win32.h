#pragma once

// Deployments to the machine that the test runs on, from the folder "p" to the folder "i".

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployer.h"
#include "support/FileFixture_win32.h"
#include "unit/deploy/FakeMachine.h"
#include "unit/deploy/NotedMachine.h"

namespace deploy_test {

class SystemDeployment : public test_support::FileFixture {
protected:
    using FileRecord = WyDeployHelper::DeployCommon::FileRecord;
    using RegistryKeyRecord = WyDeployHelper::DeployCommon::RegistryKeyRecord;
    using RegistryValueRecord = WyDeployHelper::DeployCommon::RegistryValueRecord;

    SystemDeployment() {
        g_Machine = FakeMachine();
        PutFolder(L"p");
        PutFolder(L"i");
    }

    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    // Deploys one item with a deployer of its own.
    bool DeployKey(const RegistryKeyRecord& record) {
        WyDeployHelper::DeployCommon::CWyDeployer deployer;
        deployer.registryKeys = {record};
        return Deploy(deployer);
    }
    bool DeployValue(const RegistryValueRecord& record) {
        WyDeployHelper::DeployCommon::CWyDeployer deployer;
        deployer.registryValues = {record};
        return Deploy(deployer);
    }
    bool DeployFolder(const FileRecord& record) {
        WyDeployHelper::DeployCommon::CWyDeployer deployer;
        deployer.folders = {record};
        return Deploy(deployer);
    }
    bool DeployFile(const FileRecord& record) {
        WyDeployHelper::DeployCommon::CWyDeployer deployer;
        deployer.files = {record};
        return Deploy(deployer);
    }
    bool Deploy(WyDeployHelper::DeployCommon::CWyDeployer& deployer) {
        m_Log.Clear();
        return deployer.Deploy(At(L"p"), At(L"i"));
    }

    // The last line of the deployer, "level text", with the test's folder written "@".
    std::wstring LastLine() const {
        const Lines lines = DeployerLines(m_Log);
        std::wstring line = lines.empty() ? L"" : lines.back();
        for (std::size_t at = line.find(m_Base); at != std::wstring::npos; at = line.find(m_Base))
            line.replace(at, m_Base.size(), L"@");
        return line;
    }

    // A library of a version.
    void PutVersioned(const std::wstring& relative, std::uint32_t ms, std::uint32_t ls) const {
        std::ifstream file("VersionedFile.dll", std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(file)), {});
        constexpr std::uint32_t kSignature = VS_FFI_SIGNATURE;
        char signature[sizeof kSignature];
        std::memcpy(signature, &kSignature, sizeof kSignature);
        const std::size_t at = bytes.find(std::string(signature, sizeof signature));
        ASSERT_NE(at, std::string::npos);
        std::memcpy(&bytes[at + 8], &ms, sizeof ms);
        std::memcpy(&bytes[at + 12], &ls, sizeof ls);
        PutFile(relative, bytes);
    }
};

}  // namespace deploy_test
