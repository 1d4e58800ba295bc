#pragma once

// Scripted misbehaviour.
//
//     script    = { statement ( ";" | newline ) } ; "#" begins a comment up to the end of the line
//     statement = target { option } action { "," action }
//     target    = "api:" NUMBER | "mail:" NUMBER | "cmd:" NUMBER | "any"
//     action    = "unknown-client"          failure envelope with 0x803
//               | "fail" NUMBER             failure envelope with this code
//               | "delay" MILLISECONDS      waits before it goes on, at most ten minutes
//               | "bytes" HEX               these bytes are the whole reply; "bytes -" is none
//               | "truncate" COUNT          only the first COUNT bytes of the reply
//               | "omit" FIELD              the reply lacks mailresult packer child json body
//                                           bodyid resultcode, or the answer retcode data
//               | "mistype" FIELD           the same field is there and of another type
//               | "size" BYTES              the reply is stretched to this size by blanks behind
//                                           its JSON text, as far as pairs of bytes go
//               | "mailresult" NUMBER       MAILRESULT becomes this value
//               | "resultcode" NUMBER       the result code of the reply becomes this value
//               | "retcode" NUMBER          "retCode" of the answer becomes this value
//               | "text" TEXT               TEXT takes the place of the answer's JSON text; it runs
//                                           to the end of the statement
//               | "texthex" HEX             the same, as the bytes of the UTF-8 text
//               | "crash"                   the process ends in mid-call
//               | "crash-restart" [MS]      the same, and a successor starts and listens after
//                                           this time
//               | "restart"                 the call is answered; then the host stops and a
//                                           successor starts
//     option    = "x" COUNT | "x*"          how many requests (1 unless given), or all
//               | "skip" COUNT              this many matching requests pass first
//               | "nth" COUNT               acts from the COUNT-th matching request on; those
//                                           before it count whatever becomes of them, and are
//                                           left to other statements
//
// A NUMBER is decimal or, with 0x, hexadecimal. "cmd" is the id of the envelope, "mail" the number
// of a mail to any destination, "api" that of a mail to the API. Of the statements that match a
// request and have requests left, the first one alone acts (or counts down its "skip").

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devhost/HostWire.h"

namespace DevHost {

// What is to go wrong with one request; empty when nothing is.
struct FaultPlan {
    enum class End { kNone, kCrash, kCrashRestart, kRestart };

    std::uint32_t delayMs = 0;
    std::optional<std::uint32_t> failure;
    std::optional<std::vector<std::uint8_t>> bytes;
    std::optional<std::uint32_t> truncate;
    std::optional<std::uint32_t> mailResult;
    std::optional<std::uint32_t> resultCode;
    std::optional<std::uint32_t> retCode;
    std::optional<std::string> text;  // UTF-8
    std::optional<std::uint32_t> size;
    ReplyPieces omit;
    ReplyPieces mistype;
    bool omitRetCode = false;
    bool omitData = false;
    bool mistypeRetCode = false;
    bool mistypeData = false;
    End end = End::kNone;
    std::uint32_t absenceMs = 0;  // between a crash and the successor's endpoint
};

// What a request is known by.
struct FaultSubject {
    std::uint32_t commandId = 0;
    std::optional<std::uint32_t> mailId;
    bool isApi = false;
};

// A parsed script. Any thread may match; parsing belongs to one thread, before the host listens.
class FaultScript {
public:
    FaultScript() = default;
    FaultScript(const FaultScript&) = delete;
    FaultScript& operator=(const FaultScript&) = delete;

    // Adds the statements of a script. False on a mistake, with the statement and the reason in
    // `error`; nothing of the script is then added.
    bool Parse(const std::string& script, std::string& error);

    // Counts the request and says what is to go wrong with it.
    FaultPlan Match(const FaultSubject& subject);

    // The script that is left, in the form that Parse takes.
    std::string Remaining() const;

    bool IsEmpty() const;

private:
    enum class Target { kApi, kMail, kCommand, kAny };
    struct Statement {
        Target target = Target::kAny;
        std::uint32_t number = 0;
        FaultPlan plan;
        std::string targetText;   // as written
        std::string actionsText;  // as written
        std::uint64_t skip = 0;
        std::uint64_t ahead = 0;  // of "nth": matching requests that come before its own
        std::optional<std::uint64_t> count = 1;  // nothing: all requests
    };
    class Parser;

    static bool Matches(const Statement& statement, const FaultSubject& subject);

    mutable std::mutex m_Mutex;
    std::vector<Statement> m_vecStatement;
};

}  // namespace DevHost
