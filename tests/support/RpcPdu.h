#pragma once

// The connection-oriented RPC protocol, as far as two tests that play one end of it need it:
// bind, bind_ack, request, response and fault, without authentication.

#include <cstdint>

#include "support/HexBytes.h"
#include "support/LoopbackSocket.h"

namespace test_support::rpc {

enum class PduType : std::uint8_t {
    kRequest = 0,
    kResponse = 2,
    kFault = 3,
    kBind = 11,
    kBindAck = 12,
};

// One message, put together from its fragments.
struct Message {
    PduType type;
    std::uint32_t callId;
    std::uint32_t fragments;
    // Without the headers: a bind's or bind_ack's body, stub data, a fault's status.
    Bytes body;
};

Message Read(LoopbackSocket& connection);

// An interface or transfer syntax as it travels: the UUID's 16 bytes and the version's four.
extern const Bytes kInterfaceA;
extern const Bytes kInterfaceB;
extern const Bytes kNdrSyntax;

// The two syntaxes that the first context of a bind proposes.
struct Proposal {
    Bytes interfaceSyntax;
    Bytes transferSyntax;
};
Proposal ProposalOf(const Message& bind);

Bytes MakeBind(const Bytes& interfaceSyntax);
Bytes MakeBindAck(std::uint32_t callId);
// Procedure 0 of the context that MakeBind proposes.
Bytes MakeRequest(const Bytes& stubData);
Bytes MakeResponse(std::uint32_t callId, const Bytes& stubData);
Bytes MakeFault(std::uint32_t callId, std::uint32_t status);

// The status of a fault.
std::uint32_t StatusOf(const Message& fault);

std::uint32_t LoadUInt32(const Bytes& bytes, std::size_t offset);

}  // namespace test_support::rpc
