#include "wyctl/ResultCodes.h"

#include <fmt/format.h>

#include "Common/KrCommon/KrComn_Result.h"

namespace WyCtl {

namespace {

namespace Result = KrCommon::Result;

struct Meaning {
    std::uint32_t code;
    const char* text;
};

constexpr Meaning kCodes[] = {
    {Result::kSuccess, "success"},
    {Result::kFailure, "general failure"},
    {Result::kBadPath, "a path argument is wrong"},
    {Result::kNoCallbackServer, "the callback server could not be made"},
    {Result::kNoUuid, "no unique identifier could be made"},
    {Result::kInvalidArgument, "invalid argument or definition, or an answer that lacks a field"},
    {Result::kEmptyFolder, "the install or package folder is empty"},
    {Result::kMalformedReply, "the service sent an empty or malformed reply"},
    {Result::kAlreadyInitialized, "already initialized or registered"},
    {Result::kNoEventCallback, "no event callback is set"},
    {Result::kSettingsNotStored, "settings could not be stored"},
    {Result::kNotFound, "not found"},
    {Result::kJsonDbNotWritten, "the JSON database file cannot be opened for writing"},
    {Result::kJsonDbNotRead, "the JSON database file cannot be opened for reading"},
    {Result::kLogSettingsNotChanged, "the debug log settings could not be changed"},
    {Result::kBufferIsNull, "the output buffer is null; the size needed was returned"},
    {Result::kRecordGoingAway, "the tracking record is going away"},
    {Result::kRecordInUse, "the tracking record is in use"},
    {Result::kUnknownTrackingId, "unknown tracking id"},
    {Result::kTrackingIdExists, "the tracking id exists already"},
    {Result::kOutOfMemory, "out of memory"},
    {Result::kWrongContextKind, "a context of the wrong kind"},
};

// Errors of the remote side and of the RPC runtime, by their low 16 bits.
constexpr Meaning kRemoteErrors[] = {
    {5, "the service denied access"},
    {0x3e6, "the service faulted in the call (998)"},
    {0x6b5, "the listener does not serve this interface (1717)"},
    {0x6ba, "no service listens: the RPC server is unavailable (1722). Is the host running?"},
    {0x6bb, "the service is too busy (1723)"},
    {0x6be, "the service ended or broke off during the call (1726)"},
    {0x6f7, "the stub received bad data (1783)"},
    {0x803, "the service does not know this client"},
};

template <std::size_t N>
const char* Find(const Meaning (&table)[N], std::uint32_t code) {
    for (const Meaning& meaning : table) {
        if (meaning.code == code) {
            return meaning.text;
        }
    }
    return nullptr;
}

}  // namespace

std::string HexCode(std::uint32_t code) {
    return fmt::format("0x{:08x}", code);
}

std::string DescribeResult(std::uint32_t code) {
    if (const char* text = Find(kCodes, code)) {
        return text;
    }
    if (Result::Succeeded(code)) {
        return "success, with a code of the service's own";
    }
    const std::uint32_t low = code & 0xffffU;
    if (code == Result::FromRemote(low)) {
        const char* text = Find(kRemoteErrors, low);
        return text != nullptr ? text : fmt::format("remote or RPC error {}", low);
    }
    if (code == Result::FromSystem(low)) {
        return fmt::format("a system call failed, error {}", low);
    }
    if ((code & 0xffffff00U) == 0xe00e0000U) {
        return fmt::format("the deployment engine failed, reason {}", code & 0xffU);
    }
    return "a failure of the service's own";
}

}  // namespace WyCtl
