#include "utilRPC/RpcTrackingTable.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "utilRPC/rpc_platform.h"

namespace Result = KrCommon::Result;
using KrCommon::Synchronize::SingleLock;

namespace {

constexpr const char* kLogSource = "RpcClientManager";
constexpr const wchar_t* kLogModule = L"utilRPC";

}  // namespace

std::uint32_t CRpcTrackingTable::Add(const std::string& trackingId,
                                     const std::string& clientSessionKey, TrackingCallback callback,
                                     void* context) {
    const SingleLock tracking(m_csTracking);
    if (m_mapTracking.contains(trackingId))
        return Result::kTrackingIdExists;
    {
        const SingleLock client(m_csClient);
        ClientRecord& owner = m_mapClient[clientSessionKey];
        if (owner.hEvent != nullptr)
            return Result::kRecordGoingAway;
        owner.setTrackingID.insert(trackingId);
    }
    m_mapTracking.emplace(trackingId,
                          TrackingRecord{callback, context, 0, false, clientSessionKey});
    return Result::kSuccess;
}

std::uint32_t CRpcTrackingTable::BeginDelivery(const std::string& trackingId,
                                               TrackingRecord& record) {
    const SingleLock tracking(m_csTracking);
    const auto found = m_mapTracking.find(trackingId);
    if (found == m_mapTracking.end())
        return Result::kUnknownTrackingId;
    if (found->second.bDelete)
        return Result::kRecordGoingAway;
    // The copy comes first: without memory for it nothing has begun.
    record = found->second;
    record.uiRefCount = ++found->second.uiRefCount;
    return Result::kSuccess;
}

std::uint32_t CRpcTrackingTable::Erase(const char* trackingId) {
    if (trackingId == nullptr)
        return Result::kInvalidArgument;
    {
        const SingleLock tracking(m_csTracking);
        const auto found = m_mapTracking.find(trackingId);
        if (found == m_mapTracking.end())
            return Result::kNotFound;
        found->second.bDelete = true;
    }
    return Remove(trackingId, false);
}

std::uint32_t CRpcTrackingTable::Remove(const char* trackingId, bool decrement) {
    if (trackingId == nullptr || *trackingId == '\0')
        return Result::kInvalidArgument;
    const SingleLock tracking(m_csTracking);
    const auto found = m_mapTracking.find(trackingId);
    if (found == m_mapTracking.end()) {
        WY_LOG_INFO << L"Tracking ID not exist, szTrackingID: " << trackingId;
        return Result::kNotFound;
    }
    TrackingRecord& record = found->second;
    if (decrement && record.uiRefCount > 0)
        --record.uiRefCount;
    if (!record.bDelete || record.uiRefCount != 0) {
        WY_LOG_INFO << L"Tracking ID still use, szTrackingID: " << trackingId << L", bDelete =  "
                    << record.bDelete << L", uiRefCount =  " << record.uiRefCount;
        return Result::kRecordInUse;
    }
    // Taken out as it is, so that the end of a delivery needs no memory.
    const auto node = m_mapTracking.extract(found);
    return ForgetAtClient(node.mapped().strClientSessionKey, node.key());
}

std::uint32_t CRpcTrackingTable::ForgetAtClient(const std::string& clientSessionKey,
                                                const std::string& trackingId) {
    const SingleLock client(m_csClient);
    const auto owner = m_mapClient.find(clientSessionKey);
    if (owner == m_mapClient.end()) {
        WY_LOG_INFO << L"Client ID not exist, strClientSessionKey: " << clientSessionKey;
        return Result::kNotFound;
    }
    owner->second.setTrackingID.erase(trackingId);
    if (owner->second.hEvent != nullptr && owner->second.setTrackingID.empty()) {
        RpcPlatform::SignalEvent(owner->second.hEvent);
    }
    return Result::kSuccess;
}

void CRpcTrackingTable::SetClientEvent(const std::string& clientSessionKey, void* event) {
    const SingleLock client(m_csClient);
    m_mapClient[clientSessionKey].hEvent = event;
}
