#include "e2e/ServiceHost.h"

#include <stdexcept>

#include "Common/KrCommon/KrComn_Windows.h"

ServiceHost::ServiceHost(const std::filesystem::path& root,
                         const std::vector<std::wstring>& options) {
    std::vector<std::wstring> arguments{L"--root", root.wstring(), L"--parent",
                                        std::to_wstring(GetCurrentProcessId())};
    arguments.insert(arguments.end(), options.begin(), options.end());
    m_pProcess = std::make_unique<ChildProcess>(L"WySvcHost.exe", arguments);
    if (!m_pProcess->WaitForOut("ready")) {
        throw std::runtime_error("the host does not listen: " + m_pProcess->Out() +
                                 m_pProcess->Err());
    }
}
