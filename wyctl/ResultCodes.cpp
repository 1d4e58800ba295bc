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
    {Result::kShortcutsNotRemoved, "the shortcuts could not be removed"},
    {Result::kShortcutsNotCreated, "the shortcuts could not be made"},
    {Result::kProcessesNotStopped, "the product's processes could not be stopped"},
    {Result::kAutoRunNotWritten, "the autorun value could not be written"},
    {Result::kAutoRunNotRemoved, "the autorun value could not be removed"},
    {Result::kRebootPending, "a restart is pending since an earlier removal"},
    {Result::kLaterVersionInstalled, "a later version is installed"},
    {Result::kRuntimeNotInstalled, "the runtime libraries could not be installed"},
    {Result::kSessionAgentNotStarted, "the session agent could not be started"},
    {Result::kAccessDenied, "the install folder or the product's key may not be made"},
    {Result::kSystemRefused, "the package does not accept this system"},
    {Result::kPackageNotRead, "Setup.ini or InstCfg.xml could not be read"},
    {Result::kManifestNotCarriedOut, "an item of InstCfg.xml could not be carried out"},
    {Result::kKeysNotRemoved, "the product's registry keys could not be removed"},
    {Result::kFolderNotRenamed, "the install folder or its backup could not be renamed"},
    {Result::FromSystem(1072), "the former service is still being deleted (1072)"},
    {Result::FromSystem(1073), "a service of this name exists already (1073)"},
    {Result::FromSystem(1722), "the service does not answer: the RPC server is unavailable (1722)"},
};

constexpr Meaning kDeploymentAdvice[] = {
    {Result::kFailure,
     "the log names the folder or key that could not be made or copied; see whether the disk is "
     "full and the package whole, and install again"},
    {Result::kEmptyFolder,
     "name the package and, for a first installation, the product's folder: wyctl install DIR --to "
     "FOLDER"},
    {Result::kShortcutsNotRemoved,
     "see in the log why the shortcut tool in the product's folder cannot be run, and repeat"},
    {Result::kShortcutsNotCreated,
     "see in the log why the shortcut tool in the product's folder cannot be run, and install "
     "again"},
    {Result::kProcessesNotStopped,
     "end the product's watchdog or restart the machine, and repeat as administrator"},
    {Result::kAutoRunNotWritten,
     "repeat as administrator; see whether security software guards the Run key"},
    {Result::kAutoRunNotRemoved,
     "repeat as administrator; see whether security software guards the Run key"},
    {Result::kRebootPending, "restart the machine, then install"},
    {Result::kLaterVersionInstalled,
     "take a package that is not older. The folder of the installed product is gone with this "
     "attempt: install it anew"},
    {Result::kRuntimeNotInstalled, "unpack the package anew, and install again"},
    {Result::kSessionAgentNotStarted,
     "see whether the session agent lies in the product's folder and may run, and install again"},
    {Result::kAccessDenied,
     "repeat as administrator; see who guards the product's folder and its key"},
    {Result::kSystemRefused,
     "the log names what Setup.ini demands of the system; take another package"},
    {Result::kPackageNotRead, "the package is not whole: unpack it anew, and install again"},
    {Result::kManifestNotCarriedOut,
     "the log names the item that failed; see to what stands in its way, and install again"},
    {Result::kKeysNotRemoved, "repeat as administrator; see who guards the product's keys"},
    {Result::kFolderNotRenamed,
     "close what holds the product's folder, and install again: the old version was not brought "
     "back"},
    {Result::FromSystem(5), "repeat as administrator"},
    {Result::FromSystem(1072), "restart the machine, and install again"},
    {Result::FromSystem(1073),
     "remove the service of this name, which is another maker's or not signed, and install again"},
    {Result::FromSystem(1722), "see in the system's log why the service does not run, and repeat"},
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

std::string AdviseOnDeployment(std::uint32_t code) {
    const char* const advice = Find(kDeploymentAdvice, code);
    return advice != nullptr ? advice : "";
}

}  // namespace WyCtl
