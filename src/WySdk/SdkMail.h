#pragma once

// One mail to the product plug-in.

#include <cstdint>

#include "lib/wycommon/WyCommon_JsonDocument.h"

// Sends the document as one mail and puts the answer in its place.
//
// `destId` is a MailDestination, `mailId` the mail number, which for API calls is the API's
// identifier. The answer is an empty document when the call failed or its text is no JSON.
// Returns the plug-in's verdict or a transport code.
//
// Each call makes a client helper of its own, so calls may run on any number of threads at once;
// each blocks its thread until the answer is there. Raises std::bad_alloc.
std::uint32_t SendMail2Wyvarion(std::uint32_t destId, std::uint32_t mailId, JsonDocument& document);
