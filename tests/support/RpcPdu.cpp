#include "support/RpcPdu.h"

#include <stdexcept>

namespace test_support::rpc {

namespace {

constexpr std::size_t kHeaderSize = 16;
// alloc_hint, context id and procedure number of a request; a response or fault has its
// counterpart of the same size.
constexpr std::size_t kCallHeaderSize = 8;
constexpr std::size_t kSyntaxSize = 20;
constexpr std::uint32_t kLittleEndian = 0x10;
constexpr std::uint8_t kFirstFragment = 1;
constexpr std::uint8_t kLastFragment = 2;
constexpr std::uint16_t kFragmentLimit = 5840;

void Append16(Bytes& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

Bytes MakePdu(PduType type, std::uint32_t callId, const Bytes& body) {
    if (kHeaderSize + body.size() > 0xffff)
        throw std::length_error("a PDU of more than 64 KiB");
    Bytes pdu{5, 0, static_cast<std::uint8_t>(type), kFirstFragment | kLastFragment};
    Append(pdu, kLittleEndian);
    Append16(pdu, static_cast<std::uint16_t>(kHeaderSize + body.size()));
    Append16(pdu, 0);  // no authentication
    Append(pdu, callId);
    Append(pdu, body);
    return pdu;
}

Bytes CallHeader(std::size_t allocationHint) {
    return Words({static_cast<std::uint32_t>(allocationHint), 0});
}

bool HasCallHeader(PduType type) {
    return type == PduType::kRequest || type == PduType::kResponse || type == PduType::kFault;
}

struct Fragment {
    Message message;
    bool last;
};

Fragment ReadFragment(LoopbackSocket& connection) {
    const Bytes header = connection.ReadExactly(kHeaderSize);
    const std::size_t size = LoadUInt32(header, 8) & 0xffff;
    if (header[0] != 5 || size < kHeaderSize || LoadUInt32(header, 8) >> 16 != 0)
        throw std::runtime_error("not a PDU without authentication: " + ToHex(header));
    Fragment fragment{{static_cast<PduType>(header[2]), LoadUInt32(header, 12), 1, {}},
                      (header[3] & kLastFragment) != 0};
    fragment.message.body = connection.ReadExactly(size - kHeaderSize);
    if (HasCallHeader(fragment.message.type)) {
        Bytes& body = fragment.message.body;
        if (body.size() < kCallHeaderSize)
            throw std::runtime_error("a call without its header");
        body.erase(body.begin(), body.begin() + kCallHeaderSize);
    }
    return fragment;
}

}  // namespace

const Bytes kInterfaceA = FromHex("d1274c9f 6e3b 584a 8e02 c7d16ab05e34 01000000");
const Bytes kInterfaceB = FromHex("f3081ae6 cd72 194b a3f4 05be92d7c618 01000000");
const Bytes kNdrSyntax = FromHex("045d888a eb1c c911 9fe8 08002b104860 02000000");

std::uint32_t LoadUInt32(const Bytes& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | bytes.at(offset + i);
    return value;
}

Message Read(LoopbackSocket& connection) {
    Fragment fragment = ReadFragment(connection);
    Message message = std::move(fragment.message);
    while (!fragment.last) {
        fragment = ReadFragment(connection);
        Append(message.body, fragment.message.body);
        ++message.fragments;
    }
    return message;
}

Proposal ProposalOf(const Message& bind) {
    // Fragment sizes, association group, number of contexts; context id, number of syntaxes.
    constexpr std::size_t kFirstSyntax = 16;
    if (bind.type != PduType::kBind || bind.body.size() < kFirstSyntax + 2 * kSyntaxSize)
        throw std::runtime_error("not a bind: " + ToHex(bind.body));
    const auto first = bind.body.begin() + kFirstSyntax;
    return {Bytes(first, first + kSyntaxSize), Bytes(first + kSyntaxSize, first + 2 * kSyntaxSize)};
}

Bytes MakeBind(const Bytes& interfaceSyntax) {
    Bytes body;
    Append16(body, kFragmentLimit);
    Append16(body, kFragmentLimit);
    Append(body, Words({0, 1}));      // association group: a new one; one context
    Append(body, Words({1u << 16}));  // context 0, one transfer syntax
    Append(body, interfaceSyntax);
    Append(body, kNdrSyntax);
    return MakePdu(PduType::kBind, 1, body);
}

Bytes MakeBindAck(std::uint32_t callId) {
    Bytes body;
    Append16(body, kFragmentLimit);
    Append16(body, kFragmentLimit);
    Append(body, Words({1}));             // association group
    Append(body, FromHex("0100 00 00"));  // an empty address, padded to four bytes
    Append(body, Words({1, 0}));          // one result: accepted
    Append(body, kNdrSyntax);
    return MakePdu(PduType::kBindAck, callId, body);
}

Bytes MakeRequest(const Bytes& stubData) {
    Bytes body = CallHeader(stubData.size());
    Append(body, stubData);
    return MakePdu(PduType::kRequest, 2, body);
}

Bytes MakeResponse(std::uint32_t callId, const Bytes& stubData) {
    Bytes body = CallHeader(stubData.size());
    Append(body, stubData);
    return MakePdu(PduType::kResponse, callId, body);
}

Bytes MakeFault(std::uint32_t callId, std::uint32_t status) {
    Bytes body = CallHeader(0);
    Append(body, Words({status, 0}));
    return MakePdu(PduType::kFault, callId, body);
}

std::uint32_t StatusOf(const Message& fault) {
    if (fault.type != PduType::kFault)
        throw std::runtime_error("not a fault");
    return LoadUInt32(fault.body, 0);
}

}  // namespace test_support::rpc
