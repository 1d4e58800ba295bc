#pragma once

// Which product this machine's settings are of.

#include "wyctl/Context.h"

namespace WyCtl {

// Gives this program the identity that the library has, which the host beside it decides. Without
// library or host the program's own name decides, as it does in the library.
void AdoptLibraryIdentity(Context& context);

}  // namespace WyCtl
