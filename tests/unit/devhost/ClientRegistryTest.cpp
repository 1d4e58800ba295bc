#include "devhost/ClientRegistry.h"

#include <gtest/gtest.h>

namespace {

using DevHost::Client;
using DevHost::ClientRegistry;

std::string Key(unsigned number) {
    std::string text = std::to_string(number);
    return "01234567-89ab-cdef-0123-" + std::string(12 - text.size(), '0') + text;
}

Client MakeClient(unsigned number, std::uint32_t processId) {
    return {Key(number), Key(number), processId, L"client"};
}

TEST(EndpointKey, only_the_text_form_of_a_uuid_is_taken) {
    EXPECT_TRUE(DevHost::IsEndpointKey(Key(1)));
    EXPECT_TRUE(DevHost::IsEndpointKey("01234567-89AB-CDEF-0123-0123456789ab"));
    for (const char* bad :
         {"", "x", "01234567-89ab-cdef-0123-0123456789a", "01234567-89ab-cdef-0123-0123456789abc",
          "01234567_89ab-cdef-0123-0123456789ab", "0123456g-89ab-cdef-0123-0123456789ab",
          "01234567-89ab-cdef-0123-0123456789a\\"}) {
        EXPECT_FALSE(DevHost::IsEndpointKey(bad)) << bad;
    }
}

TEST(ClientRegistry, registered_client_is_found_by_key_and_by_process) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    EXPECT_EQ(registry.Register(MakeClient(1, 100), replaced), ClientRegistry::Outcome::kAdded);
    EXPECT_EQ(registry.Register(MakeClient(2, 200), replaced), ClientRegistry::Outcome::kAdded);
    EXPECT_TRUE(replaced.empty());
    EXPECT_EQ(registry.Find(Key(2), 0)->processId, 200U);
    EXPECT_EQ(registry.Find("unknown", 100)->key, Key(1));
    EXPECT_FALSE(registry.Find("unknown", 300).has_value());
    EXPECT_EQ(registry.All().size(), 2U);
}

TEST(ClientRegistry, a_process_replaces_its_older_registration) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    registry.Register(MakeClient(1, 100), replaced);
    EXPECT_EQ(registry.Register(MakeClient(2, 100), replaced), ClientRegistry::Outcome::kReplaced);
    EXPECT_EQ(replaced, std::vector<std::string>{Key(1)});
    EXPECT_FALSE(registry.Find(Key(1), 0).has_value());
    EXPECT_EQ(registry.All().size(), 1U);
}

TEST(ClientRegistry, bad_keys_and_process_ids_are_refused) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    Client client = MakeClient(1, 100);
    client.key = "not a key";
    EXPECT_EQ(registry.Register(client, replaced), ClientRegistry::Outcome::kBadKey);
    EXPECT_EQ(registry.Register(MakeClient(1, DevHost::kNoProcess), replaced),
              ClientRegistry::Outcome::kBadKey);
    EXPECT_TRUE(registry.All().empty());
}

TEST(ClientRegistry, the_table_has_a_limit) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    for (unsigned i = 0; i < ClientRegistry::kLimit; ++i) {
        ASSERT_EQ(registry.Register(MakeClient(i, i + 1), replaced),
                  ClientRegistry::Outcome::kAdded);
    }
    EXPECT_EQ(registry.Register(MakeClient(5000, 5000), replaced), ClientRegistry::Outcome::kFull);
    EXPECT_EQ(registry.Register(MakeClient(5001, 1), replaced), ClientRegistry::Outcome::kReplaced);
}

TEST(ClientRegistry, unregister_takes_out_by_key_then_by_process) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    registry.Register(MakeClient(1, 100), replaced);
    registry.Register(MakeClient(2, 200), replaced);
    EXPECT_EQ(registry.Unregister(Key(2), 100)->processId, 200U);
    EXPECT_EQ(registry.Unregister("other", 100)->key, Key(1));
    EXPECT_FALSE(registry.Unregister(Key(1), 100).has_value());
}

TEST(ClientRegistry, unregister_by_tracking_id) {
    ClientRegistry registry;
    std::vector<std::string> replaced;
    Client client = MakeClient(1, 100);
    client.trackingId = "tracked";
    registry.Register(client, replaced);
    EXPECT_FALSE(registry.UnregisterTracking("other").has_value());
    EXPECT_EQ(registry.UnregisterTracking("tracked")->key, Key(1));
    EXPECT_TRUE(registry.All().empty());
}

}  // namespace
