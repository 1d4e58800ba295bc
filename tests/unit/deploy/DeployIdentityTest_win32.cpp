// The values by which an installation is known.

#include "deploy/DeployCommon_Identity.h"

#include "support/AllocationFaults.h"
#include "unit/deploy/DeployFixture_win32.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using deploy_test::kProductKey;
using deploy_test::PutValue;
using deploy_test::RegistryFaults;
using deploy_test::Value;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kSharedKey = L"SOFTWARE\\KorvexData\\Reamer";
const std::wstring kFirstEntry =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}";
const std::wstring kSecondEntry =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}";
const std::wstring kUpdateKey = kProductKey + L"\\Au\\Au7e";
constexpr wchar_t kStoreFailed[] =
    L"256 [ERROR] KrCommon::Storage::Reg::StoreValueWithAllAccess failed... 0x5";

class DeployIdentity : public deploy_test::DeployFixture {
protected:
    void TearDown() override {
        for (const std::wstring& key : {kFirstEntry, kSecondEntry, kSharedKey})
            deploy_test::DeleteTree(key);
        DeployFixture::TearDown();
    }
};

TEST_F(DeployIdentity, ids_are_stored_in_the_product_key) {
    EXPECT_TRUE(SetId(L"1000", L"vendor"));
    EXPECT_TRUE(SetWinGuid(L"guid"));
    EXPECT_EQ(Value(kProductKey, L"ProductId"), L"1000");
    EXPECT_EQ(Value(kProductKey, L"VendorId"), L"vendor");
    EXPECT_EQ(Value(kProductKey, L"WinGuid"), L"guid");
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_TRUE(SetId(L"", L""));
    EXPECT_EQ(Value(kProductKey, L"ProductId"), L"");
}

TEST_F(DeployIdentity, vendor_is_not_tried_behind_a_product_that_fails) {
    RegistryFaults faults;
    faults.refused = {L"ProductId"};
    EXPECT_FALSE(SetId(L"1000", L"vendor"));
    EXPECT_THAT(faults.stores, ElementsAre(kProductKey + L"|ProductId"));
    EXPECT_THAT(Log(), ElementsAre(kStoreFailed));
}

TEST_F(DeployIdentity, each_id_that_fails_is_told) {
    RegistryFaults faults;
    faults.refused = {L"VendorId", L"WinGuid"};
    EXPECT_FALSE(SetId(L"1000", L"vendor"));
    EXPECT_EQ(Value(kProductKey, L"ProductId"), L"1000");
    EXPECT_FALSE(SetWinGuid(L"guid"));
    EXPECT_THAT(Log(), ElementsAre(kStoreFailed, kStoreFailed));
}

TEST_F(DeployIdentity, working_id_is_shared_and_its_failure_goes_unnoticed) {
    SetWorkingId(L"DeployTest");
    EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"DeployTest");
    RegistryFaults faults;
    faults.refused = {L"WorkingId"};
    SetWorkingId(L"other");
    EXPECT_THAT(faults.stores, ElementsAre(kSharedKey + L"|WorkingId"));
    EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"DeployTest");
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployIdentity, version_is_stored_twice_and_for_the_list_of_programs_when_asked) {
    EXPECT_TRUE(UpdateWyVersionInfo(L"3.1.1158", false));
    EXPECT_EQ(Value(kProductKey, L"ProductVersion"), L"3.1.1158");
    EXPECT_EQ(Value(kProductKey, L"AgentVersion"), L"3.1.1158");
    EXPECT_EQ(Value(kFirstEntry, L"DisplayVersion"), L"(none)");
    EXPECT_TRUE(UpdateWyVersionInfo(L"3.2", true));
    EXPECT_EQ(Value(kProductKey, L"AgentVersion"), L"3.2");
    EXPECT_EQ(Value(kFirstEntry, L"DisplayVersion"), L"3.2");
    EXPECT_EQ(Value(kSecondEntry, L"DisplayVersion"), L"3.2");
}

TEST_F(DeployIdentity, every_place_of_the_version_is_tried_and_each_counts) {
    const std::wstring places[] = {
        kProductKey + L"|ProductVersion",
        kProductKey + L"|AgentVersion",
        kFirstEntry + L"|DisplayVersion",
        kSecondEntry + L"|DisplayVersion",
    };
    for (const std::wstring& place : places) {
        RegistryFaults faults;
        faults.refused = {place};
        EXPECT_FALSE(UpdateWyVersionInfo(L"3.1.1158", true)) << testing::PrintToString(place);
        EXPECT_THAT(faults.stores, testing::ElementsAreArray(places));
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployIdentity, update_component_takes_the_version) {
    PutValue(kUpdateKey, L"t3201", L"c11t1100v1.1.0l1p2r3o4");
    EXPECT_TRUE(UpdateAu7eVersion(L"3.1.1158"));
    EXPECT_EQ(Value(kUpdateKey, L"t3201"), L"c11t1100v3.1.1158l1p2r3o4");
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployIdentity, update_component_that_is_missing_or_unreadable_begins_as_zeroes) {
    EXPECT_TRUE(UpdateAu7eVersion(L"3.1.1158"));
    EXPECT_EQ(Value(kUpdateKey, L"t3201"), L"c0t0v3.1.1158l0p0r0o0");
    PutValue(kUpdateKey, L"t3201", L"");
    EXPECT_TRUE(UpdateAu7eVersion(L"4"));
    EXPECT_EQ(Value(kUpdateKey, L"t3201"), L"c0t0v4l0p0r0o0");
    PutValue(kUpdateKey, L"t3201", L"c7tx");
    EXPECT_TRUE(UpdateAu7eVersion(L"5"));
    EXPECT_EQ(Value(kUpdateKey, L"t3201"), L"c7t0v5l0p0r0o0") << "as far as it can be read";
}

TEST_F(DeployIdentity, update_component_is_not_wiped_out_when_memory_runs_out) {
    using test_support::FailAllocations;
    const std::wstring version = L"3.1.1158";
    for (const auto mode : {FailAllocations::Mode::kOnce, FailAllocations::Mode::kFromThenOn}) {
        bool happened = true;
        for (std::size_t passed = 0; happened; ++passed) {
            ASSERT_LT(passed, 2000U);
            PutValue(kUpdateKey, L"t3201", L"c11t1100v1.1.0l1p2r3o4");
            {
                const FailAllocations fault(passed, mode);
                UpdateAu7eVersion(version);
                happened = fault.Happened();
            }
            EXPECT_NE(Value(kUpdateKey, L"t3201"), L"") << passed << " allocations";
        }
    }
}

TEST_F(DeployIdentity, update_component_that_cannot_be_stored_is_told) {
    RegistryFaults faults;
    faults.refused = {L"t3201"};
    EXPECT_FALSE(UpdateAu7eVersion(L"3.1.1158"));
    EXPECT_THAT(
        Log(),
        ElementsAre(L"256 [ERROR] KrCommon::Storage::Reg::StoreValueWithAllAccess failed..."));
}

TEST_F(DeployIdentity, key_exists_unless_the_system_does_not_find_it) {
    const std::uint32_t view = KrCommon::Storage::Reg::ProductView();
    EXPECT_FALSE(IsRegKeyExist(kProductKey, view));
    PutValue(kProductKey, L"any", L"");
    EXPECT_TRUE(IsRegKeyExist(kProductKey, view));
    EXPECT_FALSE(IsRegKeyExist(kProductKey + L"\\none", view));
    RegistryFaults faults;
    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND, ERROR_OUTOFMEMORY}) {
        faults.openError = error;
        EXPECT_TRUE(IsRegKeyExist(L"SOFTWARE\\KorvexData\\none", view)) << error;
    }
    faults.openError = ERROR_FILE_NOT_FOUND;
    EXPECT_FALSE(IsRegKeyExist(kProductKey, view));
}

TEST_F(DeployIdentity, key_is_looked_for_in_the_view_that_is_asked_for) {
    if (KrCommon::Storage::Reg::ProductView() == 0)
        GTEST_SKIP() << "the system has one view alone";
    PutValue(kProductKey, L"any", L"");
    EXPECT_TRUE(IsRegKeyExist(kProductKey, 2));
    EXPECT_FALSE(IsRegKeyExist(kProductKey, 1));
}

}  // namespace
