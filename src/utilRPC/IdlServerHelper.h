#pragma once

// The routine behind the interface's single procedure, on the called side.

#include <cstdint>

namespace IdlServerHelper {

// Serves one request of the interface on a thread of the RPC runtime. The answer is allocated
// with malloc and belongs to the stub. Raises nothing; a failure gives an empty answer.
void ServeRequest(std::int32_t lInSize, const std::uint8_t* pbIn, std::int32_t* plOutSize,
                  std::uint8_t** ppbOut) noexcept;

// COM for one call on a worker thread, since handlers may use it (CoInitializeEx, multithreaded).
class WorkerThreadScope {
public:
    WorkerThreadScope();
    WorkerThreadScope(const WorkerThreadScope&) = delete;
    WorkerThreadScope& operator=(const WorkerThreadScope&) = delete;
    ~WorkerThreadScope();

private:
    [[maybe_unused]] bool m_bInitialized;
};

}  // namespace IdlServerHelper
