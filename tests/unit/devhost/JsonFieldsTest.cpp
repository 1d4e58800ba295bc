#include "devhost/JsonFields.h"

#include <gtest/gtest.h>

#include "devhost/ApiTypes.h"
#include "unit/devhost/TestJson.h"

namespace {

using DevHost::JsonFields;
using DevHost::RequestError;

TEST(JsonFields, only_an_object_is_a_request) {
    for (const char* text : {"null", "1", "\"x\"", "[]", "true"}) {
        const Json::Value value = ParseJson(text);
        EXPECT_THROW(JsonFields{value}, RequestError) << text;
    }
}

TEST(JsonFields, values_of_the_right_type_are_read) {
    const Json::Value value = ParseJson(
        R"({"a": 4294967295, "b": 18446744073709551615, "c": "t", "d": ["x", ""], "e": null})");
    const JsonFields fields(value);
    EXPECT_EQ(fields.UInt32("a"), 4294967295U);
    EXPECT_EQ(fields.UInt64("b"), 18446744073709551615ULL);
    EXPECT_EQ(fields.UInt64("a"), 4294967295ULL);
    EXPECT_EQ(fields.Text("c"), "t");
    EXPECT_EQ(fields.TextList("d"), (std::vector<std::string>{"x", ""}));
    EXPECT_TRUE(fields.Member("e").isNull());
    EXPECT_TRUE(fields.Has("e"));
    EXPECT_FALSE(fields.Has("f"));
}

TEST(JsonFields, wrong_types_are_refused_with_the_name_of_the_field) {
    const char* const values[] = {"-1",   "4294967296", "1.5", "1e300", "\"1\"",
                                  "null", "[]",         "{}",  "true"};
    for (const char* text : values) {
        const Json::Value value = ParseJson(std::string("{\"key\": ") + text + "}");
        const JsonFields fields(value);
        try {
            fields.UInt32("key");
            ADD_FAILURE() << text;
        } catch (const RequestError& error) {
            EXPECT_EQ(error.Code(), KrCommon::Result::kInvalidArgument);
            EXPECT_NE(std::string(error.what()).find("\"key\""), std::string::npos);
        }
    }
    const Json::Value value =
        ParseJson(R"({"negative": -1, "huge": 1e300, "number": 1, "mixed": ["a", 1]})");
    const JsonFields fields(value);
    EXPECT_THROW(fields.UInt64("negative"), RequestError);
    EXPECT_THROW(fields.UInt64("huge"), RequestError);
    EXPECT_THROW(fields.Text("number"), RequestError);
    EXPECT_THROW(fields.TextList("number"), RequestError);
    EXPECT_THROW(fields.TextList("mixed"), RequestError);
    EXPECT_THROW(fields.Member("absent"), RequestError);
    EXPECT_THROW(fields.UInt32("absent"), RequestError);
}

TEST(JsonFields, lengths_have_limits) {
    Json::Value value(Json::objectValue);
    value["fits"] = std::string(JsonFields::kTextLimit, 'x');
    value["long"] = std::string(JsonFields::kTextLimit + 1, 'x');
    value["many"] = Json::Value(Json::arrayValue);
    value["many"][static_cast<Json::ArrayIndex>(JsonFields::kListLimit)] = "last";
    const JsonFields fields(value);
    EXPECT_EQ(fields.Text("fits").size(), JsonFields::kTextLimit);
    EXPECT_THROW(fields.Text("long"), RequestError);
    EXPECT_THROW(fields.TextList("many"), RequestError);
}

}  // namespace
