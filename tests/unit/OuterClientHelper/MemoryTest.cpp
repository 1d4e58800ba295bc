// Memory that runs out at any one allocation of a call: the call fails with a stated code or raises
// std::bad_alloc, and the next one finds everything as it should be.

#include <new>

#include "HelperFixture.h"
#include "support/AllocationFaults.h"

using namespace test_support;

namespace {

class HelperMemory : public HelperTest {};

bool IsStated(std::uint32_t code) {
    return code == kSuccess || code == 0xe0ff0001U || code == 0xe0ff0004U || code == 0xe0ff0007U ||
           code == 0xe0ff0009U || code == 0xe0ff001eU;
}

// One call with a helper of its own, as every table-driven function makes it.
std::uint32_t Call(const JsonDocument& input) {
    Helper helper;
    JsonDocument output;
    return helper.SendMail2ProductPlugin(MailDestination::kApiCall, 5, input, output, false);
}

TEST_F(HelperMemory, call_without_a_session_fails_cleanly_at_each_allocation) {
    const JsonDocument input = Document(L"{\"a\":[1,2,3],\"b\":\"text\"}");
    std::size_t granted = 0;
    for (bool refused = true; refused; ++granted) {
        ASSERT_LT(granted, 2000U);
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            try {
                const std::uint32_t code = Call(input);
                EXPECT_TRUE(IsStated(code)) << std::hex << code << std::dec << " at " << granted;
            } catch (const std::bad_alloc&) {
            }
            refused = failure.Happened();
        }
        ASSERT_EQ(g_pRpcClientManager.load(), nullptr) << granted;
        ASSERT_EQ(DefaultServer(), nullptr) << granted;
        Service().TakeRequests();
    }
    EXPECT_GT(granted, 20U);
    EXPECT_EQ(Call(input), kSuccess);
}

TEST_F(HelperMemory, call_of_a_session_fails_cleanly_at_each_allocation) {
    const JsonDocument input = Document(L"{\"a\":[1,2,3],\"b\":\"text\"}");
    const Helper session;
    CRpcClientManager* manager = g_pRpcClientManager;
    std::size_t granted = 0;
    for (bool refused = true; refused; ++granted) {
        ASSERT_LT(granted, 2000U);
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            try {
                const std::uint32_t code = Call(input);
                EXPECT_TRUE(IsStated(code)) << std::hex << code << std::dec << " at " << granted;
            } catch (const std::bad_alloc&) {
            }
            refused = failure.Happened();
        }
        ASSERT_EQ(g_pRpcClientManager.load(), manager) << granted;
        Service().TakeRequests();
    }
    EXPECT_EQ(Call(input), kSuccess);
}

std::uint32_t TakeEvent(JsonDocument&) {
    return kSuccess;
}

TEST_F(HelperMemory, event_is_answered_with_a_code_at_each_allocation) {
    Helper session;
    ASSERT_EQ(session.RegisterProcess(L"WyConsole", TakeEvent), kSuccess);
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{\"eventId\":7}");
    bool refused = true;
    for (std::size_t granted = 0; refused; ++granted) {
        ASSERT_LT(granted, 500U);
        CommandResult in{};
        CommandResult out{};
        RpcDataShare(&report.Handle(), &in.pReport);
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            CKrRpcClientHelper::RegisterProcessCallback("id", &in, &out);
            refused = failure.Happened();
        }
        EXPECT_TRUE(IsStated(out.iResult)) << std::hex << out.iResult;
        RpcDataDestroy(&in.pReport);
        RpcDataDestroy(&out.pReport);
    }
    EXPECT_EQ(session.UnregisterProcess(), kSuccess);
}

TEST_F(HelperMemory, registration_fails_cleanly_at_each_allocation) {
    std::size_t granted = 0;
    for (bool refused = true; refused; ++granted) {
        ASSERT_LT(granted, 500U);
        Helper session;
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            try {
                const std::uint32_t code = session.RegisterProcess(L"WyConsole", TakeEvent);
                EXPECT_TRUE(IsStated(code)) << std::hex << code << std::dec << " at " << granted;
            } catch (const std::bad_alloc&) {
            }
            refused = failure.Happened();
        }
        EXPECT_EQ(session.UnregisterProcess(), kSuccess) << granted;
        Service().TakeRequests();
    }
    EXPECT_GT(granted, 10U);
    Helper session;
    EXPECT_EQ(session.RegisterProcess(L"WyConsole", TakeEvent), kSuccess);
    EXPECT_EQ(session.UnregisterProcess(), kSuccess);
}

TEST_F(HelperMemory, call_after_a_session_fails_cleanly_at_each_allocation) {
    // From the first session on, the end of each call tells the service about its tracking id.
    {
        Helper session;
        ASSERT_EQ(session.RegisterProcess(L"WyConsole", TakeEvent), kSuccess);
        ASSERT_EQ(session.UnregisterProcess(), kSuccess);
    }
    const JsonDocument input = Document(L"{}");
    std::size_t granted = 0;
    for (bool refused = true; refused; ++granted) {
        ASSERT_LT(granted, 2000U);
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            try {
                EXPECT_TRUE(IsStated(Call(input))) << granted;
            } catch (const std::bad_alloc&) {
            }
            refused = failure.Happened();
        }
        ASSERT_EQ(g_pRpcClientManager.load(), nullptr) << granted;
        Service().TakeRequests();
    }
    EXPECT_EQ(Call(input), kSuccess);
}

}  // namespace
