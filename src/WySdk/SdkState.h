#pragma once

// The state of the library that lives from its load to its unload.

#include <boost/thread/mutex.hpp>

#include <cstdint>
#include <map>
#include <string>

#include <WySdk/WySdk.h>

#include "lib/wycommon/WyCommon_Proxy.h"

class CKrRpcClientHelper;

// Held by subscription calls and event dispatch for their whole length, also across the remote
// call and across the application's callback, and by WySetProxy, WyStartService and WyStopService.
// Not recursive.
extern boost::mutex g_ApiMutex;

// The callback of each event that the service has accepted a subscription for. Guarded by
// g_ApiMutex.
extern std::map<std::uint32_t, WyEventCallback> g_EventCallbacks;

// What the last WySetProxy that succeeded has stored; empty at load. Guarded by g_ApiMutex.
extern WyCommon::Utility::ProxySettings g_ProxySettings;

// The name given to the last WyInitialize that got as far as to register; empty at load. The
// service knows this process's subscriptions by it.
extern std::wstring g_strProductId;

// The session, owned: null when there is none. Set and cleared by WyInitialize and WyUninitialize
// alone, which the application does not call at the same time as each other. Deliberately no
// smart pointer: when the library is unloaded with an open session, nothing may be sent.
extern CKrRpcClientHelper* g_pClientHelper;
