#pragma once

#include "devhost/EventHub.h"

namespace DevHost {

// Delivers events by calling the client's own endpoint.
class RpcEventChannel : public EventChannel {
public:
    Outcome Deliver(const Client& client, const std::wstring& json) override;
};

}  // namespace DevHost
