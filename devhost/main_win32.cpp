// WySvcHost.exe: the development host.

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "devhost/FaultFile.h"
#include "devhost/HostApplication.h"
#include "devhost/HostLog.h"
#include "devhost/HostOptions.h"
#include "devhost/HostProcess.h"
#include "devhost/HostService.h"
#include "devhost/MachineFeatures.h"
#include "devhost/RpcEventChannel.h"
#include "devhost/SystemProbeFactory.h"
#include "devhost/TemporaryFiles.h"
#include "lib/wycommon/WyCommon_Watchdog.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <future>
#include <iterator>
#include <thread>

namespace DevHost {

namespace {

constexpr const char* kLogSource = "main";
constexpr const wchar_t* kLogModule = L"WySvcHost";

constexpr const wchar_t* kProductIds[] = {L"Wyvarion", L"Tavrenox"};
constexpr std::uint32_t kServerTimeout = 1000;
constexpr std::chrono::seconds kClosePatience{5};

int Complain(int status, const std::string& text) {
    std::fprintf(stderr, "WySvcHost: %s\n", text.c_str());
    return status;
}

FileSystem::Path TemporaryFolder() {
    wchar_t buffer[MAX_PATH + 1];
    const DWORD length = GetTempPathW(static_cast<DWORD>(std::size(buffer)), buffer);
    if (length == 0 || length >= std::size(buffer))
        return {};
    return FileSystem::Resolve(FileSystem::Path(buffer)).value_or(FileSystem::Path());
}

std::string MakeUuid() {
    char text[38];
    if (KrCommon::Result::Failed(CRpcClientManager::CreateUUID(text, sizeof text))) {
        throw std::runtime_error("no UUID");
    }
    return text;
}

// The argument is the name of a file where there is one, else the script itself.
std::string ReadFaultScript(const std::string& argument) {
    const FileSystem::Path path = FileSystem::FromUtf8(argument);
    if (!FileSystem::Inspect(path).has_value())
        return argument;
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Joins what --fault and --faults say to one script. False, with what is wrong in `error`.
bool ReadFaults(const HostOptions& options, std::string& script, std::string& error) {
    script = ReadFaultScript(options.fault);
    FaultScript check;
    if (!check.Parse(script, error)) {
        error = "--fault: " + error;
        return false;
    }
    if (options.faultsFile.empty())
        return true;
    std::ifstream file(FileSystem::FromUtf8(options.faultsFile), std::ios::binary);
    if (!file) {
        error = "--faults cannot be read: " + options.faultsFile;
        return false;
    }
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::string translated;
    if (!FaultFileToScript(text, translated, error) || !check.Parse(translated, error)) {
        error = "--faults: " + error;
        return false;
    }
    script += "\n" + translated;
    return true;
}

// Asks the own endpoint for something that it refuses: whoever listens answers.
bool AnswersAtEndpoint() {
    CIPCMsgBuffer request(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer answer(CIPCMsgBuffer::kBlockSize, false);
    request << IPC_MSG_SEND_MAIL << std::uint32_t{0};
    CRPCClientHelper(CComponentID(ServiceComponentName().c_str())).SendRequest(request, answer);
    const DeliveryReply reply = DecodeDeliveryReply(answer.GetData(), answer.GetLength());
    return reply.failure && reply.code == RemoteError::kInvalidData;
}

// What a fault script can do to the process. Serves one request at a time: whoever crashes first.
void End(FaultPlan::End end, std::uint32_t absenceMs, const HostOptions& options,
         FaultScript& faults, HostProcess& process) {
    if (end == FaultPlan::End::kRestart) {
        process.RequestRestart();
        return;
    }
    // A service is started anew by its watchdog, not by itself.
    if (end == FaultPlan::End::kCrashRestart && !options.service) {
        HostProcess::StartSuccessor(
            SuccessorArguments(options, GetCurrentProcessId(), faults.Remaining(), absenceMs));
    }
    if (end != FaultPlan::End::kNone)
        HostProcess::Crash();
}

HostParts MakeParts(const HostOptions& options, const SearchRoot& root) {
    HostParts parts;
    parts.root = root;
    parts.allowRemove = options.allowRemove;
    parts.allowKill = options.allowKill;
    parts.probe = MakeSystemProbe();
    parts.features.push_back(std::make_unique<TemporaryFiles>(root, TemporaryFolder()));
    for (auto& feature : MakeMachineFeatures())
        parts.features.push_back(std::move(feature));
    parts.digest = Sha256OfFile;
    parts.makeId = MakeUuid;
    parts.emissions = options.emissions;
    parts.ownProcessId = GetCurrentProcessId();
    parts.channel = std::make_shared<RpcEventChannel>();
    parts.duplicateOwnHandle = HostProcess::DuplicateInto;
    return parts;
}

// The endpoint of the service, with a server behind it.
class Endpoint {
public:
    explicit Endpoint(HostServer& server)
        : m_pServer(&server),
          m_pHelper(std::make_unique<CRPCServerHelper>(CComponentID(ServiceComponentName().c_str()),
                                                       kServerTimeout,
                                                       CRPCServerParameter(RpcProtocol::kLocal))) {
        m_pHelper->RegisterHandler(m_pServer);
    }

    // Gives the endpoint up when the running calls have ended. False when that takes too long: a
    // handler does not come back, or the RPC runtime waits for a call that it has lost count of.
    // The process then has to end without it.
    bool Close() {
        std::promise<void> closed;
        const std::future<void> done = closed.get_future();
        std::thread closer([server = m_pServer, helper = std::move(m_pHelper),
                            closed = std::move(closed)]() mutable {
            helper->UnRegisterHandler(server);
            helper.reset();
            closed.set_value();
        });
        if (done.wait_for(kClosePatience) != std::future_status::ready) {
            WY_LOG_WARN << L"the endpoint does not close";
            closer.detach();
            return false;
        }
        closer.join();
        return true;
    }

private:
    HostServer* m_pServer;
    std::unique_ptr<CRPCServerHelper> m_pHelper;
};

// Listens until something asks for the end. `complete` tells whether nothing was left behind.
int Listen(HostApplication& application, HostProcess& process, HostService* service,
           const std::string& faults, HostProcess::Reason& reason, bool& complete) {
    Endpoint endpoint(application.Server());
    int status = ExitStatus::kClean;
    if (AnswersAtEndpoint()) {
        std::string error;
        application.Faults().Parse(faults, error);  // has been checked
        application.Start();
        process.AnnounceReady();
        if (service != nullptr)
            service->ReportRunning(HostProcess::RequestStop);
        reason = process.Wait();
    } else {
        status = Complain(ExitStatus::kCannotListen, "the endpoint cannot be opened");
    }
    if (service != nullptr)
        service->ReportStopping();
    application.PrepareStop();
    complete = endpoint.Close();
    return status;
}

// The exit status of a host that is to be followed by another one.
int Succeed(const HostOptions& options, FaultScript& faults) {
    const bool started =
        !options.service && HostProcess::StartSuccessor(SuccessorArguments(
                                options, GetCurrentProcessId(), faults.Remaining(), 0));
    return started ? ExitStatus::kClean : ExitStatus::kFailure;
}

int Serve(const HostOptions& options, const SearchRoot& root, const std::string& faults,
          HostProcess& process, HostService* service) {
    HostApplication* current = nullptr;
    HostParts parts = MakeParts(options, root);
    parts.end = [&](FaultPlan::End end, std::uint32_t absenceMs) {
        End(end, absenceMs, options, current->Faults(), process);
    };
    HostApplication application(std::move(parts));
    current = &application;

    HostProcess::Reason reason = HostProcess::Reason::kAsked;
    bool complete = true;
    int status = Listen(application, process, service, faults, reason, complete);
    WY_LOG_INFO << L"stop, reason " << static_cast<int>(reason);
    complete = application.Stop() && complete;
    if (reason == HostProcess::Reason::kRestart)
        status = Succeed(options, application.Faults());
    // What does not end, in a client's callback or in the RPC runtime, must not keep the host: its
    // thread is lost with the process, and nothing that it uses may be taken down before.
    if (!complete) {
        if (service != nullptr)
            service->ReportStopped(status);
        std::_Exit(status);
    }
    return status;
}

// The host by its options. `service` is null in the foreground.
int RunHost(const HostOptions& options, HostService* service) {
    std::string text;
    std::string faults;
    if (!ReadFaults(options, faults, text))
        return Complain(ExitStatus::kBadUsage, text);
    SearchRoot root;
    if (!options.root.empty()) {
        const auto folder = FileSystem::Resolve(FileSystem::FromUtf8(options.root));
        if (!folder.has_value() || !FileSystem::IsFolder(*folder)) {
            return Complain(ExitStatus::kBadUsage, "--root is no folder: " + options.root);
        }
        root = SearchRoot(*folder);
    }
    static HostLog log;  // outlives every thread
    if (!options.logFile.empty()) {
        if (!log.Open(options.logFile)) {
            return Complain(ExitStatus::kBadUsage, "--log cannot be written: " + options.logFile);
        }
        g_pDebugLog = &log;
    }

    CRPCClient::ReadMode();
    CRPCServer::ReadMode();
    HostProcess process;
    if (!process.TakePlace(kProductIds[options.mode], options.successorOf)) {
        return Complain(ExitStatus::kAlreadyRunning,
                        "another host of mode " + std::to_string(options.mode) +
                            " runs already; two on one endpoint would share the calls");
    }
    if (!process.Prepare(options, text))
        return Complain(ExitStatus::kBadUsage, text);
    if (options.absenceMs > 0 && !process.StayAway(options.absenceMs))
        return ExitStatus::kClean;
    return Serve(options, root, faults, process, service);
}

// The identity that the name of the program says: that of the row of this mode, or of the first.
int ModeOfOwnName() {
    const std::int32_t mode = Frwk::Mode::GetModeId();
    return mode >= 0 && mode < static_cast<std::int32_t>(std::size(kProductIds)) ? mode : 0;
}

// False when the service manager did not start this process.
bool RunAsService(HostOptions options, int& status) {
    options.service = true;
    HostService service(WyCommon::Utility::HostServiceName(),
                        [&options](HostService& running) { return RunHost(options, &running); });
    return service.Run(status);
}

int Run() {
    int status = ExitStatus::kClean;
    std::string text;
    const std::vector<std::string> arguments = OwnArguments();
    auto options = ParseHostOptions(arguments, status, text);
    if (!options.has_value()) {
        std::fputs(text.c_str(), status == ExitStatus::kClean ? stdout : stderr);
        return status;
    }
    // The service of an installed product is entered as a program without options, and so is what
    // a person types first at a prompt.
    const bool bare = arguments.empty();
    if (bare)
        options->mode = ModeOfOwnName();
    Frwk::Mode::SetWyvarionId(kProductIds[options->mode]);
    if ((options->service || bare) && RunAsService(*options, status))
        return status;
    if (options->service) {
        return Complain(ExitStatus::kBadUsage,
                        "--service is for the service manager, which did not start this");
    }
    return RunHost(*options, nullptr);
}

}  // namespace

}  // namespace DevHost

int main() {
    try {
        return DevHost::Run();
    } catch (const std::exception& error) {
        return DevHost::Complain(DevHost::ExitStatus::kFailure, error.what());
    }
}
