#pragma once

// The settings that the API sets: kept for the life of the host, and echoed.

#include <json/value.h>

#include <cstdint>
#include <map>
#include <mutex>

#include "devhost/ApiRouter.h"

namespace DevHost {

// Must outlive the router that its handlers are entered in. Any thread may call.
class SettingsStore {
public:
    void AddTo(ApiRouter& router);

    // The last accepted request of this API number; null when there was none.
    Json::Value Get(std::uint32_t apiId) const;

private:
    ApiAnswer Keep(std::uint32_t apiId, Json::Value settings);

    mutable std::mutex m_Mutex;
    std::map<std::uint32_t, Json::Value> m_mapSettings;
};

}  // namespace DevHost
