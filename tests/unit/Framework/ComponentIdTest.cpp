#include "Framework/utilIPC/ipc_component_id.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ComponentId, name_of_uuid_length_is_kept_whole) {
    const std::wstring uuid = L"0f8fad5b-d9cb-469f-a165-70867728950e";
    ASSERT_EQ(uuid.size(), 36U);
    EXPECT_EQ(std::wstring(CComponentID(uuid.c_str()).GetName()), uuid);
}

TEST(ComponentId, name_of_127_characters_is_kept_whole) {
    const std::wstring name(127, L'x');
    EXPECT_EQ(std::wstring(CComponentID(name.c_str()).GetName()), name);
}

TEST(ComponentId, longer_name_is_cut_at_127_characters) {
    const std::wstring name = std::wstring(127, L'x') + L"yz";
    EXPECT_EQ(std::wstring(CComponentID(name.c_str()).GetName()), std::wstring(127, L'x'));
}

TEST(ComponentId, null_name_gives_an_empty_text) {
    EXPECT_EQ(std::wstring(CComponentID(nullptr).GetName()), L"");
}

TEST(ComponentId, empty_name_stays_empty) {
    EXPECT_EQ(std::wstring(CComponentID(L"").GetName()), L"");
}

TEST(ComponentId, assignment_copies_the_text) {
    CComponentID left(L"left");
    {
        const CComponentID right(L"KR_Wyvarion_RPC_MASTER");
        left = right;
    }
    EXPECT_EQ(std::wstring(left.GetName()), L"KR_Wyvarion_RPC_MASTER");
}

TEST(ComponentId, assignment_of_a_shorter_text_leaves_nothing_behind) {
    CComponentID left(L"a long name");
    left = CComponentID(L"b");
    EXPECT_EQ(std::wstring(left.GetName()), L"b");
}

TEST(ComponentId, name_does_not_follow_the_buffer_it_was_made_from) {
    wchar_t text[] = L"first";
    const CComponentID id(text);
    text[0] = L'x';
    EXPECT_EQ(std::wstring(id.GetName()), L"first");
}

}  // namespace
