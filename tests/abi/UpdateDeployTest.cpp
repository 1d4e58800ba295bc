// A downloaded update, through the loaded library: copied, queued, reported, and in its place
// behind the next start of the system.

#include <WySdk/WySdk.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "abi/SdkLibrary.h"
#include "support/IatPatch.h"
#include "support/PendingMoves_win32.h"
#include "support/RegistryKey_win32.h"
#include "support/ServiceHost.h"
#include "support/SystemStart_win32.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using test_support::IatPatch;
using test_support::ServiceHost;
using testing::HasSubstr;

constexpr int kFolders = 20;
constexpr int kFilesInEach = 10;

std::string TextOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void Put(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

int CountFiles(const fs::path& folder) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
        count += entry.is_regular_file() ? 1 : 0;
    return count;
}

std::string NameOf(int folder, int file) {
    return "d" + std::to_string(folder) + "/sub/f" + std::to_string(file) + ".bin";
}

// A product that is installed in "Wy" and wants its updates reported.
class Update : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(Product());
        ASSERT_TRUE(m_Key.SetText(L"ProductPath", Product().wstring() + L"\\"));
        Put(Product() / "Configuration" / "FeedbackCfg.json",
            "{\"feedbackAu\":1,\"feedbackCptName\":1}");
    }

    fs::path At(const char* name) const { return m_Folder.Path() / name; }
    fs::path Product() const { return At("Wy"); }
    fs::path Temporary() const { return At("WyAuTemp"); }
    std::string Record() const { return TextOf(Product() / "AuFeedbackTemp.json"); }

    static std::uint32_t Deploy(const fs::path& path) {
        return SDK(WyAuDeploy)(path.wstring().c_str());
    }

    test_support::TemporaryFolder m_Folder{L"wy_update"};
    test_support::RegistryKey m_Key{L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY};
};

// The text of a path in JSON.
std::string InJson(const fs::path& path) {
    std::string text;
    for (const char character : path.string())
        text += character == '\\' ? std::string("\\\\") : std::string(1, character);
    return "\"" + text + "\"";
}

TEST_F(Update, takes_its_place_at_the_next_start_and_is_reported) {
    for (int folder = 0; folder < kFolders; ++folder) {
        for (int file = 0; file < kFilesInEach; ++file)
            Put(At("dl") / NameOf(folder, file), "new " + NameOf(folder, file));
    }
    // Half of the folders are in the product already.
    for (int folder = 0; folder < kFolders; folder += 2)
        Put(Product() / NameOf(folder, 0), "old");
    Put(Product() / "d0" / "kept.txt", "kept");
    {
        const ServiceHost host({}, 0, At("host.log").wstring());
        ASSERT_EQ(Deploy(At("dl").wstring() + L"\\"), WY_S_OK);
    }
    EXPECT_EQ(CountFiles(Temporary()), kFolders * kFilesInEach);
    EXPECT_EQ(TextOf(Product() / NameOf(0, 0)), "old");
    EXPECT_THAT(
        TextOf(At("host.log")),
        HasSubstr("feedback 36870, pid " + std::to_string(GetCurrentProcessId()) +
                  ": {\"path\":" + InJson(Product() / "AuFeedbackTemp.json") + ",\"type\":1}"));
    EXPECT_THAT(Record(), HasSubstr("\"auErrorCode\" : 553582592,"));
    EXPECT_THAT(Record(), HasSubstr("\"computerName\" : \""));

    if (!test_support::RunSystemStart())
        GTEST_SKIP() << "no wineboot.exe: a start of the system cannot be had inside a test";
    EXPECT_EQ(test_support::PendingMoves(), std::vector<test_support::PendingMove>{});
    for (int folder = 0; folder < kFolders; ++folder) {
        for (int file = 0; file < kFilesInEach; ++file)
            EXPECT_EQ(TextOf(Product() / NameOf(folder, file)), "new " + NameOf(folder, file));
    }
    EXPECT_EQ(TextOf(Product() / "d0" / "kept.txt"), "kept");
    EXPECT_FALSE(fs::exists(Temporary()));
    EXPECT_EQ(CountFiles(At("dl")), kFolders * kFilesInEach);
}

TEST_F(Update, without_a_service_returns_its_own_result_and_keeps_the_record) {
    EXPECT_EQ(Deploy(At("missing")), WY_E_BAD_PATH);
    EXPECT_THAT(Record(), HasSubstr("\"auErrorCode\" : -520159230,"));
    EXPECT_EQ(SDK(WyAuDeploy)(nullptr), WY_E_INVALID_ARGUMENT);
    EXPECT_THAT(Record(), HasSubstr("\"auErrorCode\" : -520159225,"));
}

TEST_F(Update, service_that_is_slow_is_waited_for) {
    constexpr DWORD kDelayMs = 300;
    const ServiceHost host(L"mail:36870 x* delay " + std::to_wstring(kDelayMs));
    const DWORD start = GetTickCount();
    EXPECT_EQ(Deploy(At("missing")), WY_E_BAD_PATH);
    EXPECT_GE(GetTickCount() - start, kDelayMs - 20);
}

TEST_F(Update, service_that_refuses_the_report_changes_nothing) {
    const ServiceHost host(L"mail:36870 x* mailresult 0xe0ff000e");
    EXPECT_EQ(Deploy(At("missing")), WY_E_BAD_PATH);
    EXPECT_THAT(Record(), HasSubstr("\"auErrorCode\" : -520159230,"));
}

DWORD s_dwCode = 0;
BOOL WINAPI RefuseCopy(LPCWSTR, LPCWSTR, BOOL) {
    SetLastError(s_dwCode);
    return FALSE;
}

TEST_F(Update, copy_that_fails_is_returned_and_reported) {
    Put(At("dl") / "a", "new");
    const IatPatch patch(SdkLibrary::Module(), "kernel32.dll", "CopyFileW", RefuseCopy);
    const struct {
        DWORD code;
        std::uint32_t result;
        const char* reported;
    } rows[] = {{ERROR_DISK_FULL, 0xe0fe0070, "\"auErrorCode\" : -520224656,"},
                {ERROR_ACCESS_DENIED, 0xe0fe0005, "\"auErrorCode\" : -520224763,"}};
    for (const auto& row : rows) {
        s_dwCode = row.code;
        EXPECT_EQ(Deploy(At("dl")), row.result);
        EXPECT_THAT(Record(), HasSubstr(row.reported));
        EXPECT_TRUE(fs::is_directory(Temporary()));
    }
}

}  // namespace
