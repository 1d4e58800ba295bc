#pragma once

// Measurements of the machine, and what there is to know and to do about its processes.

#include <functional>

#include "devhost/ApiRouter.h"
#include "devhost/Sampler.h"

namespace DevHost {

// Must outlive the router that its handlers are entered in, as must what it is made of.
class MonitoringHandlers {
public:
    // A machine without input for this long is idle.
    static constexpr std::uint64_t kIdleAfterMs = 5 * 60 * 1000;

    // `isBusy` tells whether the host is at work on something that must not be disturbed.
    MonitoringHandlers(SystemProbe& probe, Sampler& sampler, bool allowKill,
                       std::function<bool()> isBusy);

    void AddTo(ApiRouter& router);

private:
    ApiAnswer BootupTime() const;
    ApiAnswer Battery() const;
    ApiAnswer Memory() const;
    ApiAnswer Disks() const;
    ApiAnswer Network() const;
    ApiAnswer Processes() const;
    ApiAnswer IdleTimeframe(const Json::Value& request) const;
    ApiAnswer AppStatus(const Json::Value& request) const;
    ApiAnswer ForceKill(const Json::Value& request) const;
    // The processes whose executable has this name, with or without ".exe", in any case.
    std::vector<ProcessFacts> Named(const Json::Value& request) const;

    SystemProbe& m_Probe;
    Sampler& m_Sampler;
    bool m_bAllowKill;
    std::function<bool()> m_fnIsBusy;
};

}  // namespace DevHost
