// Replacement of the client manager against running sends, deliveries and the end of helpers. For
// the thread sanitizer: the test itself only asks that nothing crashes, hangs or stays broken.

#include <atomic>
#include <cstdlib>
#include <thread>

#include "HelperFixture.h"

namespace {

using namespace test_support;

std::uint32_t TakeEvent(JsonDocument&) noexcept {
    return kSuccess;
}

class Races : public HelperTest {
protected:
    static std::uint32_t CallOnce() {
        Helper helper;
        JsonDocument output;
        return helper.SendMail2ProductPlugin(0x4e0009, 400013001, Document(L"{}"), output, false);
    }
};

TEST_F(Races, manager_is_replaced_while_calls_and_events_run) {
    const int renewals = std::getenv("WYSDK_TEST_FULL") != nullptr ? 3000 : 150;
    Helper session;
    ASSERT_EQ(session.RegisterProcess(L"WyConsole", TakeEvent), kSuccess);
    const std::string firstKey = SessionKey();
    std::atomic<bool> stop{false};
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::uint64_t> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                const std::uint32_t code = CallOnce();
                // Two replies in a row may say that the client is unknown.
                if (code != kSuccess && code != KrCommon::Result::kUnknownClient)
                    ++failures;
                ++calls;
            }
        });
    }
    threads.emplace_back([&] {
        while (!stop)
            DeliverEvent(L"{\"eventId\":7}");
    });
    for (int i = 0; i < renewals; ++i) {
        Service().PushReply(golden::UnknownClientEnvelope());
        const std::uint64_t before = calls;
        while (calls < before + 4)
            std::this_thread::yield();
        Service().TakeRequests();
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0U);
    EXPECT_NE(SessionKey(), firstKey);
    Service().Reset();
    Service().SetReply(MailReply().Encode());
    EXPECT_EQ(CallOnce(), kSuccess);
    EXPECT_EQ(session.UnregisterProcess(), kSuccess);
}

}  // namespace
