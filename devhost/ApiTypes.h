#pragma once

// What a handler of an API number takes and gives: a JSON object in, a result code and a JSON
// object out.

#include <json/value.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"

namespace DevHost {

// Who is calling, as the mail says. None of it is verified.
struct CallContext {
    std::string sessionKey;  // callback endpoint of the sender
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
};

// The answer to one call. `retCode` and `data` stand at the root of the JSON that goes back;
// `message` joins them when it is not empty and says in words what failed.
struct ApiAnswer {
    std::uint32_t retCode = KrCommon::Result::kSuccess;
    Json::Value data{Json::objectValue};
    std::string message;
};

// Serves one API number. Runs on threads of the RPC runtime, several at a time. May raise
// RequestError, which becomes its answer.
using ApiHandler = std::function<ApiAnswer(const Json::Value& request, const CallContext& caller)>;

// A call that cannot be served: becomes an answer with this code and text, and no data.
class RequestError : public std::exception {
public:
    RequestError(std::uint32_t code, std::string text)
        : m_uiCode(code), m_strText(std::move(text)) {}

    std::uint32_t Code() const { return m_uiCode; }
    const char* what() const noexcept override { return m_strText.c_str(); }

private:
    std::uint32_t m_uiCode;
    std::string m_strText;
};

// Codes of this host beyond the shared ones: failures of a system call, as the product reports
// them (0xe0fe0000 and the system's number).
constexpr std::uint32_t kAccessDenied = KrCommon::Result::FromSystem(5);
constexpr std::uint32_t kCancelled = KrCommon::Result::FromSystem(1223);

}  // namespace DevHost
