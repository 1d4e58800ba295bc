#pragma once

// The report of the outcome of an update: a record in a file, and a mail that tells the service
// where the file lies.
//
// The report is configured by FeedbackCfg.json in the product's folder of configuration, a JSON
// database:
//
//     feedbackAu       0 turns the report off; without it nothing is reported, too
//     feedbackCptName  1 adds the name of the computer to the record
//
// The record is AuFeedbackTemp.json in the product's folder, a JSON database in plain form. The
// service takes the file away when it likes.

#include <cstdint>
#include <optional>
#include <string>

#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace AuFeedback {

// Where a report goes: the destination and the number of its mail.
constexpr std::uint32_t kDestination = 0x4e0010;
constexpr std::uint32_t kMail = 36870;

constexpr wchar_t kConfigurationFile[] = L"FeedbackCfg.json";
constexpr wchar_t kRecordFile[] = L"AuFeedbackTemp.json";

// What a record tells of machine and product. A text that is not known is empty.
struct Facts {
    std::wstring strOsName;
    std::uint32_t uiLocale = 0;  // language identifier of the user interface
    std::wstring strGuid;
    std::wstring strProductId;
    std::wstring strProductVersion;
    std::wstring strAgentVersion;
    std::optional<std::wstring> computerName;  // nothing: not to be told
    std::int64_t iTime = 0;                    // seconds since 1970-01-01 UTC
};

// The record of one update with a result. Of the system's name the first 260 characters count.
// Raises std::bad_alloc.
JsonDocument BuildRecord(const Facts& facts, std::uint32_t resultCode);

// The part of the facts that the system is asked for.
namespace Platform {

// The name of the operating system, empty when it does not tell.
std::wstring OsName();
// The user's language of the user interface (GetUserDefaultUILanguage).
std::uint32_t Locale();
// The name of this computer (GetComputerNameW), empty when it has none of at most 15 characters.
std::wstring ComputerName();

}  // namespace Platform
}  // namespace AuFeedback

// Reports the result of an update to the service, if the configuration wants that.
//
// Blocks until the service has answered or the way to it has given up. Nothing fails towards the
// caller: what goes wrong stands in the log, and the record's file stays for the service. May run
// on any thread, but not two at a time, as there is one file.
void FeedbackAuError(std::uint32_t resultCode) noexcept;
