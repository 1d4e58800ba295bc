// The functions that work on the machine itself, through the built library: what stands in the
// registry and in files afterwards, and what of it needs the service.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_Reg.h"
#include "abi/EventInbox.h"
#include "abi/SdkLibrary.h"
#include "abi/ServiceFixture.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "support/RegistryKey_win32.h"
#include "support/RegistryValues_win32.h"
#include "support/TemporaryFolder.h"

namespace {

using test_support::ReadRegistryValues;
using test_support::RegistryKey;
using test_support::RegistryRefusal;
using test_support::RegistryValues;
using test_support::StoredNumber;
using test_support::StoredText;
using test_support::TemporaryFolder;
using Names = std::vector<std::wstring>;

// The identity that the host beside the library decides.
const std::wstring kKey = L"SOFTWARE\\KorvexData\\Wyvarion";
const Names kProxyValues = {L"Server", L"Port", L"Enable", L"UserName", L"Password"};

// Both architectures of the library write into the same half of the registry.
REGSAM ProductView() {
    return KrCommon::Storage::Reg::ProductView() == 2 ? KEY_WOW64_64KEY : 0;
}

RegistryValues Stored(const std::wstring& subKey) {
    return ReadRegistryValues(kKey + subKey, ProductView());
}

void Clear() {
    for (const wchar_t* sub : {L"\\Proxy", L"\\Reamer", L""})
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, (kKey + sub).c_str(), ProductView(), 0);
}

class MachineSettings : public testing::Test {
protected:
    void SetUp() override { Clear(); }
    void TearDown() override { Clear(); }
};

TEST_F(MachineSettings, proxy_is_stored_with_its_account_enciphered) {
    const RegistryRefusal none(SdkLibrary::Module());
    ASSERT_EQ(WY_S_OK, SDK(WySetProxy)(L"proxy.example", 8080, L"user", L"password", true));
    EXPECT_EQ(kProxyValues, none.Written());
    RegistryValues values = Stored(L"\\Proxy");
    EXPECT_EQ(5U, values.size());
    EXPECT_EQ(StoredText(L"proxy.example"), values[L"Server"]);
    EXPECT_EQ(StoredNumber(8080), values[L"Port"]);
    EXPECT_EQ(StoredNumber(1), values[L"Enable"]);
    for (const wchar_t* name : {L"UserName", L"Password"}) {
        const std::wstring text = values[name].Text();
        EXPECT_EQ(static_cast<DWORD>(REG_SZ), values[name].type);
        EXPECT_EQ(33U, text.size());  // one block in digits, and the NUL
        EXPECT_EQ(32U, text.find_first_not_of(L"0123456789abcdef"));
    }
    EXPECT_NE(values[L"UserName"], values[L"Password"]);
}

TEST_F(MachineSettings, proxy_without_an_account_has_empty_texts) {
    ASSERT_EQ(WY_S_OK, SDK(WySetProxy)(L"", 0, L"", L"", false));
    EXPECT_EQ((RegistryValues{{L"Server", StoredText(L"")},
                              {L"Port", StoredNumber(0)},
                              {L"Enable", StoredNumber(0)},
                              {L"UserName", StoredText(L"")},
                              {L"Password", StoredText(L"")}}),
              Stored(L"\\Proxy"));
}

TEST_F(MachineSettings, proxy_values_are_all_tried_when_one_fails) {
    RegistryRefusal refusal(SdkLibrary::Module());
    for (const std::wstring& name : kProxyValues) {
        refusal.Clear();
        refusal.Refuse(name);
        EXPECT_EQ(WY_E_SETTINGS_NOT_STORED, SDK(WySetProxy)(L"s", 1, L"u", L"p", true));
        EXPECT_EQ(kProxyValues, refusal.Written());
    }
}

TEST_F(MachineSettings, identifiers_are_stored_until_one_fails) {
    RegistryRefusal refusal(SdkLibrary::Module());
    EXPECT_EQ(WY_S_OK, SDK(WySetIdentifier)(L"a", L"b", L"c"));
    EXPECT_EQ(WY_S_OK, SDK(WySetIdentifierEx)(L"d", L"e", nullptr, L"f"));
    EXPECT_EQ((RegistryValues{{L"SpnGuid", StoredText(L"d")},
                              {L"SpnId2", StoredText(L"e")},
                              {L"SpnId3", StoredText(L"c")},
                              {L"SpnId4", StoredText(L"f")}}),
              Stored(L""));
    refusal.Refuse(L"SpnId2");
    EXPECT_EQ(WY_E_SYSTEM_FAMILY | 5U, SDK(WySetIdentifier)(L"g", L"h", L"i"));
    EXPECT_EQ(WY_E_SYSTEM_FAMILY | 5U, SDK(WySetIdentifierEx)(L"g", L"h", L"i", L"j"));
    EXPECT_EQ(StoredText(L"g"), Stored(L"")[L"SpnGuid"]);
    EXPECT_EQ(StoredText(L"f"), Stored(L"")[L"SpnId4"]);
}

TEST_F(MachineSettings, folders_follow_the_installation) {
    std::uint32_t size = 0;
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, SDK(WyGetCacheFolder)(nullptr, nullptr));
    EXPECT_EQ(WY_E_BUFFER_IS_NULL, SDK(WyGetDebugLogFolder)(nullptr, &size));
    EXPECT_EQ(std::wcslen(L"C:\\ProgramData\\Korvex Data\\Wyvarion"), size);

    RegistryKey key(kKey, ProductView());
    ASSERT_TRUE(key.SetText(L"ProductPath", L"C:\\P"));
    wchar_t folder[12] = L"###########";
    size = 10;
    EXPECT_EQ(WY_S_OK, SDK(WyGetCacheFolder)(folder, &size));
    EXPECT_EQ(10U, size);  // the length of the text: it did not fit
    EXPECT_EQ(std::wstring(10, L'\0') + L"#", std::wstring(folder, 11));
    size = 11;
    EXPECT_EQ(WY_S_OK, SDK(WyGetCacheFolder)(folder, &size));
    EXPECT_EQ(10U, size);
    EXPECT_STREQ(L"C:\\P\\Cache", folder);
}

TEST_F(MachineSettings, debug_log_is_switched_in_the_files_of_the_product) {
    const TemporaryFolder product(L"product");
    RegistryKey key(kKey, ProductView());
    ASSERT_TRUE(key.SetText(L"ProductPath", product.Path().wstring()));
    EXPECT_EQ(WY_E_LOG_SETTINGS_NOT_CHANGED, SDK(WySetDebugLog)(true, 1));
    std::ofstream(product.Path() / "krdbg.ini") << "";
    EXPECT_EQ(WY_S_OK, SDK(WySetDebugLog)(true, 0xabc));
    std::ifstream file(product.Path() / "krdbg.ini", std::ios::binary);
    EXPECT_EQ(
        "[InteractiveSession]\r\nEnable=1\r\nLevel=0x00000abc\r\n"
        "[ServiceSession]\r\nEnable=1\r\nLevel=0x00000abc\r\n",
        std::string(std::istreambuf_iterator<char>(file), {}));
}

TEST_F(MachineSettings, reamer_status_is_stored_also_without_a_service) {
    EXPECT_EQ(SdkCode::kNobodyListens, SDK(WySetReamerStatus)(5));
    EXPECT_EQ((RegistryValues{{L"Enable", StoredNumber(5)}}), Stored(L"\\Reamer"));
}

// ---- with the service

constexpr std::uint32_t kReamerEvent = 32769;

class MachineSettingsWithService : public ServiceFixture {
protected:
    void SetUp() override { Clear(); }
    void TearDown() override {
        SDK(WyUnsubscribeEvent)(kReamerEvent);
        Clear();
    }
};

TEST_F(MachineSettingsWithService, reamer_status_arrives_as_an_event) {
    EventInbox::Instance().Reset();
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kReamerEvent, EventInbox::Take));
    ASSERT_EQ(WY_S_OK, SDK(WySetReamerStatus)(4294967295));
    ASSERT_TRUE(EventInbox::Instance().WaitFor(1));
    JsonDocument event;
    ASSERT_EQ(JsonDocument::kOk, event.Parse(EventInbox::Instance().Events().front().text));
    EXPECT_EQ(kReamerEvent, event[L"eventId"].AsUInt32());
    EXPECT_EQ(L"{\"status\":4294967295}\n", event[L"param"].ToCompactString());
}

// What happens while a callback runs, and behind it, in order.
TEST_F(MachineSettingsWithService, proxy_waits_for_the_callback_that_runs) {
    std::atomic<bool> entered{false};
    std::atomic<bool> storedMeanwhile{false};
    EventInbox::Instance().Reset([&](const EventInbox::Event&) {
        entered = true;
        Sleep(300);
        storedMeanwhile = !Stored(L"\\Proxy").empty();
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kReamerEvent, EventInbox::Take));
    ASSERT_EQ(WY_S_OK, SDK(WySetReamerStatus)(1));
    while (!entered)
        Sleep(1);
    EXPECT_EQ(WY_S_OK, SDK(WySetProxy)(L"s", 1, L"", L"", true));
    EXPECT_FALSE(storedMeanwhile);
    EXPECT_EQ(5U, Stored(L"\\Proxy").size());
    ASSERT_TRUE(EventInbox::Instance().WaitFor(1));
}

// The others take no lock: they may be called from a callback.
TEST_F(MachineSettingsWithService, others_go_on_inside_a_callback) {
    std::vector<std::uint32_t> codes;
    EventInbox::Instance().Reset([&](const EventInbox::Event&) {
        std::uint32_t size = 0;
        codes = {SDK(WySetIdentifier)(L"1", L"2", L"3"),
                 SDK(WySetIdentifierEx)(L"1", L"2", nullptr, nullptr), SDK(WySetDebugLog)(true, 1),
                 SDK(WyGetDebugLogFolder)(nullptr, &size), SDK(WyGetCacheFolder)(nullptr, &size)};
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kReamerEvent, EventInbox::Take));
    ASSERT_EQ(WY_S_OK, SDK(WySetReamerStatus)(1));
    ASSERT_TRUE(EventInbox::Instance().WaitFor(1));
    EXPECT_EQ((std::vector<std::uint32_t>{WY_S_OK, WY_S_OK, WY_E_LOG_SETTINGS_NOT_CHANGED,
                                          WY_E_BUFFER_IS_NULL, WY_E_BUFFER_IS_NULL}),
              codes);
}

}  // namespace
