#pragma once

// The two interfaces, as the stubs that the build generates describe them.

namespace IdlInterface {

// The description of the interface of the given mode (1: the second, anything else: the first) on
// the called side, an RPC_IF_HANDLE. Valid as long as the module is loaded.
void* OfMode(int mode);

}  // namespace IdlInterface
