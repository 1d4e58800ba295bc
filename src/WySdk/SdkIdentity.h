#pragma once

// Decides at load which product this process belongs to.

// Its one object is the first static object of the library: it looks for the product's service
// host beside the library, and lets the RPC client and server choose their interface by the
// identity that was found. A native build has no modules and decides nothing.
class CSdkIdentity {
public:
    CSdkIdentity();
};
