// The exports that store settings in the registry: what stands there afterwards, what becomes of
// writes that fail, and what the service is told.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <boost/thread/mutex.hpp>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/SdkState.h"
#include "support/FakeMail.h"
#include "support/LogRecorder.h"
#include "support/RegistryValues_win32.h"
#include "utilMode/FrwkMode.h"

namespace {

using namespace std::chrono_literals;
namespace Reg = KrCommon::Storage::Reg;
using test_support::FakeMail;
using test_support::IatPatch;
using test_support::LogRecorder;
using test_support::ReadRegistryValues;
using test_support::RegistryRefusal;
using test_support::RegistryValues;
using test_support::StoredNumber;
using test_support::StoredText;
using WyCommon::Utility::ProxySettings;
using Names = std::vector<std::wstring>;

constexpr std::uint32_t kInfo = 1;
const std::wstring kKey = L"SOFTWARE\\KorvexData\\WyUnitTest Identity";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

bool HasTwoViews() {
    return Reg::ProductView() == 2;
}

// With an identity that no product has, and nothing of it in the registry.
class Identity : public testing::Test {
protected:
    void SetUp() override {
        Frwk::Mode::SetWyvarionId(L"WyUnitTest Identity");
        Clear();
    }
    void TearDown() override {
        Clear();
        g_ProxySettings = {};
        Frwk::Mode::SetWyvarionId({});
    }
    static void Clear() {
        for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            for (const wchar_t* sub : {L"\\Proxy", L"\\Reamer", L""})
                RegDeleteKeyExW(HKEY_LOCAL_MACHINE, (kKey + sub).c_str(), view, 0);
        }
    }
    // What stands in the view of the product.
    static RegistryValues Stored(const wchar_t* subKey = L"") {
        return ReadRegistryValues(kKey + subKey, HasTwoViews() ? KEY_WOW64_64KEY : 0);
    }
    static void ExpectNothingInTheOtherView(const wchar_t* subKey = L"") {
        if (HasTwoViews()) {
            EXPECT_TRUE(ReadRegistryValues(kKey + subKey, KEY_WOW64_32KEY).empty());
        }
    }
};

// Refuses to open the key for writing at one of the calls.
class OpenRefusal {
public:
    OpenRefusal(int call, LSTATUS status) : m_Patch(Program(), "advapi32.dll", kFunction, Open) {
        s_pOriginal = m_Patch.Original<Function>();
        s_iLeft = call;
        s_iCalls = 0;
        s_Status = status;
    }
    int Calls() const { return s_iCalls; }

private:
    using Function = LSTATUS WINAPI(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                    LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD);
    static LSTATUS WINAPI Open(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options,
                               REGSAM access, LPSECURITY_ATTRIBUTES attributes, PHKEY opened,
                               LPDWORD disposition) {
        ++s_iCalls;
        return s_iLeft-- == 0 ? s_Status
                              : s_pOriginal(key, path, reserved, type, options, access, attributes,
                                            opened, disposition);
    }

    static constexpr const char* kFunction = "RegCreateKeyExW";
    inline static int s_iLeft = 0;
    inline static int s_iCalls = 0;
    inline static LSTATUS s_Status = 0;
    inline static Function* s_pOriginal = nullptr;
    IatPatch m_Patch;
};

// ---- WySetProxy

constexpr std::uint32_t kNotStored = 0xe0ff000c;
const Names kProxyValues = {L"Server", L"Port", L"Enable", L"UserName", L"Password"};

std::wstring CipherOf(const std::wstring& plain) {
    std::wstring cipher;
    EXPECT_TRUE(KrCommon::Cryptograph::EncryptStringW(cipher, plain));
    return cipher;
}

void ExpectSetting(const std::wstring& server, std::uint32_t port, bool enable,
                   const std::wstring& user, const std::wstring& password) {
    EXPECT_EQ(g_ProxySettings.server, server);
    EXPECT_EQ(g_ProxySettings.port, port);
    EXPECT_EQ(g_ProxySettings.enable, enable);
    EXPECT_EQ(g_ProxySettings.userName, user);
    EXPECT_EQ(g_ProxySettings.password, password);
}

TEST_F(Identity, proxy_is_stored_value_by_value_and_kept) {
    const RegistryRefusal none(Program());
    EXPECT_EQ(WySetProxy(L"proxy.example", 8080, L"J\u00f6rg", L"s3cret", true), 0x20ff0000U);
    EXPECT_EQ(none.Written(), kProxyValues);
    EXPECT_EQ(Stored(L"\\Proxy"), (RegistryValues{{L"Server", StoredText(L"proxy.example")},
                                                  {L"Port", StoredNumber(8080)},
                                                  {L"Enable", StoredNumber(1)},
                                                  {L"UserName", StoredText(CipherOf(L"J\u00f6rg"))},
                                                  {L"Password", StoredText(CipherOf(L"s3cret"))}}));
    ExpectNothingInTheOtherView(L"\\Proxy");
    ExpectSetting(L"proxy.example", 8080, true, CipherOf(L"J\u00f6rg"), CipherOf(L"s3cret"));
}

TEST_F(Identity, proxy_off_with_empty_texts_is_stored_empty) {
    EXPECT_EQ(WySetProxy(L"before", 1, L"user", L"password", true), 0x20ff0000U);
    EXPECT_EQ(WySetProxy(L"", 0xffffffff, L"", L"", false), 0x20ff0000U);
    EXPECT_EQ(Stored(L"\\Proxy"), (RegistryValues{{L"Server", StoredText(L"")},
                                                  {L"Port", StoredNumber(0xffffffff)},
                                                  {L"Enable", StoredNumber(0)},
                                                  {L"UserName", StoredText(L"")},
                                                  {L"Password", StoredText(L"")}}));
    ExpectSetting(L"", 0xffffffff, false, L"", L"");
}

TEST_F(Identity, proxy_values_are_all_tried_when_one_cannot_be_written) {
    ASSERT_EQ(WySetProxy(L"before", 7, L"b", L"p", true), 0x20ff0000U);
    RegistryRefusal refusal(Program());
    for (const std::wstring& refused : kProxyValues) {
        SCOPED_TRACE(testing::PrintToString(refused));
        Clear();
        refusal.Clear();
        refusal.Refuse(refused);
        EXPECT_EQ(WySetProxy(L"after", 8, L"u", L"q", false), kNotStored);
        EXPECT_EQ(refusal.Written(), kProxyValues);
        const RegistryValues stored = Stored(L"\\Proxy");
        EXPECT_EQ(stored.size(), 4U);
        EXPECT_FALSE(stored.contains(refused));
        ExpectSetting(L"before", 7, true, CipherOf(L"b"), CipherOf(L"p"));
    }
}

TEST_F(Identity, proxy_values_are_all_tried_when_the_key_cannot_be_opened_for_one) {
    for (int call = 0; call < 5; ++call) {
        SCOPED_TRACE(call);
        Clear();
        const OpenRefusal refusal(call, ERROR_ACCESS_DENIED);
        EXPECT_EQ(WySetProxy(L"s", 8, L"u", L"p", false), kNotStored);
        EXPECT_EQ(refusal.Calls(), 5);
        EXPECT_EQ(Stored(L"\\Proxy").size(), 4U);
        ExpectSetting(L"", 0, false, L"", L"");
    }
}

TEST_F(Identity, proxy_leaves_one_line_with_all_arguments) {
    const LogRecorder log(kInfo);
    EXPECT_EQ(WySetProxy(L"proxy.example", 8080, L"user", L"100%s \u00e9", true), 0x20ff0000U);
    EXPECT_EQ(WySetProxy(L"", 4294967295, L"", L"", false), 0x20ff0000U);
    EXPECT_EQ(log.Texts(),
              (Names{L"WySdk: [INFO] WySetProxy[wszServerAddr=proxy.example][dwPort=8080]"
                     L"[wszUser=user][wszPass=100%s \u00e9][bEnable=1]",
                     L"WySdk: [INFO] WySetProxy[wszServerAddr=][dwPort=4294967295]"
                     L"[wszUser=][wszPass=][bEnable=0]"}));
}

TEST_F(Identity, proxy_leaves_its_line_also_when_nothing_can_be_written) {
    RegistryRefusal refusal(Program());
    for (const std::wstring& name : kProxyValues)
        refusal.Refuse(name);
    const LogRecorder log(kInfo);
    EXPECT_EQ(WySetProxy(L"s", 1, L"u", L"p", true), kNotStored);
    EXPECT_EQ(log.Texts(), Names{L"WySdk: [INFO] WySetProxy[wszServerAddr=s][dwPort=1][wszUser=u]"
                                 L"[wszPass=p][bEnable=1]"});
}

// A thread that stands at the lock has left its line, and has written nothing.
TEST_F(Identity, proxy_waits_for_the_lock_of_the_library) {
    const LogRecorder log(kInfo);
    const RegistryRefusal none(Program());
    boost::mutex::scoped_lock lock(g_ApiMutex);
    std::uint32_t code = 0;
    std::thread caller([&code] { code = WySetProxy(L"s", 1, L"u", L"p", true); });
    while (log.Lines().empty())
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(Stored(L"\\Proxy").empty());
    lock.unlock();
    caller.join();
    EXPECT_EQ(code, 0x20ff0000U);
    EXPECT_EQ(none.Written(), kProxyValues);
}

TEST_F(Identity, proxy_gives_the_lock_back_after_success_and_failure) {
    RegistryRefusal refusal(Program());
    for (const std::uint32_t wanted : {0x20ff0000U, kNotStored}) {
        EXPECT_EQ(WySetProxy(L"s", 1, L"", L"", true), wanted);
        const boost::mutex::scoped_lock lock(g_ApiMutex, boost::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
        refusal.Refuse(L"Server");
    }
}

// ---- WySetIdentifier and WySetIdentifierEx

struct IdentifierCall {
    const char* name;
    std::function<std::uint32_t()> run;
    Names values;  // in the order of the writes
};

const std::vector<IdentifierCall>& IdentifierCalls() {
    static const std::vector<IdentifierCall> s_Calls = {
        {"three",
         [] { return WySetIdentifier(L"1", L"2", L"3"); },
         {L"SpnGuid", L"SpnId2", L"SpnId3"}},
        {"three empty",
         [] { return WySetIdentifier(L"", L"", L""); },
         {L"SpnGuid", L"SpnId2", L"SpnId3"}},
        {"four",
         [] { return WySetIdentifierEx(L"1", L"2", L"3", L"4"); },
         {L"SpnGuid", L"SpnId2", L"SpnId3", L"SpnId4"}},
        {"null third",
         [] { return WySetIdentifierEx(L"1", L"2", nullptr, L"4"); },
         {L"SpnGuid", L"SpnId2", L"SpnId4"}},
        {"empty third",
         [] { return WySetIdentifierEx(L"1", L"2", L"", L"4"); },
         {L"SpnGuid", L"SpnId2", L"SpnId4"}},
        {"null fourth",
         [] { return WySetIdentifierEx(L"1", L"2", L"3", nullptr); },
         {L"SpnGuid", L"SpnId2", L"SpnId3"}},
        {"empty fourth",
         [] { return WySetIdentifierEx(L"1", L"2", L"3", L""); },
         {L"SpnGuid", L"SpnId2", L"SpnId3"}},
        {"null both",
         [] { return WySetIdentifierEx(L"1", L"2", nullptr, nullptr); },
         {L"SpnGuid", L"SpnId2"}},
        {"empty first two",
         [] { return WySetIdentifierEx(L"", L"", L"", L""); },
         {L"SpnGuid", L"SpnId2"}},
    };
    return s_Calls;
}

TEST_F(Identity, identifiers_are_written_in_order) {
    for (const IdentifierCall& call : IdentifierCalls()) {
        SCOPED_TRACE(call.name);
        const RegistryRefusal none(Program());
        EXPECT_EQ(call.run(), 0x20ff0000U);
        EXPECT_EQ(none.Written(), call.values);
    }
}

TEST_F(Identity, identifiers_are_texts_of_the_product_key) {
    EXPECT_EQ(WySetIdentifier(L"{guid}", L"zwei \u20ac", L""), 0x20ff0000U);
    EXPECT_EQ(Stored(), (RegistryValues{{L"SpnGuid", StoredText(L"{guid}")},
                                        {L"SpnId2", StoredText(L"zwei \u20ac")},
                                        {L"SpnId3", StoredText(L"")}}));
    ExpectNothingInTheOtherView();
}

TEST_F(Identity, empty_third_and_fourth_keep_their_values) {
    ASSERT_EQ(WySetIdentifierEx(L"1", L"2", L"3", L"4"), 0x20ff0000U);
    EXPECT_EQ(WySetIdentifierEx(L"5", L"", L"", nullptr), 0x20ff0000U);
    EXPECT_EQ(Stored(), (RegistryValues{{L"SpnGuid", StoredText(L"5")},
                                        {L"SpnId2", StoredText(L"")},
                                        {L"SpnId3", StoredText(L"3")},
                                        {L"SpnId4", StoredText(L"4")}}));
}

TEST_F(Identity, identifiers_end_at_the_first_that_cannot_be_written) {
    RegistryRefusal refusal(Program());
    for (const IdentifierCall& call : IdentifierCalls()) {
        for (std::size_t position = 0; position < call.values.size(); ++position) {
            SCOPED_TRACE(call.name + std::string(", ") + std::to_string(position));
            Clear();
            refusal.Clear();
            refusal.Refuse(call.values[position], ERROR_ACCESS_DENIED);
            EXPECT_EQ(call.run(), 0xe0fe0005U);
            const auto end = call.values.begin() + static_cast<std::ptrdiff_t>(position);
            EXPECT_EQ(refusal.Written(), Names(call.values.begin(), end + 1));
            EXPECT_EQ(Stored().size(), position);
        }
    }
}

TEST_F(Identity, identifiers_give_the_low_half_of_an_error) {
    RegistryRefusal refusal(Program());
    for (const LSTATUS status : {1018L, 0x12345L, 0x70000L, -2147024809L}) {
        SCOPED_TRACE(status);
        refusal.Refuse(L"SpnGuid", status);
        const std::uint32_t wanted = 0xe0fe0000U | (static_cast<std::uint32_t>(status) & 0xffffU);
        EXPECT_EQ(WySetIdentifier(L"1", L"2", L"3"), wanted);
        EXPECT_EQ(WySetIdentifierEx(L"1", L"2", L"3", L"4"), wanted);
    }
}

TEST_F(Identity, identifiers_end_where_the_key_cannot_be_opened) {
    for (int call = 0; call < 4; ++call) {
        const OpenRefusal refusal(call, ERROR_PRIVILEGE_NOT_HELD);
        EXPECT_EQ(WySetIdentifierEx(L"1", L"2", L"3", L"4"), 0xe0fe0522U);
        EXPECT_EQ(refusal.Calls(), call + 1);
    }
}

// ---- WySetReamerStatus

constexpr std::uint32_t kPublish = 400012008;

TEST_F(Identity, reamer_status_is_stored_and_published) {
    FakeMail mail;
    mail.SetAnswer(L"{\"retCode\":305419896}");
    for (const std::uint32_t status : {0U, 1U, 0xffffffffU}) {
        SCOPED_TRACE(status);
        mail.Clear();
        EXPECT_EQ(WySetReamerStatus(status), 0x12345678U);
        EXPECT_EQ(Stored(L"\\Reamer"), (RegistryValues{{L"Enable", StoredNumber(status)}}));
        ExpectNothingInTheOtherView(L"\\Reamer");
        ASSERT_EQ(mail.Count(), 1U);
        EXPECT_EQ(mail.Mails()[0].destId, 0x4e0009U);
        EXPECT_EQ(mail.Mails()[0].mailId, kPublish);
        EXPECT_EQ(mail.Mails()[0].request,
                  L"{\"eventId\":32769,\"param\":{\"status\":" + std::to_wstring(status) + L"}}\n");
    }
}

TEST_F(Identity, reamer_status_that_cannot_be_stored_is_published_all_the_same) {
    FakeMail mail;
    RegistryRefusal refusal(Program());
    refusal.Refuse(L"Enable");
    EXPECT_EQ(WySetReamerStatus(1), 0x20ff0000U);
    EXPECT_EQ(refusal.Written(), Names{L"Enable"});
    EXPECT_TRUE(Stored(L"\\Reamer").empty());
    EXPECT_EQ(mail.Count(), 1U);
    const OpenRefusal noKey(0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(WySetReamerStatus(1), 0x20ff0000U);
    EXPECT_EQ(mail.Count(), 2U);
}

TEST_F(Identity, reamer_status_that_cannot_be_published_is_stored_all_the_same) {
    FakeMail mail;
    mail.SetAnswer(L"", 0xe00106ba);
    EXPECT_EQ(WySetReamerStatus(3), 0xe00106baU);
    EXPECT_EQ(Stored(L"\\Reamer"), (RegistryValues{{L"Enable", StoredNumber(3)}}));
    mail.SetAnswer(L"{\"retCode\":3758030849}");
    EXPECT_EQ(WySetReamerStatus(4), 3758030849U);
}

// What is told to the service is told with the value stored already.
TEST_F(Identity, reamer_status_is_stored_before_it_is_published) {
    FakeMail mail;
    RegistryValues seen;
    mail.SetHook([&seen] { seen = Stored(L"\\Reamer"); });
    EXPECT_EQ(WySetReamerStatus(9), 0x20ff0000U);
    EXPECT_EQ(seen, (RegistryValues{{L"Enable", StoredNumber(9)}}));
}

}  // namespace
