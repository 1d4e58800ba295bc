#include "wyctl/ApiDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "WySdk/ApiTable.h"

namespace {

using WyCtl::AllFunctions;
using WyCtl::ArgumentType;
using WyCtl::FindFunction;
using WyCtl::Function;

TEST(ApiDirectory, has_every_function_of_the_table_and_those_beside_it) {
    const auto& functions = AllFunctions();
    const auto rowless = std::count_if(functions.begin(), functions.end(),
                                       [](const Function& item) { return !item.hasRow; });
    const auto own = std::count_if(functions.begin(), functions.end(),
                                   [](const Function& item) { return !item.command.empty(); });
    EXPECT_EQ(functions.size(), 85U);
    EXPECT_EQ(rowless, 15 + 13);
    EXPECT_EQ(own, 13);
    for (const ApiDefinition& row : g_ApiDefinitions) {
        if (row.apiId != kSentinelApiId) {
            const Function* const function =
                FindFunction(std::string(row.apiName.begin(), row.apiName.end()));
            ASSERT_NE(function, nullptr);
            EXPECT_EQ(function->id, row.apiId);
        }
    }
}

TEST(ApiDirectory, arguments_follow_the_rows) {
    const Function* const scan = FindFunction("WyScan");
    ASSERT_NE(scan, nullptr);
    ASSERT_EQ(scan->arguments.size(), 3U);
    EXPECT_EQ(scan->InputCount(), 2U);
    EXPECT_EQ(WyCtl::Signature(*scan),
              "in activeSessionId: uint32, in items: list, out sessionId: string");
    EXPECT_EQ(WyCtl::Signature(*FindFunction("WyGetBigFileResult")),
              "in filterParamHighBound: uint32, out data: json");
    EXPECT_EQ(WyCtl::Signature(*FindFunction("WyUpdate")), "");
}

TEST(ApiDirectory, schedule_call_has_the_signature_of_its_declaration) {
    const Function* const schedule = FindFunction("WySetScheduleScanTime");
    ASSERT_NE(schedule, nullptr);
    EXPECT_EQ(WyCtl::Signature(*schedule), "in dayOfWeek: uint8, in hour: uint8");
}

TEST(ApiDirectory, function_without_a_row_takes_no_input) {
    const Function* const garbage = FindFunction("WyGetDiskGarbage");
    ASSERT_NE(garbage, nullptr);
    EXPECT_EQ(garbage->id, kSentinelApiId);
    EXPECT_EQ(garbage->InputCount(), 0U);
    ASSERT_EQ(garbage->arguments.size(), 3U);
    EXPECT_EQ(garbage->arguments[0].type, ArgumentType::Ignored);
}

TEST(ApiDirectory, unknown_name_or_case_is_not_found) {
    EXPECT_EQ(FindFunction("WyNothing"), nullptr);
    EXPECT_EQ(FindFunction("wyscan"), nullptr);
    EXPECT_EQ(FindFunction(""), nullptr);
}

TEST(ApiDirectory, identifier_finds_the_first_function_that_has_it) {
    ASSERT_NE(WyCtl::FindFunctionById(400012008), nullptr);
    EXPECT_EQ(WyCtl::FindFunctionById(400012008)->name, "WyPublishEvent");
    EXPECT_EQ(WyCtl::FindFunctionById(kSentinelApiId), nullptr);
    EXPECT_EQ(WyCtl::FindFunctionById(1), nullptr);
}

}  // namespace
