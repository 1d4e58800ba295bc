#pragma once

// Comparison data that the product fetches from its servers. This host has no servers: every
// answer is made up and says so by "sample": true.

#include <json/value.h>

#include <functional>
#include <string>

#include "devhost/ApiRouter.h"

namespace DevHost {

// The names of what a scan session found at start-up, for the samples to be about something:
// programs or services. Raises RequestError for an unknown session.
struct StartupNames {
    std::function<std::vector<std::string>(const std::string& sessionId)> programs;
    std::function<std::vector<std::string>(const std::string& sessionId)> services;
};

namespace CloudSamples {

void AddTo(ApiRouter& router, const StartupNames& names);

// A made-up rank: the share of machines, in per cent, that take longer to start than this one.
std::uint32_t RankOf(std::uint32_t bootupSeconds);

// A start-up of up to this many seconds counts as quick.
constexpr std::uint32_t kQuickStartSeconds = 40;

}  // namespace CloudSamples
}  // namespace DevHost
