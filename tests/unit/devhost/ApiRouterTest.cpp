#include "devhost/ApiRouter.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {

using DevHost::ApiAnswer;
using DevHost::ApiRouter;
using DevHost::CallContext;
using DevHost::RequestError;

ApiAnswer CallOne(const DevHost::ApiHandler& handler) {
    ApiRouter router;
    router.Add(1, handler);
    return router.Call(1, Json::Value(Json::objectValue), {});
}

TEST(ApiRouter, handler_gets_request_and_caller) {
    ApiRouter router;
    router.Add(7, [](const Json::Value& request, const CallContext& caller) {
        ApiAnswer answer;
        answer.data["seen"] = request["x"];
        answer.data["pid"] = caller.processId;
        return answer;
    });
    Json::Value request(Json::objectValue);
    request["x"] = 5;
    const ApiAnswer answer = router.Call(7, request, {"key", 42, 43});
    EXPECT_EQ(answer.retCode, KrCommon::Result::kSuccess);
    EXPECT_EQ(answer.data["seen"].asInt(), 5);
    EXPECT_EQ(answer.data["pid"].asUInt(), 42U);
    EXPECT_TRUE(router.Serves(7));
    EXPECT_FALSE(router.Serves(8));
}

TEST(ApiRouter, first_handler_of_a_number_stays) {
    ApiRouter router;
    router.Add(1, [](const Json::Value&, const CallContext&) { return ApiAnswer{1, {}, ""}; });
    router.Add(1, [](const Json::Value&, const CallContext&) { return ApiAnswer{2, {}, ""}; });
    EXPECT_EQ(router.Call(1, Json::Value(), {}).retCode, 1U);
    EXPECT_EQ(router.Count(), 1U);
}

TEST(ApiRouter, unknown_number_is_not_found) {
    const ApiAnswer answer = ApiRouter().Call(5, Json::Value(), {});
    EXPECT_EQ(answer.retCode, KrCommon::Result::kNotFound);
    EXPECT_NE(answer.message.find("5"), std::string::npos);
}

TEST(ApiRouter, unlisted_functions_are_an_invalid_argument) {
    EXPECT_EQ(ApiRouter().Call(420000000, Json::Value(Json::objectValue), {}).retCode, 0xe0ff0007U);
}

TEST(ApiRouter, accidents_of_a_handler_become_codes) {
    EXPECT_EQ(CallOne([](const Json::Value&, const CallContext&) -> ApiAnswer {
                  throw RequestError(0xe0ff0016, "busy");
              }).retCode,
              0xe0ff0016U);
    EXPECT_EQ(CallOne([](const Json::Value&, const CallContext&) -> ApiAnswer {
                  throw std::bad_alloc();
              }).retCode,
              KrCommon::Result::kOutOfMemory);
    const ApiAnswer answer = CallOne([](const Json::Value&, const CallContext&) -> ApiAnswer {
        throw std::runtime_error("broken");
    });
    EXPECT_EQ(answer.retCode, KrCommon::Result::kFailure);
    EXPECT_EQ(answer.message, "broken");
    // What jsoncpp raises for a value of the wrong type.
    EXPECT_EQ(CallOne([](const Json::Value& request, const CallContext&) {
                  return ApiAnswer{request["absent"].asUInt() + Json::Value("x").asUInt(), {}, ""};
              }).retCode,
              KrCommon::Result::kFailure);
}

TEST(AnswerToJson, message_stands_only_where_there_is_one) {
    ApiAnswer answer;
    answer.data["x"] = 1;
    Json::Value json = DevHost::AnswerToJson(answer);
    EXPECT_EQ(json["retCode"].asUInt(), 0x20ff0000U);
    EXPECT_EQ(json["data"]["x"].asInt(), 1);
    EXPECT_FALSE(json.isMember("message"));
    answer.message = "why";
    json = DevHost::AnswerToJson(answer);
    EXPECT_EQ(json["message"].asString(), "why");
}

}  // namespace
