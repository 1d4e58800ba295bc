// The stub allocator of both interfaces: plain malloc and free.

#include <cstdlib>

#include "Common/KrCommon/KrComn_Windows.h"

#include <rpc.h>
#include <rpcndr.h>

extern "C" {

void* __RPC_USER MIDL_user_allocate(size_t size) {
    return std::malloc(size);
}

void __RPC_USER MIDL_user_free(void* block) {
    std::free(block);
}

}  // extern "C"
