#pragma once

#include <cstdint>

#include "lib/KrOuterClientHelper/OuterClientMonitor.h"

class CKrRpcClientHelper;

// The session of one client helper, as the monitor thread sees it. Portable, so that the steps are
// tested without a wait.
class OuterClientReconnect : public OuterClientMonitor::Session {
public:
    // The helper must outlive this.
    explicit OuterClientReconnect(CKrRpcClientHelper& helper) : m_Helper(helper) {}

    std::uint64_t AskServiceHandle() override;
    bool TryReconnect() override;

private:
    CKrRpcClientHelper& m_Helper;
};
