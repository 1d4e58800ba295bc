// Events that processes share by name.

#include "Common/KrCommon/KrComn_Event.h"

#include <gtest/gtest.h>

namespace {

using KrCommon::AccessControl::kEvent;
using KrCommon::AccessControl::SecurityAttributes;
using KrCommon::Synchronize::Event;

constexpr wchar_t kName[] = L"WyEventTest";
constexpr wchar_t kGlobalName[] = L"Global\\WyEventTest";

TEST(NamedEvent, is_made_clear_in_the_global_namespace) {
    SecurityAttributes attributes(kEvent, false);
    Event event;
    EXPECT_EQ(event.Get(), nullptr);
    std::uint32_t error = 77;
    ASSERT_TRUE(event.CreateMultipleGlobal(kName, Event::Reset::kManual, attributes, &error));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_TIMEOUT});
    const HANDLE other = OpenEventW(EVENT_MODIFY_STATE, FALSE, kGlobalName);
    ASSERT_NE(other, nullptr);
    SetEvent(other);
    CloseHandle(other);
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_OBJECT_0}) << "resets by hand alone";
}

TEST(NamedEvent, that_resets_itself_is_seen_once) {
    SecurityAttributes attributes(kEvent, false);
    Event event;
    ASSERT_TRUE(event.CreateMultipleGlobal(kName, Event::Reset::kAutomatic, attributes, nullptr));
    SetEvent(event.Get());
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(NamedEvent, that_exists_is_opened_as_it_is) {
    SecurityAttributes attributes(kEvent, false);
    const HANDLE former = CreateEventW(nullptr, TRUE, TRUE, kGlobalName);
    Event event;
    EXPECT_TRUE(event.CreateMultipleGlobal(kName, Event::Reset::kAutomatic, attributes, nullptr));
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_OBJECT_0});
    CloseHandle(former);
}

TEST(NamedEvent, lets_go_of_the_name_when_it_is_closed) {
    SecurityAttributes attributes(kEvent, false);
    Event event;
    ASSERT_TRUE(event.CreateMultipleGlobal(kName, Event::Reset::kManual, attributes, nullptr));
    ASSERT_TRUE(
        event.CreateMultipleGlobal(L"WyEventTest2", Event::Reset::kManual, attributes, nullptr));
    EXPECT_EQ(OpenEventW(EVENT_MODIFY_STATE, FALSE, kGlobalName), nullptr) << "the former one";
    event.Close();
    EXPECT_EQ(event.Get(), nullptr);
    EXPECT_EQ(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"Global\\WyEventTest2"), nullptr);
}

TEST(NamedEvent, that_cannot_be_made_leaves_the_former_one) {
    SecurityAttributes attributes(kEvent, false);
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"Global\\WyEventTestMutex");
    Event event;
    ASSERT_TRUE(event.CreateMultipleGlobal(kName, Event::Reset::kManual, attributes, nullptr));
    const HANDLE former = event.Get();
    std::uint32_t error = 0;
    EXPECT_FALSE(
        event.CreateMultipleGlobal(L"WyEventTestMutex", Event::Reset::kManual, attributes, &error));
    EXPECT_EQ(error, DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(event.Get(), former);
    CloseHandle(mutex);
}

}  // namespace
