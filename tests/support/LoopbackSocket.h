#pragma once

// TCP on 127.0.0.1 for tests that speak a protocol by hand.
//
// Every wait is limited, so that a peer that says nothing fails a test instead of hanging it. All
// failures are std::runtime_error.

#include <cstdint>

#include "support/HexBytes.h"

namespace test_support {

// One connection; closed by the destructor.
class LoopbackSocket {
public:
    static LoopbackSocket ConnectTo(std::uint16_t port);

    explicit LoopbackSocket(std::uintptr_t handle);
    LoopbackSocket(LoopbackSocket&& other) noexcept;
    LoopbackSocket& operator=(LoopbackSocket&&) = delete;
    ~LoopbackSocket();

    void Write(const Bytes& bytes);
    Bytes ReadExactly(std::size_t size);

private:
    std::uintptr_t m_hSocket;
};

// Waits for connections on a port of the system's choice.
class LoopbackListener {
public:
    LoopbackListener();
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;
    ~LoopbackListener();

    std::uint16_t Port() const;
    LoopbackSocket Accept();

private:
    std::uintptr_t m_hSocket;
};

}  // namespace test_support
