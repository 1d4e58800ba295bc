#include <stdexcept>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/LoopbackSocket.h"

#include <winsock2.h>

namespace test_support {

namespace {

constexpr DWORD kLimitMs = 20000;
constexpr int kBacklog = 5;

[[noreturn]] void Fail(const char* operation) {
    throw std::runtime_error(std::string(operation) + " failed, error " +
                             std::to_string(WSAGetLastError()));
}

// Winsock for the rest of the process.
void StartWinsock() {
    static const int status = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (status != 0)
        Fail("WSAStartup");
}

SOCKET NewSocket() {
    StartWinsock();
    const SOCKET handle = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (handle == INVALID_SOCKET)
        Fail("socket");
    return handle;
}

sockaddr_in LoopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void LimitReads(SOCKET handle) {
    setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&kLimitMs),
               sizeof kLimitMs);
}

}  // namespace

LoopbackSocket::LoopbackSocket(std::uintptr_t handle) : m_hSocket(handle) {
    LimitReads(handle);
}

LoopbackSocket::LoopbackSocket(LoopbackSocket&& other) noexcept : m_hSocket(other.m_hSocket) {
    other.m_hSocket = INVALID_SOCKET;
}

LoopbackSocket::~LoopbackSocket() {
    if (m_hSocket != INVALID_SOCKET)
        closesocket(m_hSocket);
}

LoopbackSocket LoopbackSocket::ConnectTo(std::uint16_t port) {
    LoopbackSocket connection(NewSocket());
    const sockaddr_in address = LoopbackAddress(port);
    if (connect(connection.m_hSocket, reinterpret_cast<const sockaddr*>(&address),
                sizeof address) != 0)
        Fail("connect");
    return connection;
}

void LoopbackSocket::Write(const Bytes& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const int sent = send(m_hSocket, reinterpret_cast<const char*>(bytes.data() + done),
                              static_cast<int>(bytes.size() - done), 0);
        if (sent <= 0)
            Fail("send");
        done += static_cast<std::size_t>(sent);
    }
}

Bytes LoopbackSocket::ReadExactly(std::size_t size) {
    Bytes bytes(size);
    std::size_t done = 0;
    while (done < size) {
        const int received = recv(m_hSocket, reinterpret_cast<char*>(bytes.data() + done),
                                  static_cast<int>(size - done), 0);
        if (received == 0)
            throw std::runtime_error("the peer has closed the connection");
        if (received < 0)
            Fail("recv");
        done += static_cast<std::size_t>(received);
    }
    return bytes;
}

LoopbackListener::LoopbackListener() : m_hSocket(NewSocket()) {
    const sockaddr_in address = LoopbackAddress(0);
    if (bind(m_hSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_hSocket, kBacklog) != 0)
        Fail("listen");
}

LoopbackListener::~LoopbackListener() {
    closesocket(m_hSocket);
}

std::uint16_t LoopbackListener::Port() const {
    sockaddr_in address{};
    int size = sizeof address;
    if (getsockname(m_hSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        Fail("getsockname");
    return ntohs(address.sin_port);
}

LoopbackSocket LoopbackListener::Accept() {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_hSocket, &readable);
    timeval limit{kLimitMs / 1000, 0};
    if (select(0, &readable, nullptr, nullptr, &limit) != 1)
        throw std::runtime_error("nobody has connected");
    const SOCKET handle = accept(m_hSocket, nullptr, nullptr);
    if (handle == INVALID_SOCKET)
        Fail("accept");
    return LoopbackSocket(handle);
}

}  // namespace test_support
