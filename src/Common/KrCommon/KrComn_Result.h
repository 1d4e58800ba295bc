#pragma once

// Result codes shared by every layer.
//
// A result code is 32 bits wide and judged by its sign as a signed number: not negative is
// success. Codes of the form 0xe0fe.... carry the low 16 bits of a system error, codes of the
// form 0xe001.... the low 16 bits of an answer of the remote side or of the RPC runtime.

#include <cstdint>

namespace KrCommon::Result {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kBadPath = 0xe0ff0002;
constexpr std::uint32_t kNoCallbackServer = 0xe0ff0003;
constexpr std::uint32_t kNoUuid = 0xe0ff0004;
constexpr std::uint32_t kInvalidArgument = 0xe0ff0007;
constexpr std::uint32_t kEmptyFolder = 0xe0ff0008;
constexpr std::uint32_t kMalformedReply = 0xe0ff0009;
constexpr std::uint32_t kAlreadyInitialized = 0xe0ff000a;
constexpr std::uint32_t kNoEventCallback = 0xe0ff000b;
constexpr std::uint32_t kSettingsNotStored = 0xe0ff000c;
constexpr std::uint32_t kNotFound = 0xe0ff000e;
constexpr std::uint32_t kJsonDbNotWritten = 0xe0ff0011;
constexpr std::uint32_t kJsonDbNotRead = 0xe0ff0012;
constexpr std::uint32_t kLogSettingsNotChanged = 0xe0ff0013;
constexpr std::uint32_t kBufferIsNull = 0xe0ff0014;
constexpr std::uint32_t kRecordGoingAway = 0xe0ff0015;
constexpr std::uint32_t kRecordInUse = 0xe0ff0016;
constexpr std::uint32_t kUnknownTrackingId = 0xe0ff0018;
constexpr std::uint32_t kTrackingIdExists = 0xe0ff001c;
constexpr std::uint32_t kOutOfMemory = 0xe0ff001e;
constexpr std::uint32_t kWrongContextKind = 0xe0ff001f;

// Set-up: what could not be made, removed or started, and what stands in its way.
constexpr std::uint32_t kShortcutsNotRemoved = 0xe00e0001;
constexpr std::uint32_t kShortcutsNotCreated = 0xe00e0002;
constexpr std::uint32_t kProcessesNotStopped = 0xe00e0003;
constexpr std::uint32_t kAutoRunNotWritten = 0xe00e0004;
constexpr std::uint32_t kAutoRunNotRemoved = 0xe00e0005;
constexpr std::uint32_t kRebootPending = 0xe00e000a;
constexpr std::uint32_t kLaterVersionInstalled = 0xe00e000c;
constexpr std::uint32_t kRuntimeNotInstalled = 0xe00e000d;
constexpr std::uint32_t kSessionAgentNotStarted = 0xe00e0010;
constexpr std::uint32_t kAccessDenied = 0xe00e0011;
constexpr std::uint32_t kSystemRefused = 0xe00e0012;
constexpr std::uint32_t kPackageNotRead = 0xe00e0013;
constexpr std::uint32_t kManifestNotCarriedOut = 0xe00e0014;
constexpr std::uint32_t kKeysNotRemoved = 0xe00e0016;
constexpr std::uint32_t kFolderNotRenamed = 0xe00e0018;

// The answer of a service that does not know this client.
constexpr std::uint32_t kUnknownClient = 0xe0010803;

// True when the code, read as a signed number, is not negative.
constexpr bool Succeeded(std::uint32_t code) {
    return static_cast<std::int32_t>(code) >= 0;
}

constexpr bool Failed(std::uint32_t code) {
    return !Succeeded(code);
}

// The code under which an error of the remote side or of the RPC runtime is reported.
constexpr std::uint32_t FromRemote(std::uint32_t error) {
    return (error & 0xffffU) | 0xe0010000U;
}

// The code under which the failure of a system call is reported.
constexpr std::uint32_t FromSystem(std::uint32_t error) {
    return (error & 0xffffU) | 0xe0fe0000U;
}

}  // namespace KrCommon::Result
