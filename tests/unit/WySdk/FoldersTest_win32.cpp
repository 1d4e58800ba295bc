// The exports that change the debug log's settings, and those that tell folders.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"
#include "utilMode/FrwkMode.h"

namespace {

using test_support::IatPatch;
using test_support::RegistryKey;
using test_support::TemporaryFolder;

constexpr const wchar_t* kId = L"WyUnitTest Folders";

// An identity that no product has, installed in a folder of its own when a test says so.
class ProductFolder : public testing::Test {
protected:
    void SetUp() override { Frwk::Mode::SetWyvarionId(kId); }
    void TearDown() override { Frwk::Mode::SetWyvarionId({}); }

    void Install(const std::wstring& path) {
        m_Key.emplace(std::wstring(L"SOFTWARE\\KorvexData\\") + kId,
                      KrCommon::Storage::Reg::ProductView() == 2 ? KEY_WOW64_64KEY : 0);
        ASSERT_TRUE(m_Key->SetText(L"ProductPath", path));
    }
    void Install() { Install(m_Folder.Path().wstring()); }

    void Write(const char* name, const std::string& text) const {
        std::filesystem::create_directories((m_Folder.Path() / name).parent_path());
        std::ofstream(m_Folder.Path() / name, std::ios::binary) << text;
    }
    std::string Read(const char* name) const {
        std::ifstream file(m_Folder.Path() / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool Exists(const char* name) const { return std::filesystem::exists(m_Folder.Path() / name); }

    const TemporaryFolder m_Folder{L"folders"};

private:
    std::optional<RegistryKey> m_Key;
};

// ---- WySetDebugLog

constexpr std::uint32_t kNotChanged = 0xe0ff0013;
constexpr char kFirst[] = "krdbg.ini";
constexpr char kSecond[] = "win32/krdbg.ini";
constexpr char kBefore[] =
    "[InteractiveSession]\r\nEnable=0\r\nLevel=256\r\nLogSize=7\r\n"
    "[ServiceSession]\r\nLogFolder=C:\\logs\r\n";

std::string After(const char* enable, const std::string& level) {
    const std::string pair = std::string("Enable=") + enable + "\r\nLevel=" + level + "\r\n";
    return "[InteractiveSession]\r\n" + pair +
           "LogSize=7\r\n[ServiceSession]\r\nLogFolder=C:\\logs\r\n" + pair;
}

TEST_F(ProductFolder, debug_log_without_a_product_is_not_changed) {
    EXPECT_EQ(WySetDebugLog(true, 1), kNotChanged);
}

TEST_F(ProductFolder, debug_log_by_the_files_that_there_are) {
    Install();
    const struct {
        bool first;
        bool second;
        std::uint32_t wanted;
    } rows[] = {{false, false, kNotChanged},
                {true, false, WY_S_OK},
                {false, true, kNotChanged},
                {true, true, WY_S_OK}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.first << row.second);
        std::filesystem::remove_all(m_Folder.Path());
        std::filesystem::create_directories(m_Folder.Path() / "win32");
        if (row.first)
            Write(kFirst, kBefore);
        if (row.second)
            Write(kSecond, kBefore);
        EXPECT_EQ(WySetDebugLog(true, 0x1111), row.wanted);
        const bool changed = row.wanted == WY_S_OK;
        const std::string text = changed ? After("1", "0x00001111") : kBefore;
        EXPECT_EQ(Read(kFirst), row.first ? text : "");
        EXPECT_EQ(Read(kSecond), row.second ? text : "");
        EXPECT_EQ(Exists(kFirst), row.first);
        EXPECT_EQ(Exists(kSecond), row.second);
    }
}

TEST_F(ProductFolder, debug_log_switch_and_level_by_value) {
    Install();
    const struct {
        bool enable;
        std::uint32_t level;
        const char* enableText;
        const char* levelText;
    } rows[] = {{true, 0, "1", "0x00000000"},
                {false, 256, "0", "0x00000100"},
                {false, 0xffffffff, "0", "0xffffffff"},
                {true, 0xabcdef01, "1", "0xabcdef01"}};
    for (const auto& row : rows) {
        Write(kFirst, kBefore);
        EXPECT_EQ(WySetDebugLog(row.enable, row.level), WY_S_OK);
        EXPECT_EQ(Read(kFirst), After(row.enableText, row.levelText));
    }
}

TEST_F(ProductFolder, debug_log_in_an_empty_file_makes_the_sections) {
    Install();
    Write(kFirst, "");
    EXPECT_EQ(WySetDebugLog(false, 1), WY_S_OK);
    EXPECT_EQ(Read(kFirst),
              "[InteractiveSession]\r\nEnable=0\r\nLevel=0x00000001\r\n"
              "[ServiceSession]\r\nEnable=0\r\nLevel=0x00000001\r\n");
}

// Notes the writes of values, and refuses some of them.
class WriteRefusal {
public:
    explicit WriteRefusal(std::vector<std::size_t> refused)
        : m_Patch(GetModuleHandleW(nullptr), "kernel32.dll", "WritePrivateProfileStringW", Write) {
        s_pOriginal = m_Patch.Original<Function>();
        s_Refused = std::move(refused);
        s_Writes.clear();
    }
    static const std::vector<std::wstring>& Writes() { return s_Writes; }

private:
    using Function = BOOL WINAPI(LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR);
    static BOOL WINAPI Write(LPCWSTR section, LPCWSTR name, LPCWSTR value, LPCWSTR file) {
        const std::size_t number = s_Writes.size();
        s_Writes.push_back(std::filesystem::path(file).parent_path().filename().wstring() + L" " +
                           section + L" " + name + L"=" + value);
        if (std::find(s_Refused.begin(), s_Refused.end(), number) == s_Refused.end())
            return s_pOriginal(section, name, value, file);
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }

    inline static std::vector<std::wstring> s_Writes;
    inline static std::vector<std::size_t> s_Refused;
    inline static Function* s_pOriginal = nullptr;
    IatPatch m_Patch;
};

std::vector<std::wstring> WritesInto(const std::wstring& folder) {
    return {folder + L" InteractiveSession Enable=1", folder + L" ServiceSession Enable=1",
            folder + L" ServiceSession Level=0x00000111",
            folder + L" InteractiveSession Level=0x00000111"};
}

TEST_F(ProductFolder, debug_log_tries_every_write_whichever_fails) {
    Install();
    std::vector<std::wstring> all = WritesInto(m_Folder.Path().filename().wstring());
    for (std::wstring& write : WritesInto(L"win32"))
        all.push_back(std::move(write));
    for (std::size_t refused = 0; refused <= all.size(); ++refused) {
        SCOPED_TRACE(refused);
        Write(kFirst, kBefore);
        Write(kSecond, kBefore);
        const WriteRefusal refusal({refused});
        EXPECT_EQ(WySetDebugLog(true, 0x111), refused < all.size() ? kNotChanged : WY_S_OK);
        EXPECT_EQ(WriteRefusal::Writes(), all);
        const std::string wanted = After("1", "0x00000111");
        EXPECT_EQ(Read(kFirst) == wanted, refused >= 4);
        EXPECT_EQ(Read(kSecond) == wanted, refused < 4 || refused == all.size());
    }
}

TEST_F(ProductFolder, debug_log_in_a_read_only_file_is_not_changed) {
    Install();
    for (const char* name : {kFirst, kSecond}) {
        SCOPED_TRACE(name);
        Write(kFirst, kBefore);
        Write(kSecond, kBefore);
        const std::wstring path = (m_Folder.Path() / name).wstring();
        ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
        const bool writable = std::ofstream(m_Folder.Path() / name, std::ios::app).is_open();
        const std::uint32_t result = WySetDebugLog(true, 0x111);
        const std::string kept = Read(name);
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (writable)
            GTEST_SKIP() << "this user writes into read-only files";
        EXPECT_EQ(result, kNotChanged);
        EXPECT_EQ(kept, kBefore);
        EXPECT_EQ(Read(name == kFirst ? kSecond : kFirst), After("1", "0x00000111"));
    }
}

// ---- the folders

using Getter = std::uint32_t(WYAPI*)(wchar_t*, std::uint32_t*);
constexpr Getter kGetters[] = {WyGetDebugLogFolder, WyGetCacheFolder};
constexpr wchar_t kMark = L'#';

std::wstring Get(Getter getter) {
    std::wstring text(1000, kMark);
    std::uint32_t size = 1000;
    EXPECT_EQ(getter(text.data(), &size), WY_S_OK);
    EXPECT_LT(size, 1000U);
    EXPECT_EQ(text.substr(size), std::wstring(1000 - size, L'\0'));
    return text.substr(0, size);
}

TEST_F(ProductFolder, folder_without_a_size_is_refused) {
    Install();
    for (const Getter getter : kGetters) {
        std::wstring text(300, kMark);
        EXPECT_EQ(getter(text.data(), nullptr), 0xe0ff0007U);
        EXPECT_EQ(text, std::wstring(300, kMark));
        EXPECT_EQ(getter(nullptr, nullptr), 0xe0ff0007U);
    }
}

TEST_F(ProductFolder, folder_without_a_buffer_gives_its_length) {
    Install();
    for (const Getter getter : kGetters) {
        const std::wstring folder = Get(getter);
        ASSERT_FALSE(folder.empty());
        for (const std::uint32_t before : {0U, 1U, 0xffffffffU}) {
            std::uint32_t size = before;
            EXPECT_EQ(getter(nullptr, &size), 0xe0ff0014U);
            EXPECT_EQ(size, folder.size());
        }
    }
}

TEST_F(ProductFolder, folder_by_the_size_of_the_buffer) {
    Install();
    for (const Getter getter : kGetters) {
        const std::wstring folder = Get(getter);
        const std::size_t length = folder.size();
        for (const std::size_t room :
             {std::size_t{0}, std::size_t{1}, length - 1, length, length + 1, length + 200}) {
            SCOPED_TRACE(testing::Message() << "room " << room << " for " << length);
            std::wstring text(length + 300, kMark);
            auto size = static_cast<std::uint32_t>(room);
            EXPECT_EQ(getter(text.data(), &size), WY_S_OK);
            EXPECT_EQ(size, length);
            std::wstring wanted(room, L'\0');
            if (room > length)
                wanted.replace(0, length, folder);
            EXPECT_EQ(text, wanted + std::wstring(length + 300 - room, kMark));
        }
    }
}

TEST_F(ProductFolder, cache_lies_in_the_product_or_beside_the_program) {
    EXPECT_EQ(Get(WyGetCacheFolder), WyCommon::Utility::GetHostModuleFolder() + L"\\Cache");
    Install(L"C:\\Product \u00e9");
    EXPECT_EQ(Get(WyGetCacheFolder), L"C:\\Product \u00e9\\Cache");
    Install(L"C:\\");
    EXPECT_EQ(Get(WyGetCacheFolder), L"C:\\Cache");
    Install(L"");
    EXPECT_EQ(Get(WyGetCacheFolder), WyCommon::Utility::GetHostModuleFolder() + L"\\Cache");
}

TEST_F(ProductFolder, log_lies_where_the_file_says) {
    const std::wstring byDefault = std::wstring(L"C:\\ProgramData\\Korvex Data\\") + kId;
    const std::wstring common = WyCommon::Utility::ExpandCsidlPath(L"#CSIDL_COMMON_APPDATA#");
    ASSERT_NE(common, L"#CSIDL_COMMON_APPDATA#");
    EXPECT_EQ(Get(WyGetDebugLogFolder), byDefault);
    Install();
    EXPECT_EQ(Get(WyGetDebugLogFolder), byDefault);
    const struct {
        const char* section;
        const char* value;
        std::wstring wanted;
    } rows[] = {
        {"ServiceSession", "C:\\logs", L"C:\\logs"},
        {"InteractiveSession", "C:\\logs", byDefault},
        {"ServiceSession", "%commonappdata%\\Logs", common + L"\\Logs"},
        {"ServiceSession", "x%commonappdata%%commonappdata%", L"x" + common + common},
        {"ServiceSession", "%appdata%", L"%appdata%"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        Write(kFirst, std::string("[") + row.section + "]\r\nLogFolder=" + row.value + "\r\n");
        EXPECT_EQ(Get(WyGetDebugLogFolder), row.wanted);
    }
}

TEST_F(ProductFolder, folders_need_not_exist_and_are_not_made) {
    Install();
    Write(kFirst, "[ServiceSession]\r\nLogFolder=" + (m_Folder.Path() / "none").string() + "\r\n");
    EXPECT_EQ(Get(WyGetDebugLogFolder), (m_Folder.Path() / "none").wstring());
    EXPECT_EQ(Get(WyGetCacheFolder), (m_Folder.Path() / "Cache").wstring());
    EXPECT_FALSE(Exists("none"));
    EXPECT_FALSE(Exists("Cache"));
}

}  // namespace
