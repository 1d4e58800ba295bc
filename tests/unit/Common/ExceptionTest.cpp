#include "Common/KrCommon/KrComn_Exception.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using KrCommon::Exception::Base;
using KrCommon::Exception::Caught;
using KrCommon::Exception::Located;
using KrCommon::Exception::Raise;

template <class Derived, class Parent>
constexpr bool kIs = std::is_base_of_v<Parent, Derived>;

TEST(Exception, family) {
    static_assert(kIs<Located, Base>);
    static_assert(kIs<KrCommon::String::Exception, Located>);
    static_assert(kIs<KrCommon::Storage::Exception, Located>);
    static_assert(kIs<KrCommon::Storage::RegException, KrCommon::Storage::Exception>);
    static_assert(kIs<KrCommon::Storage::XmlException, KrCommon::Storage::Exception>);
    static_assert(kIs<KrCommon::AccessControl::Exception, Located>);
    static_assert(!kIs<KrCommon::String::Exception, KrCommon::Storage::Exception>);
    static_assert(!kIs<KrCommon::AccessControl::Exception, KrCommon::Storage::Exception>);
    static_assert(std::has_virtual_destructor_v<Base>);
    static_assert(!std::is_copy_constructible_v<KrCommon::Storage::RegException>);
}

// Runs a raise and hands what came, as one of the family, to a look at it.
template <class Type, class RaiseIt, class Look>
void ExpectRaised(RaiseIt raise, Look look) {
    bool came = false;
    try {
        raise();
    } catch (Type* raised) {
        const Caught caught(raised);
        came = true;
        look(*raised);
    }
    EXPECT_TRUE(came);
}

TEST(Exception, each_kind_is_thrown_by_pointer_and_tells_its_fields) {
    ExpectRaised<KrCommon::String::Exception>(
        [] { Raise<KrCommon::String::Exception>(6U, 12U, "File"); },
        [](const auto& raised) {
            EXPECT_EQ(raised.Code(), 6U);
            EXPECT_EQ(raised.Line(), 12U);
            EXPECT_EQ(raised.File(), "File");
        });
    ExpectRaised<KrCommon::Storage::Exception>(
        [] {
            Raise<KrCommon::Storage::RegException>(13U, 62U, "Reg", std::wstring(L"key"),
                                                   std::wstring(L"value"));
        },
        [](const auto& raised) {
            EXPECT_EQ(raised.Code(), 13U);
            EXPECT_EQ(raised.Line(), 62U);
            EXPECT_EQ(raised.File(), "Reg");
            const auto& ofValue = dynamic_cast<const KrCommon::Storage::RegException&>(raised);
            EXPECT_EQ(ofValue.KeyPath(), L"key");
            EXPECT_EQ(ofValue.ValueName(), L"value");
        });
    ExpectRaised<KrCommon::Storage::XmlException>(
        [] { Raise<KrCommon::Storage::XmlException>(13U, 1U, "Xml", 7, 9, std::string("words")); },
        [](const auto& raised) {
            EXPECT_EQ(raised.XmlLine(), 7);
            EXPECT_EQ(raised.XmlColumn(), 9);
            EXPECT_EQ(raised.Text(), "words");
        });
    ExpectRaised<KrCommon::Storage::XmlException>(
        [] { Raise<KrCommon::Storage::XmlException>(13U, 1U, "Xml"); },
        [](const auto& raised) {
            EXPECT_EQ(raised.XmlLine(), 0);
            EXPECT_EQ(raised.XmlColumn(), 0);
            EXPECT_EQ(raised.Text(), "");
        });
    ExpectRaised<KrCommon::AccessControl::Exception>(
        [] { Raise<KrCommon::AccessControl::Exception>(50U, 3U, "Access", 5U); },
        [](const auto& raised) {
            EXPECT_EQ(raised.Code(), 50U);
            EXPECT_EQ(raised.SystemError(), 5U);
        });
    ExpectRaised<KrCommon::AccessControl::Exception>(
        [] { Raise<KrCommon::AccessControl::Exception>(50U, 3U, "Access"); },
        [](const auto& raised) { EXPECT_EQ(raised.SystemError(), 0U); });
}

TEST(Exception, every_kind_is_caught_as_the_root) {
    ExpectRaised<Base>([] { Raise<KrCommon::String::Exception>(1U, 1U, ""); }, [](const auto&) {});
    ExpectRaised<Base>([] { Raise<KrCommon::Storage::XmlException>(1U, 1U, ""); },
                       [](const auto&) {});
    ExpectRaised<Base>([] { Raise<KrCommon::AccessControl::Exception>(1U, 1U, ""); },
                       [](const auto&) {});
}

class Counted : public KrCommon::Storage::Exception {
public:
    explicit Counted(int& alive) : Exception(1, 1, ""), m_Alive(alive) { ++m_Alive; }
    ~Counted() override { --m_Alive; }

private:
    int& m_Alive;
};

TEST(Exception, caught_one_is_deleted_whole_at_the_end_of_the_scope) {
    int alive = 0;
    ExpectRaised<Base>([&] { Raise<Counted>(alive); }, [&](const auto&) { EXPECT_EQ(alive, 1); });
    EXPECT_EQ(alive, 0);
}

}  // namespace
