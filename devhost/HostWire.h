#pragma once

// The wire as the service's side sees it: requests are taken apart, replies and event deliveries
// are put together. A reply can be made with pieces missing, for fault scripts.

#include <cstdint>
#include <optional>
#include <string>

#include "Framework/utilIPC/ipc_msg_buffer.h"

namespace DevHost {

// Numbers of Windows that travel in failure envelopes.
namespace RemoteError {
constexpr std::uint32_t kInvalidFunction = 1;
constexpr std::uint32_t kInvalidData = 13;
constexpr std::uint32_t kOutOfMemory = 14;
constexpr std::uint32_t kInternal = 1359;
constexpr std::uint32_t kUnknownClient = 0x803;
}  // namespace RemoteError

// The outer message of one request.
struct HostRequest {
    std::string sessionKey;  // callback endpoint of the sender
    std::string trackingId;
    std::uint32_t commandId = 0;  // inside the command; the envelope carries it once more
    CRpcDataHandleWrapper data;   // the command's data; id 0 and empty when there is none
    bool isCommand = false;       // false: the body names a context only
};

// The product adapter's part of a mail.
struct HostMail {
    std::uint32_t destination = 0;
    std::uint32_t mailId = 0;
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    bool flag = false;
    std::wstring json;
};

// One reply in result form.
struct HostReply {
    std::string trackingId;
    std::uint32_t resultCode = 0;
    bool hasReport = false;            // false: a bare result
    std::uint32_t mailResult = 0;      // in the report
    std::optional<std::wstring> json;  // in the packed message of the report
};

// Pieces of a reply.
struct ReplyPieces {
    bool resultCode = false;
    bool bodyId = false;
    bool report = false;
    bool mailResult = false;
    bool packer = false;
    bool child = false;
    bool json = false;
};

// How a reply differs from a right one.
struct ReplyFaults {
    ReplyPieces omit;     // left out
    ReplyPieces mistype;  // numbers are texts, the text is a number, messages have another id
};

// Reads the message behind the envelope id. False when a piece is missing that every request has;
// raises CIPCMsgBufferException when the envelope ends early.
bool DecodeRequest(CIPCMsgBuffer& in, HostRequest& request);

// Reads the mail out of a command's data. False when a field is missing or of a wrong type.
bool DecodeMail(const CRpcDataHandleWrapper& data, HostMail& mail);

// Appends the reply to `out`.
void EncodeReply(const HostReply& reply, const ReplyFaults& faults, CIPCMsgBuffer& out);

// Appends a failure envelope to `out`.
void EncodeFailure(std::uint32_t code, const std::wstring& text, CIPCMsgBuffer& out);

// Appends the delivery of one event to a registered client: a command result of its registration.
void EncodeDelivery(const std::string& trackingId, const std::wstring& json, CIPCMsgBuffer& out);

// What a client answered to a delivery.
struct DeliveryReply {
    bool wellFormed = false;
    bool failure = false;    // a failure envelope; `code` is its error
    std::uint32_t code = 0;  // else the result code of the client
};
DeliveryReply DecodeDeliveryReply(const std::uint8_t* bytes, std::uint32_t size);

}  // namespace DevHost
