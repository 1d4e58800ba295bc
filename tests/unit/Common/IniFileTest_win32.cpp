#include "Common/KrCommon/KrComn_IniFile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <new>
#include <sstream>
#include <string>

#include "support/IatPatch.h"
#include "support/StorageFailure.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace KrCommon::Storage;
using test_support::CodeOf;
using test_support::FailureOf;
using test_support::IatPatch;
using test_support::StorageFailure;
using test_support::TemporaryFolder;

constexpr std::uint32_t kNothing = StorageFailure::kNothing;
constexpr std::uint32_t kUntouched = 0x5a5a5a5a;
constexpr std::uint32_t kUnknownFailure = 0x800300fd;

// A folder with the file "test.ini", which is opened at section "main" for each test.
class IniStore : public testing::Test {
protected:
    IniStore() : m_Folder(L"WyIniTest"), m_strFolder(m_Folder.Path().wstring()) { Open(L"main"); }

    Key FileKey() const { return Key(Key::kIniFile, m_strFolder.c_str(), L"test.ini"); }
    std::wstring File() const { return m_strFolder + L"\\test.ini"; }
    void Open(const std::wstring& section) {
        EXPECT_TRUE(m_Store.OpenForWrite(FileKey(), section));
    }

    // The file as it lies on disk, in ASCII.
    void Put(const std::string& text) const {
        std::ofstream(m_Folder.Path() / L"test.ini", std::ios::binary) << text;
    }
    std::string Content() const {
        std::ostringstream text;
        text << std::ifstream(m_Folder.Path() / L"test.ini").rdbuf();
        return text.str();
    }

    TemporaryFolder m_Folder;
    std::wstring m_strFolder;
    IniFile m_Store;
};

TEST_F(IniStore, place_is_folder_separator_and_name) {
    Put("[main]\r\na=1\r\n");
    const std::wstring withSeparator = m_strFolder + L"\\";
    const std::wstring whole = File();
    const struct {
        const char* what;
        const wchar_t* folder;
        const wchar_t* name;
    } rows[] = {
        {"folder and name", m_strFolder.c_str(), L"test.ini"},
        {"folder with its separator", withSeparator.c_str(), L"test.ini"},
        {"name with a separator", m_strFolder.c_str(), L"\\test.ini"},
        {"both with a separator", withSeparator.c_str(), L"\\test.ini"},
        {"no folder", nullptr, whole.c_str()},
        {"empty folder", L"", whole.c_str()},
    };
    for (const auto& row : rows) {
        const Key key(Key::kIniFile, row.folder, row.name);
        IniFile reader;
        EXPECT_TRUE(reader.OpenForRead(key, L"main")) << row.what;
        EXPECT_EQ(reader.ReadString(L"a", L"other"), L"1") << row.what;
        IniFile writer;
        EXPECT_TRUE(writer.OpenForWrite(key, L"main")) << row.what;
        EXPECT_EQ(writer.ReadString(L"a", L"other"), L"1") << row.what;
    }
}

TEST_F(IniStore, opening_again_moves_to_the_other_section) {
    Put("[main]\r\na=1\r\n[other]\r\na=2\r\n");
    EXPECT_EQ(m_Store.ReadString(L"a", {}), L"1");
    Open(L"other");
    EXPECT_EQ(m_Store.ReadString(L"a", {}), L"2");
}

TEST_F(IniStore, texts_of_every_length_around_the_buffer_come_whole) {
    for (const std::size_t length :
         {0U, 1U, 253U, 254U, 255U, 256U, 257U, 510U, 511U, 512U, 767U, 768U, 5000U}) {
        std::wstring text(length, L'x');
        if (length > 2) {
            text.front() = L'<';
            text.back() = L'>';
        }
        EXPECT_TRUE(m_Store.WriteString(L"text", text));
        EXPECT_EQ(m_Store.ReadString(L"text", L"other"), text) << length;
        EXPECT_EQ(m_Store.ReadString(L"none", text), text) << length;
    }
}

// How often, and with what sizes, the system is asked for a text.
std::vector<DWORD>* g_pSizes = nullptr;
DWORD WINAPI RecordSize(const wchar_t*, const wchar_t*, const wchar_t* byDefault, wchar_t* buffer,
                        DWORD size, const wchar_t*) {
    g_pSizes->push_back(size);
    const std::wstring text = std::wstring(byDefault).substr(0, size - 1);
    text.copy(buffer, text.size());
    buffer[text.size()] = L'\0';
    return static_cast<DWORD>(text.size());
}

TEST_F(IniStore, buffer_grows_by_256_while_the_text_fills_it) {
    const struct {
        std::size_t length;
        std::vector<DWORD> sizes;
    } rows[] = {{0, {256}},        {254, {256}},      {255, {256, 512}},
                {256, {256, 512}}, {510, {256, 512}}, {511, {256, 512, 768}}};
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "GetPrivateProfileStringW",
                         RecordSize);
    for (const auto& row : rows) {
        std::vector<DWORD> sizes;
        g_pSizes = &sizes;
        const std::wstring text(row.length, L'x');
        EXPECT_EQ(m_Store.ReadString(L"text", text), text);
        EXPECT_EQ(sizes, row.sizes) << row.length;
    }
}

TEST_F(IniStore, reads_of_what_is_missing_give_the_default) {
    EXPECT_EQ(m_Store.ReadString(L"a", L"other"), L"other");  // no file
    EXPECT_EQ(m_Store.ReadDword(L"a", 77), 77U);
    Put("[x]\r\na=1\r\n");
    EXPECT_EQ(m_Store.ReadString(L"a", L"other"), L"other");  // no section
    EXPECT_EQ(m_Store.ReadDword(L"a", 77), 77U);
    Put("[main]\r\nb=1\r\n");
    EXPECT_EQ(m_Store.ReadString(L"a", L"other"), L"other");  // no value
    EXPECT_EQ(m_Store.ReadDword(L"a", 77), 77U);
    EXPECT_EQ(m_Store.ReadDword(L"a", 0xffffffff), 0xffffffffU);
}

TEST_F(IniStore, numbers) {
    const struct {
        const char* text;
        std::uint32_t number;
    } rows[] = {
        {"0", 0},      {"1", 1},   {"42", 42},         {" 42 ", 42},
        {"12abc", 12}, {"abc", 0}, {"-5", 0xfffffffb}, {"4294967295", 0xffffffff},
        {"\"7\"", 7},
    };
    for (const auto& row : rows) {
        Put(std::string("[main]\r\nn=") + row.text + "\r\n");
        EXPECT_EQ(m_Store.ReadDword(L"n", 77), row.number) << row.text;
    }
}

// What a configuration writer stores as "0x%08x" is read as the system reads it.
TEST_F(IniStore, hexadecimal_number_is_what_the_system_makes_of_it) {
    Put("[main]\r\nLevel=0x00000111\r\n");
    EXPECT_EQ(m_Store.ReadDword(L"Level", 77),
              GetPrivateProfileIntW(L"main", L"Level", 77, File().c_str()));
}

TEST_F(IniStore, writes_are_lines_of_the_section) {
    EXPECT_TRUE(m_Store.WriteString(L"a", L"text"));
    EXPECT_TRUE(m_Store.WriteDword(L"n", 4294967295U));
    EXPECT_TRUE(m_Store.WriteString(L"e", {}));
    EXPECT_TRUE(m_Store.WriteDword(L"a", 0));
    EXPECT_EQ(Content(), "[main]\na=0\nn=4294967295\ne=\n");
}

TEST_F(IniStore, deletes_values_and_section) {
    Put("[main]\r\na=1\r\nb=2\r\nc=3\r\n[other]\r\na=1\r\n");
    EXPECT_TRUE(m_Store.DeleteValue(std::wstring(L"a")));
    EXPECT_TRUE(m_Store.DeleteValue(L"b"));
    EXPECT_TRUE(m_Store.DeleteValue(L"none"));
    EXPECT_EQ(Content(), "[main]\nc=3\n[other]\na=1\n");
    EXPECT_TRUE(m_Store.DeleteSelf());
    EXPECT_EQ(Content(), "[other]\na=1\n");
    EXPECT_TRUE(m_Store.DeleteSelf());
}

TEST_F(IniStore, lists_sections_and_lines_behind_what_the_list_holds) {
    Put("[main]\r\na=1\r\nb = 2 x\r\n; remark\r\n[other]\r\n[third one]\r\n");
    List sections = {L"before"};
    EXPECT_TRUE(m_Store.EnumSubKeys(sections));
    EXPECT_EQ(sections, (List{L"before", L"main", L"other", L"third one"}));
    List lines = {L"before"};
    EXPECT_TRUE(m_Store.EnumValues(lines));
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[1], L"a=1");
    EXPECT_EQ(lines[2].substr(0, 1), L"b");
    Open(L"other");
    List none;
    EXPECT_TRUE(m_Store.EnumValues(none));
    EXPECT_TRUE(none.empty());
    Open(L"missing");
    EXPECT_TRUE(m_Store.EnumValues(none));
    EXPECT_TRUE(none.empty());
}

TEST_F(IniStore, lists_beyond_the_first_buffer_come_whole) {
    // Names of three characters and a NUL: the list's length passes each boundary on its way.
    for (const int count : {1, 62, 63, 64, 65, 126, 127, 128, 129, 300}) {
        std::string text;
        List sections;
        List lines;
        for (int i = 0; i < count; ++i) {
            const std::string name = std::to_string(100 + i);
            sections.emplace_back(name.begin(), name.end());
            lines.push_back(L"k" + sections.back() + L"=v");
            text += "[" + name + "]\r\n";
        }
        for (const std::wstring& line : lines)
            text += std::string(line.begin(), line.end()) + "\r\n";
        Put(text);
        Open(sections.back());
        List found;
        EXPECT_TRUE(m_Store.EnumSubKeys(found));
        EXPECT_EQ(found, sections) << count;
        found.clear();
        EXPECT_TRUE(m_Store.EnumValues(found));
        EXPECT_EQ(found, lines) << count;
    }
}

TEST_F(IniStore, bad_arguments_raise_160_at_their_lines) {
    Binary binary;
    List list;
    IniFile closed;
    IniFile noSection;
    noSection.OpenForRead(FileKey(), {});
    IniFile noFile;
    noFile.OpenForRead(Key(Key::kIniFile, nullptr, nullptr), L"main");
    for (IniFile* store : {&closed, &noSection, &noFile}) {
        const StorageFailure failures[] = {
            FailureOf([&] { store->ReadString(L"a", {}); }),
            FailureOf([&] { store->ReadDword(L"a", 0); }),
            FailureOf([&] { store->WriteString(L"a", {}); }),
            FailureOf([&] { store->WriteDword(L"a", 0); }),
            FailureOf([&] { store->DeleteValue(L"a"); }),
            FailureOf([&] { store->DeleteValue(std::wstring(L"a")); }),
            FailureOf([&] { store->DeleteSelf(); }),
            FailureOf([&] { store->EnumSubKeys(list); }),
            FailureOf([&] { store->EnumValues(list); }),
            FailureOf([&] { store->ReadString({}, {}); }),
        };
        for (const StorageFailure& failure : failures) {
            EXPECT_EQ(failure.code, 160U) << &failure - failures;
            EXPECT_EQ(failure.line, 414U) << &failure - failures;
            EXPECT_EQ(failure.file, "KrComn_IniFile") << &failure - failures;
        }
    }
    const StorageFailure nameless[] = {
        FailureOf([&] { m_Store.ReadString({}, {}); }),
        FailureOf([&] { m_Store.ReadDword({}, 0); }),
        FailureOf([&] { m_Store.WriteString({}, {}); }),
        FailureOf([&] { m_Store.WriteDword({}, 0); }),
        FailureOf([&] { m_Store.DeleteValue(std::wstring()); }),
        FailureOf([&] { m_Store.DeleteValue(static_cast<const wchar_t*>(nullptr)); }),
    };
    for (const StorageFailure& failure : nameless) {
        EXPECT_EQ(failure.code, 160U) << &failure - nameless;
        EXPECT_EQ(failure.line, 422U) << &failure - nameless;
    }
}

TEST_F(IniStore, flush_needs_a_file_alone) {
    IniFile closed;
    EXPECT_EQ(FailureOf([&] { closed.Flush(); }).code, 160U);
    EXPECT_EQ(FailureOf([&] { closed.Close(true); }).code, 160U);
    EXPECT_EQ(CodeOf([&] { closed.Close(false); }), kNothing);
    IniFile noSection;
    noSection.OpenForRead(FileKey(), {});
    EXPECT_EQ(CodeOf([&] { noSection.Flush(); }), kNothing);
}

// The calls that write the profile, as "section|name|value".
std::vector<std::wstring>* g_pWrites = nullptr;
BOOL WINAPI RecordWrite(const wchar_t* section, const wchar_t* name, const wchar_t* value,
                        const wchar_t*) {
    const auto text = [](const wchar_t* part) {
        return std::wstring(part != nullptr ? part : L"-");
    };
    g_pWrites->push_back(text(section) + L"|" + text(name) + L"|" + text(value));
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(IniStore, close_flushes_when_asked_and_forgets_the_place) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "WritePrivateProfileStringW",
                         RecordWrite);
    std::vector<std::wstring> writes;
    g_pWrites = &writes;
    m_Store.Close(false);
    EXPECT_TRUE(writes.empty());
    EXPECT_EQ(CodeOf([&] { m_Store.ReadString(L"a", {}); }), 160U);
    Open(L"main");
    m_Store.Close(true);
    EXPECT_EQ(writes, std::vector<std::wstring>{L"-|-|-"});
    EXPECT_EQ(CodeOf([&] { m_Store.Flush(); }), 160U);
}

TEST_F(IniStore, refused_write_raises_the_systems_code) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "WritePrivateProfileStringW",
                         RecordWrite);
    std::vector<std::wstring> writes;
    g_pWrites = &writes;
    EXPECT_EQ(CodeOf([&] { m_Store.WriteString(L"a", L"x"); }), 112U);
    EXPECT_EQ(CodeOf([&] { m_Store.WriteDword(L"a", 17); }), 112U);
    EXPECT_EQ(CodeOf([&] { m_Store.DeleteValue(L"a"); }), 112U);
    EXPECT_EQ(CodeOf([&] { m_Store.DeleteSelf(); }), 112U);
    EXPECT_EQ(writes,
              (std::vector<std::wstring>{L"main|a|x", L"main|a|17", L"main|a|-", L"main|-|-"}));
    EXPECT_FALSE(StoreIniString(File(), L"main", L"a", L"x", nullptr));
}

TEST_F(IniStore, file_in_a_missing_folder_raises_3) {
    const std::wstring folder = m_strFolder + L"\\missing";
    m_Store.OpenForWrite(Key(Key::kIniFile, folder.c_str(), L"test.ini"), L"main");
    EXPECT_EQ(CodeOf([&] { m_Store.WriteString(L"a", L"x"); }), 3U);
}

TEST_F(IniStore, what_the_format_does_not_know_does_nothing) {
    Put("[main]\r\na=1\r\n");
    std::uint32_t error = kUntouched;
    Binary binary = {9};
    EXPECT_FALSE(m_Store.OpenForDelete(FileKey(), L"main"));
    EXPECT_FALSE(m_Store.OpenForEnum(FileKey(), L"main"));
    EXPECT_FALSE(m_Store.ReadBinary(L"a", binary));
    EXPECT_FALSE(m_Store.ReadBinary(L"a", binary, &error));
    EXPECT_EQ(m_Store.ReadString(L"a", L"other", &error), L"other");
    EXPECT_EQ(m_Store.ReadDword(L"a", 77, &error), 77U);
    EXPECT_EQ(m_Store.ReadQword(L"a", 77), 0U);
    EXPECT_EQ(m_Store.ReadQword(L"a", 77, &error), 0U);
    EXPECT_FALSE(m_Store.WriteBinary(L"a", {1}));
    EXPECT_FALSE(m_Store.WriteQword(L"a", 1));
    EXPECT_EQ(error, kUntouched);
    EXPECT_EQ(binary, Binary{9});
    EXPECT_EQ(Content(), "[main]\na=1\n");
}

TEST_F(IniStore, one_shots_store_and_load) {
    std::uint32_t error = kUntouched;
    EXPECT_TRUE(StoreIniString(File(), L"main", L"a", L"text", &error));
    EXPECT_EQ(error, 0U);
    error = kUntouched;
    EXPECT_EQ(LoadIniString(File(), L"main", L"a", L"other", &error), L"text");
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(LoadIniString(File(), L"main", L"none", L"other", &error), L"other");
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(StoreIniString(File().c_str(), L"main", L"a", nullptr, nullptr));
    EXPECT_EQ(LoadIniString(File().c_str(), L"main", L"a", L"other", nullptr), L"");
    EXPECT_EQ(LoadIniString(File().c_str(), L"main", L"none", nullptr, nullptr), L"");
}

TEST_F(IniStore, one_shots_give_code_and_default) {
    const std::wstring file = File();
    const struct {
        const char* what;
        const wchar_t* file;
        const wchar_t* section;
        const wchar_t* name;
    } rows[] = {
        {"no file", nullptr, L"main", L"a"},
        {"no section", file.c_str(), nullptr, L"a"},
        {"no name", file.c_str(), L"main", nullptr},
    };
    for (const auto& row : rows) {
        std::uint32_t error = kUntouched;
        EXPECT_EQ(LoadIniString(row.file, row.section, row.name, L"d", &error), L"d") << row.what;
        EXPECT_EQ(error, 160U) << row.what;
        error = kUntouched;
        EXPECT_FALSE(StoreIniString(row.file, row.section, row.name, L"x", &error)) << row.what;
        EXPECT_EQ(error, 160U) << row.what;
    }
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(StoreIniString(m_strFolder + L"\\missing\\f.ini", L"s", L"n", L"v", &error));
    EXPECT_EQ(error, 3U);
}

DWORD WINAPI ThrowOther(const wchar_t*, const wchar_t*, const wchar_t*, wchar_t*, DWORD,
                        const wchar_t*) {
    throw 5;
}

DWORD WINAPI ThrowRoot(const wchar_t*, const wchar_t*, const wchar_t*, wchar_t*, DWORD,
                       const wchar_t*) {
    KrCommon::Exception::Raise<KrCommon::Exception::Base>();
}

DWORD WINAPI ThrowNoMemory(const wchar_t*, const wchar_t*, const wchar_t*, wchar_t*, DWORD,
                           const wchar_t*) {
    throw std::bad_alloc();
}

TEST_F(IniStore, one_shots_give_a_code_for_whatever_else_is_raised) {
    const struct {
        const char* what;
        DWORD(WINAPI* stand_in)
        (const wchar_t*, const wchar_t*, const wchar_t*, wchar_t*, DWORD, const wchar_t*);
        std::uint32_t code;
    } rows[] = {
        {"a foreign exception", ThrowOther, kUnknownFailure},
        {"the root of the family", ThrowRoot, kUnknownFailure},
        {"no memory for the text", ThrowNoMemory, 6},
    };
    for (const auto& row : rows) {
        const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "GetPrivateProfileStringW",
                             row.stand_in);
        std::uint32_t error = kUntouched;
        EXPECT_EQ(LoadIniString(File(), L"main", L"a", L"d", &error), L"d") << row.what;
        EXPECT_EQ(error, row.code) << row.what;
        EXPECT_EQ(LoadIniString(File().c_str(), L"main", L"a", L"d", nullptr), L"d") << row.what;
    }
}

}  // namespace
