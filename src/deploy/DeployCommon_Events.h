#pragma once

// What the set-up tells the service.
//
// Each call is one mail to the plug-in that collects events, sent by a client helper of its own
// (OuterClientHelper); it blocks its thread until the service has answered. Nothing raises. Both
// functions may run on any thread.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// The events that are published by number.
namespace SetupEvent {
constexpr std::uint32_t kInstalled = 6;
constexpr std::uint32_t kUninstalling = 15;
}  // namespace SetupEvent

// Tells the service that something has happened: {"eventId": eventId}. Returns the service's code;
// 0xe0fe06ba where the service is not there.
std::uint32_t PublishEvent(std::uint32_t eventId) noexcept;

// Tells the service how the product is used: event 112 with a category, and as parameters the texts
// `ec` and `ea` and the number `ev` as decimal text. True when the code is not negative.
bool PublishUsageEvent(const std::wstring& category, const std::wstring& ec, const std::wstring& ea,
                       int ev) noexcept;

}  // namespace WyDeployHelper::DeployCommon
