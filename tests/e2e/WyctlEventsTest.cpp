// wyctl.exe takes events that other processes publish through the host.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "e2e/ServiceHost.h"

namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const char* kHead = "     event  content\n";
constexpr const char* kGone = "note: the service does not answer, waiting for it\n";
constexpr const char* kBack = "note: the service is back, subscribed again\n";

class WyctlEvents : public ::testing::Test {
protected:
    void StartHost(std::vector<std::wstring> options = {}) {
        options.insert(options.end(), {L"--log", (m_Folder.Path() / "host.log").wstring()});
        m_Host.emplace(m_Folder.Path(), options);
    }

    // Ends it as a crash would.
    void KillHost() { m_Host.reset(); }

    std::string HostLog() const { return ReadTextFile(m_Folder.Path() / "host.log"); }

    // A watcher of event 7, which has subscribed.
    void StartWatcher(std::vector<std::wstring> options = {}) {
        options.insert(options.begin(), {L"events", L"7"});
        m_Watcher.emplace(L"wyctl.exe", options, "", ChildProcess::Console::Own);
        ASSERT_TRUE(m_Watcher->WaitForOut(kHead)) << m_Watcher->Err();
    }

    // What event 7 brought, line by line.
    static std::vector<Json::Value> Contents(const std::string& out) {
        std::string lines = out.substr(std::string(kHead).size());
        const std::string prefix = "         7  ";
        for (std::size_t at = 0; (at = lines.find(prefix, at)) != std::string::npos;) {
            lines.erase(at, prefix.size());
        }
        return JsonLines(lines);
    }

    test_support::TemporaryFolder m_Folder{kTestFolder};
    std::optional<ServiceHost> m_Host;
    std::optional<ChildProcess> m_Watcher;
};

TEST_F(WyctlEvents, published_by_one_process_are_shown_by_another) {
    StartHost();
    StartWatcher({L"--count", L"1"});
    const ProgramResult other = Wyctl({L"publish", L"8"});
    EXPECT_EQ(other.exitCode, 0U) << other.err;
    const ProgramResult publisher =
        Wyctl({L"publish", L"7", L"{\"percent\":5,\"name\":\"\u00e4\u20ac\"}"});
    EXPECT_EQ(publisher.exitCode, 0U) << publisher.err;
    EXPECT_EQ(publisher.out, "published event 7\n");

    const ProgramResult watcher = m_Watcher->Wait();
    EXPECT_EQ(watcher.exitCode, 0U) << watcher.err;
    EXPECT_EQ(watcher.err, "");
    const auto events = Contents(watcher.out);
    ASSERT_EQ(events.size(), 1U) << watcher.out;
    EXPECT_EQ(events[0]["eventId"].asUInt(), 7U);
    EXPECT_EQ(events[0]["param"]["percent"].asUInt(), 5U);
    EXPECT_EQ(events[0]["param"]["name"].asString(), "\xc3\xa4\xe2\x82\xac");
}

TEST_F(WyctlEvents, of_the_host_arrive_in_order) {
    StartHost({L"--emit", L"7:200"});
    const ProgramResult result = Wyctl({L"events", L"7", L"--count", L"3", L"--json"});
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    EXPECT_EQ(result.err, "");
    const auto lines = JsonLines(result.out);
    ASSERT_EQ(lines.size(), 3U);
    const std::uint32_t first = lines[0]["event"]["param"]["number"].asUInt();
    for (std::uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(lines[i]["ok"], Json::Value(true));
        EXPECT_EQ(lines[i]["eventId"].asUInt(), 7U);
        EXPECT_EQ(lines[i]["event"]["eventId"].asUInt(), 7U);
        EXPECT_EQ(lines[i]["event"]["param"]["number"].asUInt(), first + i);
    }
}

TEST_F(WyctlEvents, flow_again_after_the_host_died_and_came_back) {
    StartHost({L"--emit", L"7:200"});
    StartWatcher();
    ASSERT_TRUE(m_Watcher->WaitForOut("\"number\":"));
    KillHost();
    ASSERT_TRUE(m_Watcher->WaitForErr(kGone)) << m_Watcher->Err();
    const std::size_t before = Contents(m_Watcher->Out()).size();
    StartHost();
    ASSERT_TRUE(m_Watcher->WaitForErr(kBack)) << m_Watcher->Err();
    // The new host publishes nothing by itself. The note says that it answers; the library may
    // still need a moment to register.
    std::size_t sent = 0;
    while (sent < 10 && Contents(m_Watcher->Out()).size() == before) {
        ++sent;
        EXPECT_EQ(Wyctl({L"publish", L"7", L"\"after\""}).exitCode, 0U);
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    ASSERT_TRUE(m_Watcher->Interrupt());
    const ProgramResult result = m_Watcher->Wait();
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    EXPECT_EQ(result.err, std::string(kGone) + kBack);
    const auto events = Contents(result.out);
    ASSERT_GT(events.size(), before) << sent << " events were published";
    EXPECT_EQ(events.back()["param"], Json::Value("after"));
}

TEST_F(WyctlEvents, interrupt_ends_with_success_and_takes_the_subscription_back) {
    StartHost();
    StartWatcher();
    EXPECT_EQ(HostLog().find("400012007"), std::string::npos) << HostLog();
    ASSERT_TRUE(m_Watcher->Interrupt());
    const ProgramResult result = m_Watcher->Wait();
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.out, kHead);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(HostLog(), HasSubstr("400012007"));
}

TEST_F(WyctlEvents, interrupt_while_the_host_is_gone_is_a_success) {
    StartHost();
    StartWatcher();
    KillHost();
    ASSERT_TRUE(m_Watcher->WaitForErr(kGone)) << m_Watcher->Err();
    ASSERT_TRUE(m_Watcher->Interrupt());
    const ProgramResult result = m_Watcher->Wait();
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.err, kGone);
}

TEST_F(WyctlEvents, refused_by_the_host_are_a_failure) {
    StartHost({L"--fault", L"api:400012006 x* skip 1 retcode 0xe0ff001e"});
    const ProgramResult result = Wyctl({L"events", L"7", L"9", L"--count", L"1"});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("WySubscribeEvent failed with 0xe0ff001e: out of memory"));
}

TEST_F(WyctlEvents, example_of_the_readme_publishes_and_takes_one) {
    StartHost();
    const ProgramResult result = ChildProcess(L"ReadmeExample.exe", {}).Wait();
    EXPECT_EQ(result.exitCode, 0U) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    const std::size_t end = result.out.find('\n');
    ASSERT_NE(end, std::string::npos);
    EXPECT_THAT(result.out.substr(0, end),
                ::testing::MatchesRegex("\\d+ of \\d+ bytes are in use"));
    const Json::Value event = OneJsonLine(result.out.substr(end + 1));
    EXPECT_EQ(event["eventId"].asUInt(), 7U);
    EXPECT_EQ(event["param"]["percent"].asUInt(), 5U);
}

TEST_F(WyctlEvents, list_knows_that_the_library_exports_the_subscription_calls) {
    const ProgramResult result = Wyctl({L"list"});
    EXPECT_EQ(result.exitCode, 0U);
    for (const std::string name : {"\nWySubscribeEvent ", "\nWyUnsubscribeEvent "}) {
        const std::size_t start = result.out.find(name);
        ASSERT_NE(start, std::string::npos) << name;
        const std::string line =
            result.out.substr(start + 1, result.out.find('\n', start + 1) - start - 1);
        EXPECT_THAT(line, HasSubstr("[needs a callback, see 'wyctl events']"));
        EXPECT_THAT(line, ::testing::Not(HasSubstr("not exported")));
    }
}

}  // namespace
