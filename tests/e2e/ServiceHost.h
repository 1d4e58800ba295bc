#pragma once

// A development host that runs for the length of a scope.

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "e2e/ChildProcess.h"

class ServiceHost {
public:
    // Starts WySvcHost.exe on the given folder and waits until it listens. Raises
    // std::runtime_error with what it wrote when it does not.
    explicit ServiceHost(const std::filesystem::path& root,
                         const std::vector<std::wstring>& options = {});
    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;
    // Ends it by force.
    ~ServiceHost() = default;

private:
    std::unique_ptr<ChildProcess> m_pProcess;
};
