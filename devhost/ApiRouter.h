#pragma once

// Finds the handler of an API number and makes an answer of whatever comes out of it.

#include <cstdint>
#include <map>

#include "devhost/ApiTypes.h"

namespace DevHost {

// The routes are entered before the host listens and read by any thread afterwards.
class ApiRouter {
public:
    // The number that a client sends when its own table lacks the function it was asked for.
    static constexpr std::uint32_t kUnlistedFunction = 420000000;

    // Enters a handler; the first one of a number stays.
    void Add(std::uint32_t apiId, ApiHandler handler);

    // Never raises. An unknown number gives 0xe0ff000e, the number of unlisted functions
    // 0xe0ff0007, a handler that runs out of memory 0xe0ff001e, any other accident 0xe0ff0001.
    ApiAnswer Call(std::uint32_t apiId, const Json::Value& request,
                   const CallContext& caller) const;

    bool Serves(std::uint32_t apiId) const { return m_mapHandler.contains(apiId); }
    std::size_t Count() const { return m_mapHandler.size(); }

private:
    std::map<std::uint32_t, ApiHandler> m_mapHandler;
};

// The JSON of an answer: "retCode", "data", and "message" unless it is empty.
Json::Value AnswerToJson(const ApiAnswer& answer);

}  // namespace DevHost
