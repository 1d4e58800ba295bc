// The host as it is put together: every function of the library finds its handler, and no request
// of whatever shape gets anything but an answer.

#include "devhost/HostApplication.h"

#include <gtest/gtest.h>

#include <set>

#include "WySdk/ApiTable.h"
#include "devhost/TemporaryFiles.h"
#include "unit/devhost/FakeProbe.h"
#include "unit/devhost/TestJson.h"
#include "unit/devhost/TestTree.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::FaultPlan;
using DevHost::HostParts;
using DevHost::SearchRoot;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;

class NoChannel : public DevHost::EventChannel {
public:
    Outcome Deliver(const DevHost::Client&, const std::wstring&) override { return Outcome::kGone; }
};

class Application : public testing::Test {
protected:
    ~Application() override {
        m_Host.PrepareStop();
        EXPECT_TRUE(m_Host.Stop());
    }

    HostParts MakeParts() {
        HostParts parts;
        parts.root = SearchRoot(m_Tree.Path());
        parts.probe = std::make_unique<FakeProbe>();
        parts.features.push_back(
            std::make_unique<DevHost::TemporaryFiles>(parts.root, DevHost::FileSystem::Path()));
        parts.digest = [](const auto&, const auto&) { return std::string("digest"); };
        parts.makeId = [this] { return "id" + std::to_string(++m_uiIds); };
        parts.channel = std::make_shared<NoChannel>();
        parts.duplicateOwnHandle = [](std::uint32_t) { return DevHost::kNoHandle; };
        parts.end = [](FaultPlan::End, std::uint32_t) {};
        return parts;
    }

    static std::set<std::uint32_t> TableNumbers() {
        std::set<std::uint32_t> numbers;
        for (const ApiDefinition& row : g_ApiDefinitions) {
            if (row.apiId != kSentinelApiId)
                numbers.insert(row.apiId);
        }
        return numbers;
    }

    const TestTree m_Tree;
    std::atomic<unsigned> m_uiIds = 0;
    DevHost::HostApplication m_Host{MakeParts()};
};

TEST_F(Application, serves_the_numbers_of_the_table_and_no_others) {
    for (const std::uint32_t number : TableNumbers())
        EXPECT_TRUE(m_Host.Router().Serves(number)) << number;
    EXPECT_EQ(m_Host.Router().Count(), TableNumbers().size());
}

TEST_F(Application, requests_of_any_shape_are_answered) {
    const char* const requests[] = {
        "null",
        "true",
        "0",
        "-1",
        "1e400",
        "\"text\"",
        "[]",
        "[[[[]]]]",
        "{}",
        R"({"sessionId": null, "items": null, "data": null, "eventId": null})",
        R"({"sessionId": {}, "items": {}, "data": [], "eventId": [], "status": {}})",
        R"({"sessionId": "x", "items": [1, null, {}], "data": {"ids": [null]}, "eventId": -1})",
        R"({"sessionId": 1e300, "items": [[]], "data": "text", "eventId": 4294967296})",
        R"({"filterParamDiskDrive": "\u0000", "category": "\ud800", "filterParamFileSize": 1e19})",
        R"({"filterParamDiskDrive": [], "category": 1, "filterParamFileSize": "9"})",
        R"({"filterParamHighBound": -1, "duration": 1.5, "period": {}, "moduleName": ["a"]})",
        R"({"data": {"files": {"a": 1}, "groups": [1, {"files": [[]]}]}, "bootupTime": true})",
    };
    for (const std::uint32_t number : TableNumbers()) {
        for (const char* request : requests) {
            Json::Value value;
            try {
                value = ParseJson(request);
            } catch (const std::invalid_argument&) {
                continue;  // a number that this library does not read
            }
            const ApiAnswer answer = m_Host.Router().Call(number, value, {});
            EXPECT_NE(answer.retCode, KrCommon::Result::kOutOfMemory) << number << request;
            EXPECT_TRUE(answer.retCode == kSuccess || !answer.message.empty())
                << number << " " << request;
        }
    }
}

TEST_F(Application, scan_locks_the_service_while_it_runs) {
    const ApiAnswer start =
        m_Host.Router().Call(400000000, ParseJson(R"({"activeSessionId": 1, "items": []})"), {});
    ASSERT_EQ(start.retCode, kSuccess);
    for (int i = 0; i < 2000; ++i) {
        const ApiAnswer lock = m_Host.Router().Call(400012011, ParseJson("{}"), {});
        if (lock.data["lockStatus"].asUInt() == 0)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    FAIL() << "the lock is never given up";
}

TEST_F(Application, client_that_is_gone_loses_its_registration) {
    const auto bytes = WireHelpers::Register(L"name", 55);
    CIPCMsgBuffer in(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    m_Host.Server()(IPC_MSG_REGISTER_PROCESS, in, out);
    ASSERT_EQ(m_Host.Clients().All().size(), 1U);
    const DevHost::CallContext caller{WireHelpers::kSessionKey, 55, 1};
    m_Host.Router().Call(400012006, ParseJson(R"({"eventId": 7, "productProcessName": "n"})"),
                         caller);
    m_Host.Router().Call(400012008, ParseJson(R"({"eventId": 7})"), caller);
    for (int i = 0; i < 2000 && !m_Host.Clients().All().empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(m_Host.Clients().All().empty());
}

TEST_F(Application, start_and_stop) {
    m_Host.Start();
    EXPECT_EQ(m_Host.Router().Call(400013001, ParseJson("{}"), {}).data["cpuUsage"].asUInt(), 30U);
    EXPECT_TRUE(m_Host.Faults().IsEmpty());
}

}  // namespace
