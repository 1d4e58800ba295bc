#pragma once

// One call of the interface over TCP at a server that a test plays by hand.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RawRpcServer.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/rpc_mode.h"

#include <gtest/gtest.h>
#include <rpc.h>

namespace test_support {

inline constexpr const wchar_t* kTcp = L"ncacn_ip_tcp";
inline constexpr const wchar_t* kLoopback = L"127.0.0.1";
inline constexpr std::uint8_t kFiveBytes[] = {1, 2, 3, 4, 5};

// A pointer's referent id in stub data: any value but 0.
inline constexpr std::uint32_t kReferent = 0x00020000;

inline RPC_WSTR RpcText(const wchar_t* text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}

// A binding to a port of this machine.
class Binding {
public:
    explicit Binding(const std::wstring& endpoint) {
        RPC_WSTR text = nullptr;
        EXPECT_EQ(RPC_S_OK, RpcStringBindingComposeW(nullptr, RpcText(kTcp), RpcText(kLoopback),
                                                     RpcText(endpoint.c_str()), nullptr, &text));
        EXPECT_EQ(RPC_S_OK, RpcBindingFromStringBindingW(text, &m_hBinding));
        RpcStringFreeW(&text);
    }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;
    ~Binding() { RpcBindingFree(&m_hBinding); }
    void* Handle() const { return m_hBinding; }

private:
    RPC_BINDING_HANDLE m_hBinding = nullptr;
};

// What became of an answer.
struct Outcome {
    std::uint32_t exception;
    std::int32_t size;
    bool block;
    Bytes bytes;
};

inline Outcome Take(const IdlClientHelper::Reply& reply) {
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> owner(reply.pBytes, std::free);
    Outcome outcome{reply.uiException, reply.lSize, reply.pBytes != nullptr, {}};
    if (reply.pBytes != nullptr && reply.lSize > 0)
        outcome.bytes.assign(reply.pBytes, reply.pBytes + reply.lSize);
    return outcome;
}

struct Exchange {
    RawRpcServer::Seen seen;
    Outcome outcome;
};

// Calls SendRequest with five bytes at a raw server.
inline Exchange Call(int mode, RawRpcServer::Answer answer) {
    RawRpcServer server(std::move(answer));
    Outcome outcome{};
    {
        const Binding binding(server.Endpoint());
        outcome = Take(
            IdlClientHelper::SendRequest(mode, binding.Handle(), kFiveBytes, sizeof kFiveBytes));
    }
    return {server.Finish(), outcome};
}

inline RawRpcServer::Answer Responding(const Bytes& stubData) {
    return [stubData](std::uint32_t callId) { return rpc::MakeResponse(callId, stubData); };
}

// lOutSize, the pointer, the array's count, the array.
inline Bytes AnswerOf(std::uint32_t size, std::uint32_t count, const Bytes& array) {
    Bytes stubData = Words({size, kReferent, count});
    Append(stubData, array);
    return stubData;
}

inline Outcome OutcomeOf(const Bytes& stubData) {
    return Call(RpcMode::kFirst, Responding(stubData)).outcome;
}

}  // namespace test_support
