#pragma once

// What the Windows benchmarks share on the calling side.

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace BenchClient {

// Ends the program with a message on the standard error.
[[noreturn]] void Fail(const char* what, unsigned long code);

// This program a second time, as "serve EVENT", for the length of a scope.
class ServerProcess {
public:
    explicit ServerProcess(const wchar_t* stopEvent);
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess();

private:
    HANDLE m_hStop;
    PROCESS_INFORMATION m_Process{};
};

// What a call costs without the library: bind, call with the given bytes, free. The size of the
// answer.
std::size_t BareCall(const std::wstring& endpoint, const std::vector<std::uint8_t>& request);

double Quantile(std::vector<double> values, double q);

}  // namespace BenchClient
