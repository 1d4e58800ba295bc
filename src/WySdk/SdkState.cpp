#include "WySdk/SdkState.h"

#include "WySdk/SdkIdentity.h"

// All state stands in this one file, because static objects are made in the order of one file
// only, and the identity must be decided before anything else. The API table between lock and map
// needs no line here: it is constant data.
namespace {

const CSdkIdentity s_Identity;

}  // namespace

boost::mutex g_ApiMutex;
std::map<std::uint32_t, WyEventCallback> g_EventCallbacks;
WyCommon::Utility::ProxySettings g_ProxySettings;
std::wstring g_strProductId;
CKrRpcClientHelper* g_pClientHelper = nullptr;
