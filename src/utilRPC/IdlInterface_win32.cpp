#include "utilRPC/IdlInterface.h"

#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/rpc_mode.h"

#include <rpc.h>

// The generated descriptions.
extern "C" {
extern RPC_IF_HANDLE A_Server_ISendA_v1_0_s_ifspec;
extern RPC_IF_HANDLE B_Server_ISendB_v1_0_s_ifspec;
}

void* IdlInterface::OfMode(int mode) {
    return mode == RpcMode::kSecond ? B_Server_ISendB_v1_0_s_ifspec : A_Server_ISendA_v1_0_s_ifspec;
}
