#pragma once

// The security callback of a server that can be reached from outside the machine
// (RPC_IF_CALLBACK_FN). 0 lets the caller in: it is authenticated at packet privacy and can be
// impersonated. 5 (access denied) keeps it out. No name is compared.
long __stdcall RpcServerIfCallback(void* interfaceHandle, void* binding);
