#include <stdexcept>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/service/ScriptedService.h"
#include "support/service/ServiceControl.h"
#include "support/service/ServiceScript.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/RpcClientManager.h"

namespace test_support {

namespace {

constexpr DWORD kReadyTimeoutMs = 20000;
constexpr DWORD kPollMs = 10;

// Two processes that serve one endpoint would share its calls, and test programs may run at the
// same time: each has an identity of its own.
void ChooseIdentity() {
    Frwk::Mode::SetWyvarionId(L"Test" + std::to_wstring(GetCurrentProcessId()));
}

std::wstring OwnPath() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

}  // namespace

class ScriptedService::Impl {
public:
    Impl() { Start(); }
    ~Impl() { Kill(); }

    void Start() {
        std::wstring command = L"\"" + OwnPath() + L"\" " + control::kServiceOption + L" " +
                               Frwk::Mode::GetWyvarionId() + L" " +
                               std::to_wstring(GetCurrentProcessId());
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &process) == 0) {
            throw std::runtime_error("the service could not be started");
        }
        CloseHandle(process.hThread);
        m_hProcess = process.hProcess;
        WaitUntilReady();
    }

    void Kill() {
        if (m_hProcess == nullptr) {
            return;
        }
        TerminateProcess(m_hProcess, 1);
        WaitForSingleObject(m_hProcess, INFINITE);
        CloseHandle(m_hProcess);
        m_hProcess = nullptr;
    }

    Bytes Control(std::uint32_t id, const Bytes& parameter) const {
        Bytes request = Words({id});
        Append(request, parameter);
        return CallEndpoint(ServiceComponentName(), request);
    }

private:
    void WaitUntilReady() const {
        const Bytes ready = Words({control::kPing});
        for (DWORD waited = 0; Control(control::kPing, {}) != ready; waited += kPollMs) {
            if (waited > kReadyTimeoutMs) {
                throw std::runtime_error("the service does not answer");
            }
            Sleep(kPollMs);
        }
    }

    HANDLE m_hProcess = nullptr;
};

ScriptedService::ScriptedService() {
    ChooseIdentity();
    m_pImpl = std::make_unique<Impl>();
}

ScriptedService::~ScriptedService() = default;

void ScriptedService::Reset() {
    m_pImpl->Control(control::kReset, {});
}

void ScriptedService::PushReply(const Bytes& reply) {
    m_pImpl->Control(control::kPushReply, reply);
}

void ScriptedService::SetReply(const Bytes& reply) {
    m_pImpl->Control(control::kSetReply, reply);
}

void ScriptedService::SetMonitorReply(const Bytes& reply) {
    m_pImpl->Control(control::kSetMonitorReply, reply);
}

void ScriptedService::SetDelay(std::uint32_t milliseconds) {
    m_pImpl->Control(control::kSetDelay, Words({milliseconds}));
}

std::vector<Bytes> ScriptedService::TakeRequests() {
    return control::Blocks(m_pImpl->Control(control::kTakeRequests, {}));
}

std::vector<Bytes> ScriptedService::TakeMonitorRequests() {
    return control::Blocks(m_pImpl->Control(control::kTakeMonitorRequests, {}));
}

Bytes ScriptedService::Deliver(const std::string& endpoint, const Bytes& request) {
    Bytes parameter;
    control::AppendBlock(parameter, Bytes(endpoint.begin(), endpoint.end()));
    Append(parameter, request);
    return m_pImpl->Control(control::kDeliver, parameter);
}

void ScriptedService::Kill() {
    m_pImpl->Kill();
}

void ScriptedService::Restart() {
    m_pImpl->Kill();
    m_pImpl->Start();
}

}  // namespace test_support
