#include "WySdk/SdkIdentity.h"
#include "utilMode/ExternalDllMode.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

CSdkIdentity::CSdkIdentity() {
    // Kept for as long as the program: its construction is what counts.
    static const Frwk::Mode::ExternalDllMode s_Mode(L"WySdk.dll", L"WySvcHost.exe");
    CRPCClient::ReadMode();
    CRPCServer::ReadMode();
}
