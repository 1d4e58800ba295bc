// The connection to a service, by a service manager that follows a script.

#include "Common/KrCommon/KrComn_Service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/FakeServiceManager_win32.h"

namespace {

using test_support::FakeServiceManager;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr std::uint32_t kUntouched = 0xabababab;

// The handles in reach.
class OpenedService : public KrCommon::Service::Base {
public:
    OpenedService() = default;
    OpenedService(std::uintptr_t manager, std::uintptr_t service) {
        m_hManager = reinterpret_cast<SC_HANDLE>(manager);
        m_hService = reinterpret_cast<SC_HANDLE>(service);
    }
    bool HasManager() const { return m_hManager != nullptr; }
    bool HasService() const { return m_hService != nullptr; }

    bool Wait(std::uint32_t state, std::uint32_t count, std::uint32_t interval,
              std::uint32_t* status, std::uint32_t* error) {
        return WaitStatus(&state, &count, &interval, status, error);
    }
};

OpenedService Opened() {
    return {FakeServiceManager::kManager, FakeServiceManager::kService};
}

class Service : public ::testing::Test {
protected:
    FakeServiceManager m_Manager;
    std::uint32_t m_uiError = kUntouched;
};

TEST_F(Service, is_opened_with_the_access_asked_for_and_closed_service_first) {
    {
        OpenedService service;
        EXPECT_TRUE(service.Connect(GENERIC_READ, &m_uiError));
        EXPECT_TRUE(service.Open(L"a b", GENERIC_READ | GENERIC_EXECUTE, &m_uiError));
        EXPECT_EQ(m_uiError, kUntouched);
    }
    EXPECT_THAT(m_Manager.calls, ElementsAre(L"OpenSCManager 80000000", L"OpenService a b a0000000",
                                             L"Close service", L"Close manager"));
    EXPECT_EQ(m_Manager.openHandles, 0);
}

TEST_F(Service, that_cannot_be_opened_tells_why) {
    m_Manager.failures["OpenSCManagerW"] = 5;
    OpenedService service;
    EXPECT_FALSE(service.Connect(GENERIC_READ, &m_uiError));
    EXPECT_EQ(m_uiError, 5U);
    EXPECT_FALSE(service.Connect(GENERIC_READ, nullptr));
    m_Manager.failures = {{"OpenServiceW", 1060}};
    EXPECT_TRUE(service.Connect(GENERIC_READ, nullptr));
    EXPECT_FALSE(service.Open(L"x", GENERIC_READ, &m_uiError));
    EXPECT_EQ(m_uiError, 1060U);
    EXPECT_FALSE(service.Open(L"x", GENERIC_READ, nullptr));
    service.Close();
    EXPECT_EQ(m_Manager.openHandles, 0);
}

TEST_F(Service, of_an_empty_name_is_refused_without_asking_the_system) {
    OpenedService service;
    EXPECT_TRUE(service.Connect(GENERIC_READ, nullptr));
    m_Manager.calls.clear();
    EXPECT_FALSE(service.Open(L"", GENERIC_READ, &m_uiError));
    EXPECT_EQ(m_uiError, 160U);
    EXPECT_THAT(m_Manager.calls, IsEmpty());
}

TEST_F(Service, opened_again_closes_what_was_open) {
    {
        OpenedService service;
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(service.Connect(GENERIC_READ, nullptr));
            EXPECT_TRUE(service.Open(L"x", GENERIC_READ, nullptr));
            EXPECT_TRUE(service.Open(L"y", GENERIC_READ, nullptr));
            EXPECT_EQ(m_Manager.openHandles, 2);
        }
    }
    EXPECT_EQ(m_Manager.openHandles, 0);
}

TEST_F(Service, closing_leaves_a_service_without_manager_open) {
    { OpenedService service(0, FakeServiceManager::kService); }
    EXPECT_THAT(m_Manager.calls, IsEmpty());
    { OpenedService service(FakeServiceManager::kManager, 0); }
    EXPECT_THAT(m_Manager.calls, ElementsAre(L"Close manager"));
}

TEST_F(Service, closing_clears_a_handle_once_the_system_has_closed_it) {
    OpenedService service = Opened();
    m_Manager.failures["CloseServiceHandle"] = 6;
    service.Close();
    EXPECT_TRUE(service.HasManager());
    EXPECT_TRUE(service.HasService());
    m_Manager.failures.clear();
    service.Close();
    EXPECT_FALSE(service.HasManager());
    EXPECT_FALSE(service.HasService());
    m_Manager.calls.clear();
    service.Close();
    EXPECT_THAT(m_Manager.calls, IsEmpty());
}

TEST_F(Service, tells_its_state_or_why_not) {
    OpenedService service = Opened();
    m_Manager.states = {SERVICE_PAUSED};
    std::uint32_t state = 0;
    EXPECT_TRUE(service.QueryState(state, &m_uiError));
    EXPECT_EQ(state, DWORD{SERVICE_PAUSED});
    m_Manager.failures["QueryServiceStatus"] = 1115;
    EXPECT_FALSE(service.QueryState(state, &m_uiError));
    EXPECT_EQ(m_uiError, 1115U);
    EXPECT_EQ(state, DWORD{SERVICE_PAUSED});
}

TEST_F(Service, starts_without_arguments_or_tells_why_not) {
    OpenedService service = Opened();
    EXPECT_TRUE(service.Start(&m_uiError));
    EXPECT_THAT(m_Manager.calls, ElementsAre(L"StartService 0"));
    m_Manager.failures["StartServiceW"] = 1058;
    EXPECT_FALSE(service.Start(&m_uiError));
    EXPECT_EQ(m_uiError, 1058U);
}

TEST_F(Service, wait_ends_with_the_state_and_gives_all_seven_words) {
    OpenedService service = Opened();
    m_Manager.states = {SERVICE_START_PENDING, SERVICE_RUNNING};
    std::uint32_t words[8] = {};
    words[7] = kUntouched;
    EXPECT_TRUE(service.Wait(SERVICE_RUNNING, 5, 70, words, &m_uiError));
    EXPECT_THAT(words, ElementsAre(0x10, SERVICE_RUNNING, 1, 11, 22, 33, 44, kUntouched));
    EXPECT_EQ(m_uiError, kUntouched);
    EXPECT_THAT(m_Manager.calls, ElementsAre(L"Query", L"Sleep 70", L"Query"));
}

TEST_F(Service, wait_needs_neither_status_nor_error) {
    OpenedService service = Opened();
    EXPECT_TRUE(service.Wait(SERVICE_RUNNING, 1, 0, nullptr, nullptr));
    EXPECT_FALSE(service.Wait(SERVICE_STOPPED, 1, 0, nullptr, nullptr));
}

TEST_F(Service, wait_accepts_a_state_that_comes_at_the_last_question) {
    OpenedService service = Opened();
    m_Manager.states = {SERVICE_STOPPED, SERVICE_STOPPED, SERVICE_RUNNING};
    EXPECT_TRUE(service.Wait(SERVICE_RUNNING, 3, 70, nullptr, &m_uiError));
    EXPECT_EQ(m_Manager.Count(L"Sleep 70"), 2U);
}

TEST_F(Service, wait_that_runs_out_is_a_timeout_after_the_last_pause) {
    OpenedService service = Opened();
    m_Manager.states = {SERVICE_STOPPED, SERVICE_STOPPED, SERVICE_STOPPED, SERVICE_RUNNING};
    std::uint32_t words[7] = {kUntouched};
    EXPECT_FALSE(service.Wait(SERVICE_RUNNING, 3, 70, words, &m_uiError));
    EXPECT_EQ(m_uiError, 1460U);
    EXPECT_EQ(words[0], kUntouched);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(L"Query", L"Sleep 70", L"Query", L"Sleep 70", L"Query", L"Sleep 70"));
}

TEST_F(Service, wait_ends_with_a_question_that_fails) {
    OpenedService service = Opened();
    m_Manager.failures["QueryServiceStatus"] = 1115;
    EXPECT_FALSE(service.Wait(SERVICE_RUNNING, 3, 70, nullptr, &m_uiError));
    EXPECT_EQ(m_uiError, 1115U);
    EXPECT_THAT(m_Manager.calls, ElementsAre(L"Query"));
}

TEST_F(Service, wait_needs_both_handles) {
    constexpr std::uintptr_t kHandles[][2] = {
        {0, 0}, {FakeServiceManager::kManager, 0}, {0, FakeServiceManager::kService}};
    for (const auto& handles : kHandles) {
        OpenedService service(handles[0], handles[1]);
        m_uiError = kUntouched;
        EXPECT_FALSE(service.Wait(SERVICE_RUNNING, 3, 70, nullptr, &m_uiError));
        EXPECT_EQ(m_uiError, 6U);
    }
    EXPECT_EQ(m_Manager.Count(L"Query"), 0U);
}

TEST_F(Service, wait_of_no_rounds_asks_nothing_and_takes_the_state_for_zero) {
    OpenedService service = Opened();
    EXPECT_FALSE(service.Wait(SERVICE_RUNNING, 0, 70, nullptr, &m_uiError));
    EXPECT_EQ(m_uiError, 1460U);
    std::uint32_t words[7];
    std::fill(std::begin(words), std::end(words), kUntouched);
    EXPECT_TRUE(service.Wait(0, 0, 70, words, nullptr));
    EXPECT_THAT(words, ElementsAreArray({0, 0, 0, 0, 0, 0, 0}));
    EXPECT_THAT(m_Manager.calls, IsEmpty());
}

}  // namespace
