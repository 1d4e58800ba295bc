// What comes back through the pointers of the caller, from honest and hostile answers.

#include <WySdk/WySdk.h>

#include "abi/SdkLibrary.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ServiceHost;

constexpr std::uint32_t kUntouched = 77;

// A text that the library has allocated; the test owns it.
class OwnedText {
public:
    OwnedText() = default;
    OwnedText(const OwnedText&) = delete;
    OwnedText& operator=(const OwnedText&) = delete;
    ~OwnedText() { EXPECT_EQ(nullptr, LocalFree(m_pText)); }

    wchar_t** Place() { return &m_pText; }
    const wchar_t* Get() const { return m_pText; }
    std::size_t BlockSize() const { return LocalSize(m_pText); }

private:
    wchar_t* m_pText = nullptr;
};

TEST(Answer, output_text_is_a_local_block_of_its_exact_size) {
    const ServiceHost host(LR"(api:400013005 text {"data":"abc"})");
    OwnedText text;
    ASSERT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(text.Place()));
    ASSERT_NE(nullptr, text.Get());
    // The whole of "data" as compact JSON text, which ends with a newline.
    EXPECT_STREQ(L"\"abc\"\n", text.Get());
    EXPECT_EQ(7 * sizeof(wchar_t), text.BlockSize());
}

TEST(Answer, real_output_text_is_json_and_can_be_freed) {
    const ServiceHost host;
    OwnedText text;
    ASSERT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(text.Place()));
    ASSERT_NE(nullptr, text.Get());
    EXPECT_TRUE(*text.Get() == L'{' || *text.Get() == L'[');
    EXPECT_EQ((std::wcslen(text.Get()) + 1) * sizeof(wchar_t), text.BlockSize());
}

TEST(Answer, text_of_a_member_is_the_members_text) {
    const ServiceHost host(LR"(api:400000000 text {"data":{"sessionId":"S1"}})");
    OwnedText session;
    ASSERT_EQ(WY_S_OK, SDK(WyScan)(1, L"a,b", session.Place()));
    ASSERT_NE(nullptr, session.Get());
    EXPECT_STREQ(L"S1", session.Get());
}

TEST(Answer, empty_text_is_null) {
    const ServiceHost host(LR"(api:400000000 text {"data":{"sessionId":""}})");
    wchar_t garbage[] = L"x";
    wchar_t* session = garbage;
    EXPECT_EQ(WY_S_OK, SDK(WyScan)(1, L"a,b", &session));
    EXPECT_EQ(nullptr, session);
}

TEST(Answer, null_text_pointer_is_skipped) {
    const ServiceHost host;
    EXPECT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(nullptr));
}

TEST(Answer, answer_without_data_leaves_zero_and_null) {
    const ServiceHost host(
        L"api:400013001 text {\"retCode\":553582592}\napi:400000000 text {\"retCode\":553582592}");
    std::uint32_t load = kUntouched;
    EXPECT_EQ(WY_S_OK, SDK(WyGetSysCpuUsage)(&load));
    EXPECT_EQ(0u, load);
    wchar_t garbage[] = L"x";
    wchar_t* session = garbage;
    EXPECT_EQ(WY_S_OK, SDK(WyScan)(1, L"a,b", &session));
    EXPECT_EQ(nullptr, session);
}

TEST(Answer, negative_return_code_is_the_result_and_outputs_are_written) {
    const ServiceHost host(LR"(api:400013001 text {"retCode":3758096385,"data":{"cpuUsage":12}})");
    std::uint32_t load = kUntouched;
    EXPECT_EQ(0xe0000001u, SDK(WyGetSysCpuUsage)(&load));
    EXPECT_EQ(12u, load);
}

TEST(Answer, wide_numbers_keep_their_64_bits) {
    const ServiceHost host(
        LR"(api:400013002 text {"data":{"memUsage":18446744073709551615,"memAvail":4294967296,)"
        LR"("memTotal":1}})");
    std::uint64_t used = 0;
    std::uint64_t available = 0;
    std::uint64_t total = 0;
    EXPECT_EQ(WY_S_OK, SDK(WyGetSysMemUsage)(&used, &available, &total));
    EXPECT_EQ(0xffffffffffffffffu, used);
    EXPECT_EQ(0x100000000u, available);
    EXPECT_EQ(1u, total);
}

// Failures of the road: the stated code, and no output is touched.
struct BadRoad {
    const wchar_t* fault;
    std::uint32_t code;
};

TEST(Answer, failure_of_the_road_touches_no_output) {
    const BadRoad rows[] = {
        {L"fail 5", 0xe0010005},
        {L"fail 0x12345678", 0xe0015678},
        {L"bytes -", WY_E_MALFORMED_REPLY},
        {L"bytes ca", WY_E_MALFORMED_REPLY},
        {L"bytes ca000000", WY_E_MALFORMED_REPLY},
        // A message of no size is no message: the reply has no result code then.
        {L"bytes ca00000000000000", WY_E_FAILURE},
        {L"bytes ca000000ffffffff", WY_E_FAILURE},
        {L"bytes ca000000ffffff7f00000000", WY_E_MALFORMED_REPLY},
        {L"bytes 02000000", WY_E_MALFORMED_REPLY},
        {L"omit mailresult", WY_E_INVALID_ARGUMENT},
        {L"omit packer", WY_E_INVALID_ARGUMENT},
        {L"omit child", WY_E_INVALID_ARGUMENT},
        {L"omit body", WY_E_INVALID_ARGUMENT},
        {L"omit bodyid", WY_E_INVALID_ARGUMENT},
        {L"omit resultcode", WY_E_FAILURE},
        {L"resultcode 0xe0ff0001", WY_E_FAILURE},
        {L"mailresult 0xe0ff000e", WY_E_NOT_FOUND},
    };
    std::wstring script;
    for (const BadRoad& row : rows)
        script += std::wstring(L"api:400013001 ") + row.fault + L";";
    const ServiceHost host(script);
    const SdkSession session;
    for (const BadRoad& row : rows) {
        std::uint32_t load = kUntouched;
        EXPECT_EQ(row.code, SDK(WyGetSysCpuUsage)(&load)) << row.fault;
        EXPECT_EQ(kUntouched, load) << row.fault;
    }
}

// A reply cut off at any byte: no crash, no success, nothing written.
TEST(Answer, reply_truncated_at_every_byte_fails) {
    constexpr int kLongest = 200;
    std::wstring script;
    for (int size = 0; size < kLongest; ++size)
        script += L"api:400013001 truncate " + std::to_wstring(size) + L";";
    const ServiceHost host(script);
    const SdkSession session;
    for (int size = 0; size < kLongest; ++size) {
        std::uint32_t load = kUntouched;
        EXPECT_EQ(WY_E_MALFORMED_REPLY, SDK(WyGetSysCpuUsage)(&load)) << size;
        EXPECT_EQ(kUntouched, load) << size;
    }
}

// JSON text that no honest service sends.
TEST(Answer, hostile_json_neither_crashes_nor_fails_the_call) {
    const wchar_t* const texts[] = {
        L"null",
        L"7",
        LR"("text")",
        L"[]",
        L"[1,2,3]",
        L"{",
        LR"({"data":7})",
        LR"({"data":"text"})",
        LR"({"data":[1,2]})",
        LR"({"data":{"cpuUsage":"12"}})",
        LR"({"data":{"cpuUsage":-1}})",
        LR"({"data":{"cpuUsage":1e300}})",
        LR"({"data":{"cpuUsage":{}}})",
        LR"({"data":{"cpuUsage":18446744073709551616}})",
    };
    std::wstring script;
    for (const wchar_t* text : texts)
        script += std::wstring(L"api:400013001 text ") + text + L"\n";
    const ServiceHost host(script);
    const SdkSession session;
    for (const wchar_t* text : texts) {
        std::uint32_t load = kUntouched;
        EXPECT_EQ(WY_S_OK, SDK(WyGetSysCpuUsage)(&load)) << text;
        EXPECT_EQ(0u, load) << text;
    }
}

TEST(Answer, answers_nested_without_end_neither_crash_nor_fail_the_call) {
    const ServiceHost host(L"api:400013001 text " + std::wstring(3000, L'[') +
                           L"\napi:400013005 text {\"data\":" + std::wstring(3000, L'[') +
                           std::wstring(3000, L']') + L"}");
    const SdkSession session;
    std::uint32_t load = kUntouched;
    EXPECT_EQ(WY_S_OK, SDK(WyGetSysCpuUsage)(&load));
    EXPECT_EQ(0u, load);
    OwnedText text;
    EXPECT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(text.Place()));
}

}  // namespace
