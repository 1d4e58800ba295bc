#include "WySdk/SdkMail.h"

#include <gtest/gtest.h>

#include "support/FakeClientHelper.h"

namespace {

using test_support::FakeClientHelper;
using Calls = std::vector<std::string>;

TEST(SdkMail, makes_a_helper_of_its_own_for_each_mail) {
    FakeClientHelper helpers;
    JsonDocument document;
    document[L"a"].SetUInt32(1);
    EXPECT_EQ(SendMail2Wyvarion(0x4e0009, 400000000, document), 0x20ff0000U);
    EXPECT_EQ(helpers.calls, (Calls{"construct 78 c11t1100v1.1.0l1p1r1o1 0 0 30",
                                    "mail 4e0009 400000000 0", "destroy"}));
    EXPECT_EQ(helpers.mailRequest, L"{\"a\":1}\n");
}

TEST(SdkMail, puts_the_answer_in_the_documents_place) {
    FakeClientHelper helpers;
    helpers.mailAnswer = L"{\"data\":{\"b\":2}}";
    JsonDocument document;
    document[L"a"].SetUInt32(1);
    const JsonDocument view = document;
    SendMail2Wyvarion(1, 2, document);
    EXPECT_EQ(document.ToCompactString(), L"{\"data\":{\"b\":2}}\n");
    // Other views of the request keep it.
    EXPECT_EQ(view.ToCompactString(), L"{\"a\":1}\n");
}

TEST(SdkMail, leaves_an_empty_document_for_an_answer_that_is_no_json) {
    FakeClientHelper helpers;
    helpers.mailAnswer = L"{";
    JsonDocument document;
    document[L"a"].SetUInt32(1);
    EXPECT_EQ(SendMail2Wyvarion(1, 2, document), 0x20ff0000U);
    EXPECT_TRUE(document.isNull());
}

TEST(SdkMail, leaves_nothing_of_the_request_when_the_mail_fails) {
    FakeClientHelper helpers;
    helpers.mailResult = 0xe00106ba;
    helpers.mailAnswer.clear();
    JsonDocument document;
    document[L"a"].SetUInt32(1);
    SendMail2Wyvarion(1, 2, document);
    EXPECT_TRUE(document.isNull());
}

TEST(SdkMail, makes_a_new_helper_for_the_next_mail) {
    FakeClientHelper helpers;
    JsonDocument document;
    SendMail2Wyvarion(0x4e0009, 1, document);
    SendMail2Wyvarion(0x4e0009, 2, document);
    EXPECT_EQ(helpers.calls,
              (Calls{"construct 78 c11t1100v1.1.0l1p1r1o1 0 0 30", "mail 4e0009 1 0", "destroy",
                     "construct 78 c11t1100v1.1.0l1p1r1o1 0 0 30", "mail 4e0009 2 0", "destroy"}));
}

TEST(SdkMail, returns_the_code_of_the_helper) {
    FakeClientHelper helpers;
    helpers.mailResult = 0xe00106ba;
    JsonDocument document;
    EXPECT_EQ(SendMail2Wyvarion(1, 2, document), 0xe00106baU);
    EXPECT_EQ(helpers.calls.back(), "destroy");
}

}  // namespace
