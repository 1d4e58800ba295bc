#include "devhost/ApiRouter.h"

#include <new>
#include <utility>

namespace DevHost {

namespace {

ApiAnswer Failure(std::uint32_t code, std::string text) {
    ApiAnswer answer;
    answer.retCode = code;
    answer.message = std::move(text);
    return answer;
}

}  // namespace

void ApiRouter::Add(std::uint32_t apiId, ApiHandler handler) {
    m_mapHandler.emplace(apiId, std::move(handler));
}

ApiAnswer ApiRouter::Call(std::uint32_t apiId, const Json::Value& request,
                          const CallContext& caller) const {
    if (apiId == kUnlistedFunction) {
        return Failure(KrCommon::Result::kInvalidArgument,
                       "the client library has no definition of this function");
    }
    const auto found = m_mapHandler.find(apiId);
    if (found == m_mapHandler.end()) {
        return Failure(KrCommon::Result::kNotFound, "no such API: " + std::to_string(apiId));
    }
    try {
        return found->second(request, caller);
    } catch (const RequestError& error) {
        return Failure(error.Code(), error.what());
    } catch (const std::bad_alloc&) {
        return Failure(KrCommon::Result::kOutOfMemory, "out of memory");
    } catch (const std::exception& error) {
        return Failure(KrCommon::Result::kFailure, error.what());
    }
}

Json::Value AnswerToJson(const ApiAnswer& answer) {
    Json::Value root(Json::objectValue);
    root["retCode"] = answer.retCode;
    root["data"] = answer.data;
    if (!answer.message.empty())
        root["message"] = answer.message;
    return root;
}

}  // namespace DevHost
