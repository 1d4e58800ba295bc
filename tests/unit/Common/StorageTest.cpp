#include "Common/KrCommon/KrComn_Storage.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using namespace KrCommon::Storage;

constexpr std::uint32_t kUntouched = 0x5a5a5a5a;

// A backend that has what every backend must have, and nothing else.
class Smallest : public Base {
public:
    ~Smallest() override { ++s_iDeleted; }
    bool OpenForRead(const Key&, const std::wstring&) override { return true; }
    bool OpenForWrite(const Key&, const std::wstring&) override { return true; }
    void Close(const bool&) override {}
    void Flush() override {}
    using Base::ReadDword;
    using Base::ReadString;
    std::wstring ReadString(const std::wstring&, const std::wstring&) override { return L"read"; }
    std::uint32_t ReadDword(const std::wstring&, const std::uint32_t&) override { return 1; }
    bool WriteString(const std::wstring&, const std::wstring&) override { return true; }
    bool WriteDword(const std::wstring&, const std::uint32_t&) override { return true; }
    bool DeleteSelf() override { return true; }
    bool DeleteValue(const wchar_t*) override { return true; }
    bool DeleteValue(const std::wstring&) override { return true; }

    static int s_iDeleted;
};
int Smallest::s_iDeleted = 0;

TEST(Storage, what_a_backend_does_not_support_gives_the_stated_result) {
    Smallest store;
    Base& base = store;
    const Key key(Key::kRegistry, nullptr, nullptr);
    std::uint32_t error = kUntouched;
    Binary binary = {9};
    List list = {L"before"};
    EXPECT_FALSE(base.OpenForDelete(key, {}));
    EXPECT_FALSE(base.OpenForEnum(key, {}));
    EXPECT_FALSE(base.ReadBinary(L"n", binary, &error));
    EXPECT_FALSE(base.ReadBinary(L"n", binary));
    EXPECT_EQ(base.ReadString(L"n", L"default", &error), L"default");
    EXPECT_EQ(base.ReadQword(L"n", 77, &error), 0U);
    EXPECT_EQ(base.ReadQword(L"n", 77), 0U);
    EXPECT_EQ(base.ReadDword(L"n", 77, &error), 77U);
    EXPECT_FALSE(base.WriteBinary(L"n", {1}));
    EXPECT_FALSE(base.WriteQword(L"n", 1));
    EXPECT_FALSE(base.EnumSubKeys(list));
    EXPECT_FALSE(base.EnumValues(list));
    EXPECT_EQ(error, kUntouched);
    EXPECT_EQ(binary, Binary{9});
    EXPECT_EQ(list, List{L"before"});
    EXPECT_EQ(base.ReadString(L"n", L"default", nullptr), L"default");
    EXPECT_EQ(base.ReadQword(L"n", 77, nullptr), 0U);
    EXPECT_EQ(base.ReadDword(L"n", 77, nullptr), 77U);
    EXPECT_FALSE(base.ReadBinary(L"n", binary, nullptr));
}

TEST(Storage, backend_is_deleted_through_the_interface) {
    Smallest::s_iDeleted = 0;
    const Base* const store = new Smallest;
    delete store;
    EXPECT_EQ(Smallest::s_iDeleted, 1);
}

// The slot of a virtual operation: GCC and Clang keep its offset, plus one, in the pointer to it.
template <class Member>
std::size_t SlotOf(Member member) {
    std::size_t word = 0;
    static_assert(sizeof member >= sizeof word);
    std::memcpy(&word, &member, sizeof word);
    return (word - 1) / sizeof(void*);
}

TEST(Storage, operations_stand_in_their_order) {
    using Text = const std::wstring&;
    const std::size_t slots[] = {
        SlotOf(&Base::OpenForRead),
        SlotOf(&Base::OpenForWrite),
        SlotOf(&Base::OpenForDelete),
        SlotOf(&Base::OpenForEnum),
        SlotOf(&Base::Close),
        SlotOf(&Base::Flush),
        SlotOf<bool (Base::*)(Text, Binary&, std::uint32_t*)>(&Base::ReadBinary),
        SlotOf<bool (Base::*)(Text, Binary&)>(&Base::ReadBinary),
        SlotOf<std::wstring (Base::*)(Text, Text, std::uint32_t*)>(&Base::ReadString),
        SlotOf<std::wstring (Base::*)(Text, Text)>(&Base::ReadString),
        SlotOf<std::uint64_t (Base::*)(Text, const std::uint64_t&, std::uint32_t*)>(
            &Base::ReadQword),
        SlotOf<std::uint64_t (Base::*)(Text, const std::uint64_t&)>(&Base::ReadQword),
        SlotOf<std::uint32_t (Base::*)(Text, const std::uint32_t&, std::uint32_t*)>(
            &Base::ReadDword),
        SlotOf<std::uint32_t (Base::*)(Text, const std::uint32_t&)>(&Base::ReadDword),
        SlotOf(&Base::WriteBinary),
        SlotOf(&Base::WriteString),
        SlotOf(&Base::WriteQword),
        SlotOf(&Base::WriteDword),
        SlotOf(&Base::DeleteSelf),
        SlotOf<bool (Base::*)(const wchar_t*)>(&Base::DeleteValue),
        SlotOf<bool (Base::*)(Text)>(&Base::DeleteValue),
        SlotOf(&Base::EnumSubKeys),
        SlotOf(&Base::EnumValues),
    };
    const std::size_t first = slots[0];  // behind the destructor
    for (std::size_t i = 0; i < std::size(slots); ++i)
        EXPECT_EQ(slots[i], first + i) << i;
}

TEST(Storage, key_tells_what_it_was_given) {
    const struct {
        std::uint32_t type;
        const void* location;
        const wchar_t* name;
    } rows[] = {
        {Key::kRegistry, nullptr, nullptr},
        {Key::kIniFile, L"folder", L"file.ini"},
        {Key::kRegistryAlso, L"", L""},
        {7, nullptr, L"name"},
    };
    static_assert(Key::kRegistry == 0 && Key::kIniFile == 1 && Key::kRegistryAlso == 4);
    for (const auto& row : rows) {
        const Key key(row.type, row.location, row.name);
        Key copy(0, nullptr, nullptr);
        copy = key;
        for (const Key& each : {key, copy}) {
            EXPECT_EQ(each.GetType(), row.type);
            EXPECT_EQ(each.GetLocation(), row.location);
            EXPECT_EQ(each.GetName(), row.name);
        }
    }
}

}  // namespace
