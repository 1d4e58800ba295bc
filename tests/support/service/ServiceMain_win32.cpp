// main() of test programs that have a ScriptedService: the tests, or the service itself.

#include <gmock/gmock.h>

#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/service/ServiceControl.h"
#include "support/service/ServiceScript.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_EndpointMap.h"

#include <shellapi.h>

namespace test_support {

namespace {

// Plays the script for every request and carries out what the test asks for.
class Service : public CIPCServerRequestCallback {
public:
    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        *ids = new std::uint32_t[1]{CIPCRequestDispatcher::kDefaultHandlerId};
        *count = 1;
        return true;
    }
    void FreeMsgID(std::uint32_t* ids) override { delete[] ids; }

    void operator()(std::uint32_t id, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override {
        const Bytes body(in.GetReadPtr(), in.GetReadPtr() + in.GetRemaining());
        const Bytes reply = Serve(id, body);
        out.WriteBytes(reply.data(), static_cast<std::uint32_t>(reply.size()));
    }

private:
    Bytes Serve(std::uint32_t id, const Bytes& body) {
        switch (id) {
            case control::kPushReply:
                m_Script.PushReply(body);
                return {};
            case control::kSetReply:
                m_Script.SetReply(body);
                return {};
            case control::kSetDelay:
                m_Script.SetDelay(control::BlockReader(body).Word());
                return {};
            case control::kTakeRequests:
                return control::FromBlocks(m_Script.TakeRequests());
            case control::kTakeMonitorRequests:
                return control::FromBlocks(m_Script.TakeMonitorRequests());
            case control::kSetMonitorReply:
                m_Script.SetMonitorReply(body);
                return {};
            case control::kDeliver:
                return Deliver(body);
            case control::kReset:
                m_Script.Reset();
                return {};
            case control::kPing:
                return Words({control::kPing});
            default: {
                Bytes request = Words({id});
                Append(request, body);
                return m_Script.Play(request);
            }
        }
    }

    static Bytes Deliver(const Bytes& parameter) {
        control::BlockReader reader(parameter);
        const Bytes endpoint = reader.Block();
        return CallEndpoint(std::wstring(endpoint.begin(), endpoint.end()), reader.Rest());
    }

    ServiceScript m_Script;
};

// Serves until the test program ends, or ends this one.
int RunService(const wchar_t* identity, const wchar_t* testProcess) {
    Frwk::Mode::SetWyvarionId(identity);
    const HANDLE test = OpenProcess(SYNCHRONIZE, FALSE, std::stoul(testProcess));
    const CComponentID component(ServiceComponentName().c_str());
    CRPCServerHelper server(component, 1000, CRPCServerParameter(RpcProtocol::kLocal));
    static Service service;
    server.RegisterHandler(&service);
    WaitForSingleObject(test, INFINITE);
    ExitProcess(0);
}

}  // namespace

}  // namespace test_support

int main(int argc, char** argv) {
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count == 4 && std::wstring(arguments[1]) == test_support::control::kServiceOption) {
        return test_support::RunService(arguments[2], arguments[3]);
    }
    LocalFree(arguments);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
