#pragma once

// Requests as the product's client writes them, and replies as it reads them.

#include <cstdint>
#include <string>
#include <vector>

#include "Framework/utilIPC/ipc_ids.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "devhost/HostWire.h"

namespace WireHelpers {

constexpr const char* kSessionKey = "11111111-2222-3333-4444-555555555555";
constexpr const char* kTrackingId = "aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee";

using Bytes = std::vector<std::uint8_t>;

// What stands behind the envelope id: a handle with RPC_MSG_MAIN.
Bytes Command(std::uint32_t commandId, const CRpcDataHandleWrapper* data,
              const std::string& sessionKey = kSessionKey,
              const std::string& trackingId = kTrackingId);
Bytes Mail(std::uint32_t destination, std::uint32_t mailId, const std::wstring& json,
           std::uint32_t processId = 4711);
Bytes Api(std::uint32_t apiId, const std::wstring& json);
Bytes Register(const std::wstring& name, std::uint32_t processId,
               const std::string& sessionKey = kSessionKey);
Bytes Unregister(std::uint32_t processId, const std::string& sessionKey = kSessionKey);
Bytes DestroyContext(const std::string& sessionKey = kSessionKey);

// A reply as far as it can be read.
struct Reply {
    bool empty = false;
    bool malformed = false;
    bool failure = false;
    std::uint32_t failureCode = 0;
    std::wstring failureText;
    std::string trackingId;
    std::uint32_t resultCode = 0;
    bool hasResultCode = false;
    bool hasReport = false;
    std::uint32_t mailResult = 0;
    bool hasMailResult = false;
    bool hasPacker = false;
    bool hasChild = false;
    bool hasJson = false;
    std::wstring json;
};
Reply ReadReply(const std::uint8_t* bytes, std::uint32_t size);

}  // namespace WireHelpers
