#pragma once

// The table that ties asynchronous results to the caller's callback.

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "Common/KrCommon/KrComn_Synchronize.h"

struct CommandResult;

// Called for each result of a tracked command, on a thread of the callback server with no lock
// held. `in` and `out` belong to the caller of the callback. The return value is not examined.
using TrackingCallback = int (*)(const char* szTrackingID, CommandResult* in, CommandResult* out);

// One tracked command.
struct TrackingRecord {
    TrackingCallback pfnCallback = nullptr;
    void* pContext = nullptr;
    std::uint32_t uiRefCount = 0;  // deliveries running now
    bool bDelete = false;          // marked for removal
    std::string strClientSessionKey;
};

// One owner of tracked commands.
struct ClientRecord {
    std::set<std::string> setTrackingID;
    void* hEvent = nullptr;  // signalled when the set goes empty; non-null blocks new records
};

// Records and their owners, under two locks that are always taken in the order tracking, client.
//
// A record lives until it is erased, however many results arrive. A record with a running
// delivery is only marked, and goes when the last delivery ends.
class CRpcTrackingTable {
public:
    // 0xe0ff001c: the id is taken. 0xe0ff0015: the owner is going away.
    std::uint32_t Add(const std::string& trackingId, const std::string& clientSessionKey,
                      TrackingCallback callback, void* context);

    // Enters a delivery. On success `record` is a copy of the live record, and EndDelivery must
    // follow. 0xe0ff0018: unknown id. 0xe0ff0015: marked for removal.
    std::uint32_t BeginDelivery(const std::string& trackingId, TrackingRecord& record);
    void EndDelivery(const std::string& trackingId) { Remove(trackingId.c_str(), true); }

    // Marks a record and removes it if no delivery runs; otherwise 0xe0ff0016.
    // 0xe0ff000e: unknown id.
    std::uint32_t Erase(const char* trackingId);

    // Optionally ends a delivery, then removes the record if it is marked and unused.
    // 0xe0ff0007: null or empty id. 0xe0ff000e: unknown id or owner. 0xe0ff0016: still in use.
    std::uint32_t Remove(const char* trackingId, bool decrement);

    // False when a lock could not be made; the table is then unprotected.
    bool IsValid() const { return m_csTracking.IsValid() && m_csClient.IsValid(); }

    // The owner's event, as a test or a host of many clients sets it.
    void SetClientEvent(const std::string& clientSessionKey, void* event);

private:
    std::uint32_t ForgetAtClient(const std::string& clientSessionKey,
                                 const std::string& trackingId);

    KrCommon::Synchronize::CriticalSection m_csTracking;
    KrCommon::Synchronize::CriticalSection m_csClient;
    std::map<std::string, TrackingRecord, std::less<>> m_mapTracking;
    std::map<std::string, ClientRecord> m_mapClient;
};
