// Whose a program is, by signatures that follow a script and by real ones.

#include "deploy/DeployCommon_Signer.h"

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "unit/deploy/FakeSignature_win32.h"

namespace {

using deploy_test::FakeSignature;
using WyDeployHelper::DeployCommon::IsMakerSignedFile;

TEST(DeploySigner, maker_is_known_by_either_name) {
    FakeSignature signature;
    const struct {
        std::wstring signer;
        bool isMaker;
    } rows[] = {
        {L"Korvex Data", true},
        {L"The Korvex Data Company", true},
        {L"KorvexData", true},
        {L"xKorvexDatax", true},
        {L"korvex data", false},
        {L"Korvex  Data", false},
        {L"Korvex", false},
        {L"", false},
        {std::wstring(90, L'x') + L"KorvexData", true},
        {std::wstring(91, L'x') + L"KorvexData", false},
        {std::wstring(89, L'x') + L"Korvex Data", true},
        {std::wstring(90, L'x') + L"Korvex Data", false},
    };
    for (const auto& row : rows) {
        signature.signer = row.signer;
        EXPECT_EQ(IsMakerSignedFile(L"C:\\a.exe"), row.isMaker)
            << testing::PrintToString(row.signer);
    }
    EXPECT_EQ(signature.paths.front(), L"C:\\a.exe");
    EXPECT_EQ(signature.open, 0);
}

TEST(DeploySigner, step_that_fails_is_no_maker) {
    FakeSignature signature;
    EXPECT_TRUE(IsMakerSignedFile(L"C:\\a.exe"));
    for (const char* step :
         {"CryptQueryObject", "CryptMsgGetParam", "CryptMsgGetParam 2", "short information",
          "CertFindCertificateInStore", "CertGetNameStringW"}) {
        signature.failure = step;
        EXPECT_FALSE(IsMakerSignedFile(L"C:\\a.exe")) << step;
        EXPECT_EQ(signature.open, 0) << step;
    }
}

TEST(DeploySigner, real_file_without_signature_is_nobodys) {
    const auto folder = test_support::ProgramFolder();
    EXPECT_FALSE(IsMakerSignedFile(folder / L"UtilityProbe.exe"));
    EXPECT_FALSE(IsMakerSignedFile(folder / L"no such file.exe"));
    EXPECT_FALSE(IsMakerSignedFile(folder));
    EXPECT_FALSE(IsMakerSignedFile(L""));
}

TEST(DeploySigner, real_signatures_are_told_apart) {
    const auto folder = test_support::ProgramFolder();
    const auto maker = folder / L"SignedByMaker.exe";
    const auto other = folder / L"SignedByOther.exe";
    if (GetFileAttributesW(maker.c_str()) == INVALID_FILE_ATTRIBUTES)
        GTEST_SKIP() << "the build found no openssl or osslsigncode to sign programs with";
    EXPECT_TRUE(IsMakerSignedFile(maker));
    EXPECT_FALSE(IsMakerSignedFile(other));
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 20; ++round)
        EXPECT_TRUE(IsMakerSignedFile(maker));
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

}  // namespace
