// What client and server ask of the platform: every argument of every call, and what they do when
// the platform refuses. The calls are replaced in this program's import table.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "RpcServing.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/IdlServerHelper.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server_callback.h"

#include <objbase.h>
#include <rpc.h>

using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using test_support::Call;
using test_support::IatPatch;
using test_support::Id;
using test_support::IsFailure;
using test_support::kEcho77;
using test_support::LogRecorder;
using test_support::Serving;

namespace {

std::wstring Text(const void* text) {
    return text != nullptr ? static_cast<const wchar_t*>(text) : L"(null)";
}

// The calls that were made, in order, and the statuses that are given.
std::vector<std::wstring> s_Calls;
RPC_STATUS s_Status = RPC_S_OK;
RPC_STATUS s_SecondStatus = RPC_S_OK;
unsigned long s_Level = 6;

class Recorded : public testing::Test {
protected:
    void SetUp() override {
        s_Calls.clear();
        s_Status = RPC_S_OK;
        s_SecondStatus = RPC_S_OK;
        s_Level = 6;
    }
    static HMODULE Program() { return GetModuleHandleW(nullptr); }
};

// ---- the client's binding

RPC_STATUS RPC_ENTRY ComposeRecorded(RPC_WSTR object, RPC_WSTR protocol, RPC_WSTR address,
                                     RPC_WSTR endpoint, RPC_WSTR options, RPC_WSTR* binding) {
    s_Calls.push_back(L"compose " + Text(object) + L" " + Text(protocol) + L" '" + Text(address) +
                      L"' " + Text(endpoint) + L" " + Text(options));
    static wchar_t s_szText[] = L"text";
    *binding = s_Status == RPC_S_OK ? reinterpret_cast<RPC_WSTR>(s_szText) : nullptr;
    return s_Status;
}

// The recorded text is nobody's.
RPC_STATUS RPC_ENTRY ForgetText(RPC_WSTR* text) {
    *text = nullptr;
    return RPC_S_OK;
}
IatPatch* s_pFromText = nullptr;

// A binding that leads nowhere, or none when the platform refuses.
RPC_STATUS RPC_ENTRY FromTextRecorded(RPC_WSTR text, RPC_BINDING_HANDLE* binding) {
    s_Calls.push_back(L"binding from " + Text(text));
    *binding = nullptr;
    if (s_Status != RPC_S_OK)
        return s_Status;
    wchar_t nobody[] = L"ncalrpc:[KR_nobody]";
    return s_pFromText->Original<RPC_STATUS RPC_ENTRY(RPC_WSTR, RPC_BINDING_HANDLE*)>()(
        reinterpret_cast<RPC_WSTR>(nobody), binding);
}
RPC_STATUS RPC_ENTRY SetAuthRecorded(RPC_BINDING_HANDLE, RPC_WSTR principal, unsigned long level,
                                     unsigned long service, RPC_AUTH_IDENTITY_HANDLE identity,
                                     unsigned long authorization) {
    s_Calls.push_back(L"auth " + Text(principal) + L" level " + std::to_wstring(level) +
                      L" service " + std::to_wstring(service) + L" identity " +
                      (identity == nullptr ? L"none" : L"some") + L" authorization " +
                      std::to_wstring(authorization));
    return s_Status;
}

class RpcClientBinding : public Recorded {
protected:
    RpcClientBinding()
        : m_Compose(Program(), "rpcrt4.dll", "RpcStringBindingComposeW", ComposeRecorded),
          m_FromText(Program(), "rpcrt4.dll", "RpcBindingFromStringBindingW", FromTextRecorded),
          m_SetAuth(Program(), "rpcrt4.dll", "RpcBindingSetAuthInfoW", SetAuthRecorded),
          m_FreeText(Program(), "rpcrt4.dll", "RpcStringFreeW", ForgetText) {
        s_pFromText = &m_FromText;
    }
    ~RpcClientBinding() override { s_pFromText = nullptr; }

    static std::vector<std::wstring> Create(const wchar_t* component, const wchar_t* address,
                                            const wchar_t* protocol) {
        CRPCClient client;
        client.Create(CComponentID(component), CRPCClientParameter(address, protocol));
        client.Destroy();
        return s_Calls;
    }

    const IatPatch m_Compose;
    IatPatch m_FromText;
    const IatPatch m_SetAuth;
    const IatPatch m_FreeText;
};

TEST_F(RpcClientBinding, local_binding_has_level_1_and_ntlm) {
    EXPECT_EQ(
        Create(L"KR_Wyvarion_RPC_MASTER", L"here", L"ncalrpc"),
        (std::vector<std::wstring>{
            L"compose (null) ncalrpc 'here' KR_Wyvarion_RPC_MASTER (null)", L"binding from text",
            L"auth (null) level 1 service 10 identity none authorization 0"}));
}

TEST_F(RpcClientBinding, pipe_binding_has_its_path_and_packet_privacy) {
    EXPECT_EQ(Create(L"abc", L"server", L"ncacn_np"),
              (std::vector<std::wstring>{
                  L"compose (null) ncacn_np 'server' \\pipe\\abc (null)", L"binding from text",
                  L"auth (null) level 6 service 10 identity none authorization 0"}));
}

TEST_F(RpcClientBinding, pipe_protocol_counts_in_any_case) {
    EXPECT_EQ(Create(L"abc", L"server", L"NCACN_NP"),
              (std::vector<std::wstring>{
                  L"compose (null) NCACN_NP 'server' \\pipe\\abc (null)", L"binding from text",
                  L"auth (null) level 6 service 10 identity none authorization 0"}));
}

TEST_F(RpcClientBinding, helper_binds_locally_with_an_empty_address) {
    const CRPCClientHelper helper(CComponentID(L"abc"));
    ASSERT_EQ(s_Calls.size(), 3U);
    EXPECT_EQ(s_Calls[0], L"compose (null) ncalrpc '' abc (null)");
}

TEST_F(RpcClientBinding, refusals_are_not_looked_at_and_show_at_the_first_request) {
    s_Status = RPC_S_OUT_OF_MEMORY;
    const LogRecorder log;
    CRPCClientHelper helper(CComponentID(L"abc"));
    // Without a text there is nothing to bind, and nothing to give authentication to.
    EXPECT_EQ(s_Calls.size(), 1U);
    EXPECT_EQ(log.CountContaining(L": [ERROR] "), 0U);
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << 1U;
    helper.SendRequest(in, out);
    std::uint32_t marker = 0;
    std::uint32_t code = 0;
    out >> marker >> code;
    EXPECT_EQ(marker, 2U);
    EXPECT_EQ(code, static_cast<std::uint32_t>(RPC_S_INVALID_BINDING));
}

TEST(RpcClientLog, creation_and_destruction_are_logged) {
    const LogRecorder log;
    {
        CRPCClient client;
        client.Create(CComponentID(L"abc"), CRPCClientParameter(L"here", L"ncalrpc"));
        client.Destroy();
    }
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{
                  L"utilRPC: [INFO] component id:abc address: here, protocol:ncalrpc",
                  L"utilRPC: [INFO] CRPCEndpointMap::CRPCEndpointMap(), endpoint: abc",
                  L"utilRPC: [INFO] GetEndpoint(), endpoint:abc",
                  L"utilRPC: [INFO] binding string: ncalrpc:here[abc]",
                  L"utilRPC: [INFO] register with SSP ", L"utilRPC: [INFO] CRPCClient::Destroy",
                  L"utilRPC: [INFO] CRPCClient::Destroy"}));
}

int s_iTextsFreed = 0;
int s_iBindingsFreed = 0;
IatPatch* s_pFreeText = nullptr;
IatPatch* s_pFreeBinding = nullptr;

RPC_STATUS RPC_ENTRY FreeTextCounted(RPC_WSTR* text) {
    ++s_iTextsFreed;
    return s_pFreeText->Original<RPC_STATUS RPC_ENTRY(RPC_WSTR*)>()(text);
}
RPC_STATUS RPC_ENTRY FreeBindingCounted(RPC_BINDING_HANDLE* binding) {
    ++s_iBindingsFreed;
    return s_pFreeBinding->Original<RPC_STATUS RPC_ENTRY(RPC_BINDING_HANDLE*)>()(binding);
}

TEST_F(Recorded, destruction_frees_text_and_binding_once) {
    IatPatch text(Program(), "rpcrt4.dll", "RpcStringFreeW", FreeTextCounted);
    IatPatch binding(Program(), "rpcrt4.dll", "RpcBindingFree", FreeBindingCounted);
    s_pFreeText = &text;
    s_pFreeBinding = &binding;
    s_iTextsFreed = 0;
    s_iBindingsFreed = 0;
    CRPCClient client;
    client.Destroy();
    EXPECT_EQ(s_iTextsFreed + s_iBindingsFreed, 0);
    client.Create(CComponentID(L"abc"), CRPCClientParameter(L"here", L"ncalrpc"));
    client.Destroy();
    client.Destroy();
    EXPECT_EQ(s_iTextsFreed, 1);
    EXPECT_EQ(s_iBindingsFreed, 1);
}

void WINAPI DebugTextRecorded(LPCWSTR text) {
    s_Calls.push_back(text);
}

TEST_F(Recorded, request_of_zero_length_is_told_to_the_debugger_and_makes_no_call) {
    const IatPatch patch(Program(), "kernel32.dll", "OutputDebugStringW", DebugTextRecorded);
    CRPCClientHelper client(CComponentID(L"KR_nobody_RPC_MASTER"));
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    client.SendRequest(in, out);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"CRPCClient::SendRequest(), lInSize is zero"}));
    EXPECT_EQ(out.GetLength(), 0U);
}

// ---- the server's registration

RPC_STATUS RPC_ENTRY RegisterIfRecorded(RPC_IF_HANDLE, UUID* type, RPC_MGR_EPV* vector,
                                        unsigned int flags, unsigned int calls,
                                        RPC_IF_CALLBACK_FN* callback) {
    s_Calls.push_back(
        std::wstring(L"interface type ") + (type == nullptr ? L"none" : L"some") + L" vector " +
        (vector == nullptr ? L"none" : L"some") + L" flags " + std::to_wstring(flags) + L" calls " +
        std::to_wstring(calls) + L" callback " +
        (callback == nullptr ? L"none"
         : reinterpret_cast<void*>(callback) == reinterpret_cast<void*>(RpcServerIfCallback)
             ? L"ours"
             : L"another"));
    return s_Status;
}
RPC_STATUS RPC_ENTRY UseEndpointRecorded(RPC_WSTR protocol, unsigned int calls, RPC_WSTR endpoint,
                                         void* security) {
    s_Calls.push_back(L"endpoint " + Text(protocol) + L" calls " + std::to_wstring(calls) + L" " +
                      Text(endpoint) + L" security " + (security == nullptr ? L"none" : L"some"));
    return s_Status;
}
RPC_STATUS RPC_ENTRY RegisterAuthRecorded(RPC_WSTR principal, unsigned long service,
                                          RPC_AUTH_KEY_RETRIEVAL_FN key, void* argument) {
    s_Calls.push_back(L"auth " + Text(principal) + L" service " + std::to_wstring(service) +
                      (key == nullptr && argument == nullptr ? L" no key" : L" key"));
    return s_SecondStatus;
}
RPC_STATUS RPC_ENTRY UnregisterIfRecorded(RPC_IF_HANDLE, UUID* type, unsigned int wait) {
    s_Calls.push_back(std::wstring(L"unregister type ") + (type == nullptr ? L"none" : L"some") +
                      L" wait " + std::to_wstring(wait));
    return RPC_S_OK;
}

class RpcServerRegistration : public Recorded {
protected:
    RpcServerRegistration()
        : m_RegisterIf(Program(), "rpcrt4.dll", "RpcServerRegisterIfEx", RegisterIfRecorded),
          m_UseEndpoint(Program(), "rpcrt4.dll", "RpcServerUseProtseqEpW", UseEndpointRecorded),
          m_RegisterAuth(Program(), "rpcrt4.dll", "RpcServerRegisterAuthInfoW",
                         RegisterAuthRecorded),
          m_UnregisterIf(Program(), "rpcrt4.dll", "RpcServerUnregisterIf", UnregisterIfRecorded) {}

    const IatPatch m_RegisterIf;
    const IatPatch m_UseEndpoint;
    const IatPatch m_RegisterAuth;
    const IatPatch m_UnregisterIf;
};

TEST_F(RpcServerRegistration, local_server_registers_without_a_check_and_opens_its_endpoint) {
    CRPCServer server;
    EXPECT_EQ(server.Create(CComponentID(L"abc"), CRPCServerParameter(L"ncalrpc")), 0U);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{
                           L"interface type none vector none flags 1 calls 1234 callback none",
                           L"endpoint ncalrpc calls 10 abc security none",
                           L"auth (null) service 10 no key"}));
}

TEST_F(RpcServerRegistration, local_protocol_counts_in_any_case) {
    CRPCServer server;
    const LogRecorder log;
    server.Create(CComponentID(L"abc"), CRPCServerParameter(L"NCALRPC"));
    EXPECT_EQ(s_Calls[0], L"interface type none vector none flags 1 calls 1234 callback none");
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] component id:abc, protocol: NCALRPC"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] security Level: Local RPC Server"));
}

TEST_F(RpcServerRegistration, remote_server_registers_with_the_check) {
    CRPCServer server;
    const LogRecorder log;
    server.Create(CComponentID(L"abc"), CRPCServerParameter(L"ncacn_np"));
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{
                           L"interface type none vector none flags 1 calls 1234 callback ours",
                           L"endpoint ncacn_np calls 10 \\pipe\\abc security none",
                           L"auth (null) service 10 no key"}));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] security Level: Remote RPC Server"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] AddNewEndpoint(), endpoint: \\pipe\\abc"));
}

TEST_F(RpcServerRegistration, protocol_that_is_longer_than_the_local_one_is_remote) {
    CRPCServer server;
    server.Create(CComponentID(L"abc"), CRPCServerParameter(L"ncalrpc2"));
    EXPECT_EQ(s_Calls[0], L"interface type none vector none flags 1 calls 1234 callback ours");
}

TEST_F(RpcServerRegistration, status_of_the_authentication_service_is_the_answer) {
    s_SecondStatus = RPC_S_UNKNOWN_AUTHN_SERVICE;
    CRPCServer server;
    EXPECT_EQ(server.Create(CComponentID(L"abc"), CRPCServerParameter(L"ncalrpc")),
              static_cast<std::uint32_t>(RPC_S_UNKNOWN_AUTHN_SERVICE));
}

TEST_F(RpcServerRegistration, duplicate_endpoint_is_warned_of_and_all_goes_on) {
    s_Status = RPC_S_DUPLICATE_ENDPOINT;
    const LogRecorder log;
    CRPCServer* server = CreateServer(Id(L"abc"), CRPCServerParameter(L"ncalrpc"));
    ASSERT_NE(server, nullptr);
    EXPECT_TRUE(log.Has(kWarning, L"utilRPC: [WARN] AddNewEndpoint(), duplicate endpoint"));
    EXPECT_EQ(s_Calls.size(), 3U);
    DestroyServer(server, 1000);
}

TEST_F(RpcServerRegistration, other_refusals_pass_without_a_word) {
    s_Status = RPC_S_OUT_OF_MEMORY;
    s_SecondStatus = RPC_S_OUT_OF_MEMORY;
    const LogRecorder log;
    CRPCServer* server = CreateServer(Id(L"abc"), CRPCServerParameter(L"ncalrpc"));
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(s_Calls.size(), 3U);
    EXPECT_EQ(log.CountContaining(L": [WARN] ") + log.CountContaining(L": [ERROR] "), 0U);
    DestroyServer(server, 1000);
}

TEST_F(RpcServerRegistration, added_endpoint_is_opened_under_the_protocol_of_the_server) {
    CRPCServer* server = CreateServer(Id(L"abc"), CRPCServerParameter(L"ncacn_np"));
    ASSERT_NE(server, nullptr);
    s_Calls.clear();
    EXPECT_EQ(CreateServer(Id(L"def"), CRPCServerParameter(L"ncalrpc")), server);
    EXPECT_EQ(s_Calls,
              (std::vector<std::wstring>{L"endpoint ncacn_np calls 10 \\pipe\\def security none"}));
    s_Calls.clear();
    DestroyServer(server, 1000);
    EXPECT_TRUE(s_Calls.empty());
    DestroyServer(server, 1000);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"unregister type none wait 1"}));
}

TEST_F(RpcServerRegistration, shutdown_takes_the_interface_back_and_waits) {
    CRPCServer server;
    const LogRecorder log;
    server.Shutdown(5);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"unregister type none wait 1"}));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CRPCServer::Shutdown"));
}

// ---- the check of callers from outside

RPC_STATUS RPC_ENTRY InquireRecorded(RPC_BINDING_HANDLE binding, RPC_AUTHZ_HANDLE* privileges,
                                     RPC_WSTR* principal, unsigned long* level,
                                     unsigned long* service, unsigned long* authorization) {
    s_Calls.push_back(std::wstring(L"inquire ") + (binding != nullptr ? L"it" : L"null") +
                      (privileges != nullptr && level != nullptr && service != nullptr &&
                               principal == nullptr && authorization == nullptr
                           ? L" for privileges, level and service"
                           : L" for something else"));
    *level = s_Level;
    return s_Status;
}
RPC_STATUS RPC_ENTRY ImpersonateRecorded(RPC_BINDING_HANDLE) {
    s_Calls.push_back(L"impersonate");
    return s_SecondStatus;
}
RPC_STATUS RPC_ENTRY RevertRecorded() {
    s_Calls.push_back(L"revert");
    return RPC_S_OK;
}

class RpcServerCheck : public Recorded {
protected:
    RpcServerCheck()
        : m_Inquire(Program(), "rpcrt4.dll", "RpcBindingInqAuthClientW", InquireRecorded),
          m_Impersonate(Program(), "rpcrt4.dll", "RpcImpersonateClient", ImpersonateRecorded),
          m_Revert(Program(), "rpcrt4.dll", "RpcRevertToSelf", RevertRecorded) {}

    static long Check() {
        int binding = 0;
        return RpcServerIfCallback(nullptr, &binding);
    }

    const IatPatch m_Inquire;
    const IatPatch m_Impersonate;
    const IatPatch m_Revert;
};

const wchar_t* const kInquire = L"inquire it for privileges, level and service";

TEST_F(RpcServerCheck, caller_at_packet_privacy_that_can_be_impersonated_passes) {
    const LogRecorder log;
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{kInquire, L"impersonate", L"revert"}));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CRPCServer::RpcServerIfCallback"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] ulAuthnLevel:6"));
}

TEST_F(RpcServerCheck, caller_that_cannot_be_asked_about_is_denied) {
    s_Status = RPC_S_BINDING_HAS_NO_AUTH;
    const LogRecorder log;
    EXPECT_EQ(Check(), 5);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{kInquire}));
    EXPECT_TRUE(log.Has(kWarning, L"utilRPC: [WARN] Failed on RpcBindingInqAuthClient()1746"));
}

TEST_F(RpcServerCheck, caller_at_any_other_level_is_denied) {
    for (const unsigned long level : {0UL, 1UL, 2UL, 3UL, 4UL, 5UL, 7UL}) {
        SetUp();
        s_Level = level;
        EXPECT_EQ(Check(), 5) << level;
        EXPECT_EQ(s_Calls, (std::vector<std::wstring>{kInquire})) << level;
    }
}

TEST_F(RpcServerCheck, caller_that_cannot_be_impersonated_is_denied) {
    s_SecondStatus = RPC_S_NO_CONTEXT_AVAILABLE;
    const LogRecorder log;
    EXPECT_EQ(Check(), 5);
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{kInquire, L"impersonate"}));
    EXPECT_TRUE(log.Has(kWarning, L"utilRPC: [WARN] Failed on RpcImpersonateClient(), 5"));
}

// ---- the thread of a call

HRESULT WINAPI CoInitializeRecorded(void* reserved, DWORD flags) {
    s_Calls.push_back(std::wstring(L"initialize ") + (reserved == nullptr ? L"null " : L"some ") +
                      std::to_wstring(flags));
    return s_Status == RPC_S_OK ? S_OK : E_OUTOFMEMORY;
}
void WINAPI CoUninitializeRecorded() {
    s_Calls.push_back(L"uninitialize");
}

class RpcServerThread : public Recorded {
protected:
    RpcServerThread()
        : m_Initialize(Program(), "ole32.dll", "CoInitializeEx", CoInitializeRecorded),
          m_Uninitialize(Program(), "ole32.dll", "CoUninitialize", CoUninitializeRecorded) {}

    static void Serve() {
        const std::uint8_t request[] = {77, 0, 0, 0};
        std::int32_t size = 0;
        std::uint8_t* block = nullptr;
        IdlServerHelper::ServeRequest(4, request, &size, &block);
        std::free(block);
    }

    const IatPatch m_Initialize;
    const IatPatch m_Uninitialize;
};

TEST_F(RpcServerThread, com_is_there_for_the_length_of_a_call) {
    const Serving serving(
        L"RpcPlatformTest_com",
        [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) { s_Calls.push_back(L"call"); });
    Serve();
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"initialize null 0", L"call", L"uninitialize"}));
}

TEST_F(RpcServerThread, com_that_was_refused_is_not_given_back_and_the_call_goes_on) {
    const Serving serving(
        L"RpcPlatformTest_com",
        [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) { s_Calls.push_back(L"call"); });
    s_Status = RPC_S_OUT_OF_MEMORY;
    Serve();
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"initialize null 0", L"call"}));
}

TEST_F(RpcServerThread, com_is_given_back_when_the_call_fails) {
    const Serving serving(L"RpcPlatformTest_com", [](std::uint32_t, CIPCMsgBuffer&,
                                                     CIPCMsgBuffer&) { throw std::bad_alloc(); });
    Serve();
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"initialize null 0", L"uninitialize"}));
}

TEST_F(RpcServerThread, call_without_a_server_needs_no_com) {
    ASSERT_EQ(DefaultServer(), nullptr);
    Serve();
    EXPECT_TRUE(s_Calls.empty());
}

// ---- identifiers

RPC_STATUS RPC_ENTRY NoUuidText(const UUID*, RPC_CSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}
HRESULT WINAPI NoGuid(GUID*) {
    return E_FAIL;
}

TEST_F(Recorded, uuid_whose_text_is_refused_is_none) {
    const IatPatch patch(Program(), "rpcrt4.dll", "UuidToStringA", NoUuidText);
    const LogRecorder log;
    char text[37] = "before";
    EXPECT_EQ(CRpcClientManager::CreateUUID(text, 37), 0xe0ff0004U);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] CreateUUID() create uuid failed"));
}

TEST_F(Recorded, status_of_the_guid_itself_is_not_looked_at) {
    const IatPatch patch(Program(), "ole32.dll", "CoCreateGuid", NoGuid);
    char text[37] = "before";
    EXPECT_EQ(CRpcClientManager::CreateUUID(text, 37), 0x20ff0000U);
    EXPECT_EQ(std::strlen(text), 36U);
}

TEST_F(Recorded, manager_without_a_uuid_has_no_server_and_its_life_goes_on) {
    const IatPatch patch(Program(), "rpcrt4.dll", "UuidToStringA", NoUuidText);
    const LogRecorder log;
    {
        const CRpcClientManager manager(nullptr, 1000);
        EXPECT_STREQ(manager.GetClientSessionKey(), "");
        EXPECT_EQ(DefaultServer(), nullptr);
    }
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] Create UUID Fail!"));
}

// ---- the interface of each identity

class RpcIdentity : public testing::Test {
protected:
    static void Become(const wchar_t* identity) {
        Frwk::Mode::SetWyvarionId(identity);
        CRPCClient::ReadMode();
        CRPCServer::ReadMode();
    }
    void TearDown() override { Become(L"Wyvarion"); }
};

TEST_F(RpcIdentity, mode_is_read_and_logged_once_for_client_and_server) {
    const LogRecorder log;
    Become(L"Tavrenox");
    EXPECT_EQ(CRPCClient::GetMode(), 1);
    EXPECT_EQ(CRPCServer::GetMode(), 1);
    EXPECT_EQ(log.CountContaining(L"m_eWyMode = 1"), 2U);
}

TEST_F(RpcIdentity, each_of_the_first_two_identities_speaks_its_own_interface) {
    for (const wchar_t* identity : {L"Wyvarion", L"Tavrenox"}) {
        Become(identity);
        const std::wstring name = std::wstring(L"RpcPlatformTest_") + identity;
        const Serving serving(name);
        EXPECT_EQ(Call(name), kEcho77);
    }
}

TEST_F(RpcIdentity, client_of_one_identity_is_refused_by_the_server_of_the_other) {
    Become(L"Wyvarion");
    const std::wstring name = L"RpcPlatformTest_other";
    const Serving serving(name);
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    CRPCClient::ReadMode();
    EXPECT_TRUE(IsFailure(Call(name)));
    Become(L"Wyvarion");
    EXPECT_EQ(Call(name), kEcho77);
}

TEST_F(RpcIdentity, third_identity_has_no_interface_for_a_client) {
    Become(L"Mirdoshale");
    const LogRecorder log;
    const std::string answer = Call(L"RpcPlatformTest_third");
    EXPECT_TRUE(IsFailure(answer)) << answer;
    EXPECT_EQ(log.CountContaining(L": [ERROR] CRPCClientHelper::CRPCClientHelper(),"), 1U);
}

TEST_F(RpcIdentity, third_identity_has_no_interface_for_a_server) {
    Become(L"Mirdoshale");
    const LogRecorder log;
    EXPECT_EQ(CreateServer(Id(L"RpcPlatformTest_third"), CRPCServerParameter(L"ncalrpc")), nullptr);
    EXPECT_EQ(DefaultServer(), nullptr);
    EXPECT_EQ(log.CountContaining(L": [ERROR] CRpcServer::CreateServer() fail, "), 1U);
}

}  // namespace
