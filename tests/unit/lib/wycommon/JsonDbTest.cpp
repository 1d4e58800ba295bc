// JSON databases: both forms on the disk, every kind of file that may lie there, lines and codes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Rijndael.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

namespace {

namespace JsonDb = WyCommon::JsonDb;
using KrCommon::Result::kFailure;
using KrCommon::Result::kJsonDbNotRead;
using KrCommon::Result::kJsonDbNotWritten;
using KrCommon::Result::kSuccess;
using test_support::FailAllocations;
using test_support::LogRecorder;

constexpr std::uint32_t kOk = JsonDocument::kOk;
constexpr std::uint32_t kNoJson = 87;
constexpr std::uint32_t kError = 256;

std::string Bytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The content as the library's text mode writes it on this system.
std::string WithLineEnds(const std::string& text) {
    const bool windows = std::filesystem::path::preferred_separator == '\\';
    std::string written;
    for (const char c : text) {
        written += c == '\n' && windows ? "\r\n" : std::string(1, c);
    }
    return written;
}

std::string Digits(const std::string& text) {
    std::string digits;
    EXPECT_TRUE(KrCommon::Cryptograph::EncryptStringA(digits, text));
    return digits;
}

std::string DigitsOfAnotherKey(const std::string& text) {
    using KrCommon::Cryptograph::Rijndael;
    const std::uint8_t key[16] = {};
    std::uint8_t out[64];
    std::uint64_t written = 0;
    Rijndael cipher;
    EXPECT_TRUE(
        cipher.Initialize(Rijndael::kEncrypt, key, 16, Rijndael::kCbc, nullptr, 0, nullptr));
    EXPECT_TRUE(cipher.Convert(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), out,
                               sizeof(out), &written, nullptr));
    std::string digits;
    for (std::uint64_t i = 0; i < written; ++i) {
        constexpr char kDigits[] = "0123456789abcdef";
        digits += {kDigits[out[i] >> 4], kDigits[out[i] & 15]};
    }
    return digits;
}

// Not by the locale, which natively knows no such names.
std::wstring Wide(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return KrCommon::String::FromUtf8({reinterpret_cast<const char*>(text.data()), text.size()});
}

JsonDocument Document(const wchar_t* text) {
    JsonDocument document;
    EXPECT_EQ(document.Parse(text), kOk);
    return document;
}

class JsonDbFile : public ::testing::Test {
protected:
    std::wstring Path() const { return Wide(m_File); }

    void Write(const std::string& content) const {
        std::ofstream(m_File, std::ios::binary) << content;
    }

    // Loads what the file holds into a document that has held something else.
    JsonDocument Load(const std::string& content) const {
        Write(content);
        JsonDocument document = Document(L"{\"old\":1}");
        EXPECT_EQ(JsonDb::Load(Path(), document), kSuccess);
        return document;
    }

    test_support::TemporaryFolder m_Folder{L"wy jsondb"};
    std::filesystem::path m_File = m_Folder.Path() / u8"data \u00fc\u4e2d.json";
};

TEST_F(JsonDbFile, both_forms_give_the_document_back) {
    for (const wchar_t* const text :
         {L"null", L"0", L"\"text\"", L"[]", L"{}", L"[1,[2,[3]],{\"a\":null}]",
          L"{\"a\":1,\"b\":{\"c\":[true,false,null,1.5,-7]},\"\u00e4\u20ac\":\"\u4e2d\\n\\u0001\"}",
          L"{\"localMapping\":[{\"lcid\":1031,\"localeName\":\"DE-DE\"}],\"defaultLocal\":"
          L"\"x\"}"}) {
        const JsonDocument document = Document(text);
        for (const bool encrypt : {false, true}) {
            LogRecorder log;
            ASSERT_EQ(JsonDb::Save(Path(), document, encrypt), kSuccess);
            JsonDocument again = Document(L"{\"old\":1}");
            ASSERT_EQ(JsonDb::Load(Path(), again), kSuccess);
            EXPECT_EQ(again.Status(), kOk);
            EXPECT_EQ(again.ToCompactString(), document.ToCompactString());
            EXPECT_TRUE(log.Lines().empty());
            EXPECT_EQ(JsonDb::IsEnciphered(Bytes(m_File)), encrypt);
        }
    }
}

TEST_F(JsonDbFile, plain_form_is_the_styled_text) {
    const JsonDocument document = Document(L"{\"a\":[1,2],\"b\":\"\u00e4\"}");
    ASSERT_EQ(JsonDb::Save(Path(), document, false), kSuccess);
    EXPECT_EQ(Bytes(m_File), WithLineEnds("{\n   \"a\" : [ 1, 2 ],\n   \"b\" : \"\\u00e4\"\n}\n"));
}

TEST_F(JsonDbFile, enciphered_form_is_the_magic_and_digits) {
    const JsonDocument document = Document(L"{\"a\":[1,2],\"b\":\"\u00e4\"}");
    ASSERT_EQ(JsonDb::Save(Path(), document, true), kSuccess);
    const std::string text = "{\n   \"a\" : [ 1, 2 ],\n   \"b\" : \"\\u00e4\"\n}\n";
    EXPECT_EQ(Bytes(m_File), "WYJSONDB" + Digits(text));
}

TEST_F(JsonDbFile, save_replaces_what_was_there) {
    Write(std::string(10000, 'x'));
    ASSERT_EQ(JsonDb::Save(Path(), Document(L"7"), true), kSuccess);
    EXPECT_EQ(Bytes(m_File), "WYJSONDB" + Digits("7\n"));
    ASSERT_EQ(JsonDb::Save(Path(), Document(L"7"), false), kSuccess);
    EXPECT_EQ(Bytes(m_File), WithLineEnds("7\n"));
}

TEST_F(JsonDbFile, part_of_a_document_is_saved_and_loaded) {
    JsonDocument document = Document(L"{\"a\":{\"b\":[1,2]},\"c\":3}");
    ASSERT_EQ(JsonDb::Save(Path(), document[L"a"], true), kSuccess);
    JsonDocument target = Document(L"{\"x\":{\"old\":1},\"y\":2}");
    JsonDocument part = target[L"x"];
    ASSERT_EQ(JsonDb::Load(Path(), part), kSuccess);
    EXPECT_EQ(target.ToCompactString(), L"{\"x\":{\"b\":[1,2]},\"y\":2}\n");
}

TEST_F(JsonDbFile, load_by_content) {
    const std::string text = "{\"a\" : \"line\"}\n";
    const std::string digits = Digits(text);
    const std::wstring value = L"{\"a\":\"line\"}\n";
    std::string upper = digits;
    for (char& c : upper) {
        c = static_cast<char>(c >= 'a' ? c - 'a' + 'A' : c);
    }
    std::string damaged = digits;
    damaged[0] = damaged[0] == '0' ? '1' : '0';
    const struct {
        const char* what;
        std::string content;
        std::uint32_t status;
        std::wstring document;
    } rows[] = {
        {"plain", text, kOk, value},
        {"plain with the line ends of Windows", "{\"a\" :\r\n\"line\"}\r\n", kOk, value},
        {"enciphered", "WYJSONDB" + digits, kOk, value},
        {"enciphered, upper-case digits", "WYJSONDB" + upper, kOk, value},
        {"enciphered, an odd digit behind", "WYJSONDB" + digits + "7", kOk, value},
        {"empty", "", kNoJson, L"null\n"},
        {"a number of one byte", "7", kOk, L"7\n"},
        {"seven bytes", "[1,2,3]", kOk, L"[1,2,3]\n"},
        {"eight bytes", "[1,2,33]", kOk, L"[1,2,33]\n"},
        {"seven bytes of the magic", "WYJSOND", kNoJson, L"null\n"},
        {"magic alone", "WYJSONDB", kNoJson, L"null\n"},
        {"magic and one digit", "WYJSONDB7", kNoJson, L"null\n"},
        {"magic and less than a block", "WYJSONDB" + digits.substr(0, 30), kNoJson, L"null\n"},
        {"magic in lower case", "wyjsondb" + digits, kNoJson, L"null\n"},
        {"magic in mixed case", "WyJsonDb" + digits, kNoJson, L"null\n"},
        {"magic behind a blank", " WYJSONDB" + digits, kNoJson, L"null\n"},
        {"magic behind a byte order mark", "\xef\xbb\xbfWYJSONDB" + digits, kNoJson, L"null\n"},
        {"magic before plain text", "WYJSONDB" + text, kNoJson, L"null\n"},
        {"damaged cipher", "WYJSONDB" + damaged, kNoJson, L"null\n"},
        {"another key's cipher", "WYJSONDB" + DigitsOfAnotherKey(text), kNoJson, L"null\n"},
        {"cipher cut in the middle of the text",
         "WYJSONDB" + Digits(std::string(40, '[')).substr(0, 32), kNoJson, L"null\n"},
        {"unfinished text", "{\"a\":", kNoJson, L"null\n"},
        {"no JSON", "hello, world", kNoJson, L"null\n"},
        {"an enciphered number", "WYJSONDB" + Digits("7"), kOk, L"7\n"},
        {"enciphered text that is no JSON", "WYJSONDB" + Digits("{"), kNoJson, L"null\n"},
        {"UTF-8", "[\"\xc3\xa4\xe2\x82\xac\"]", kOk, L"[\"\\u00e4\\u20ac\"]\n"},
        {"malformed UTF-8", "[\"\xff\xe2\x82\"]", kOk, L"[\"\\ufffd\\ufffd\"]\n"},
        {"a NUL in it", std::string("[1]\0", 4), kOk, L"[1]\n"},
    };
    for (const auto& row : rows) {
        JsonDocument document = Load(row.content);
        EXPECT_EQ(document.Status(), row.status) << row.what;
        EXPECT_EQ(document.ToCompactString(), row.document) << row.what;
    }
}

TEST_F(JsonDbFile, cipher_that_cannot_be_deciphered_is_told) {
    const struct {
        std::string content;
        const wchar_t* first;
    } rows[] = {
        {"WYJSONDB",
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [13]"},
        {"WYJSONDBabcd",
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [1]"},
    };
    for (const auto& row : rows) {
        LogRecorder log;
        EXPECT_EQ(Load(row.content).Status(), kNoJson);
        const auto lines = log.Lines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].text, row.first);
        EXPECT_EQ(
            lines[1].text,
            L"*** KrCommon::Cryptograph::EncryptStringA() - DecryptStringA_Sub() was failed.");
        EXPECT_EQ(lines[1].file, "..\\..\\Common\\KrCommon\\KrComn_StringCrypt");
        EXPECT_EQ(lines[1].line, 310U);
        EXPECT_EQ(lines[1].level, kError);
    }
}

// The line of a file that cannot be opened, up to the system's code.
void ExpectOpenFailure(const LogRecorder& log, const std::wstring& path, std::uint32_t line,
                       std::uint32_t windowsCode) {
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    const std::wstring head = L"WyCommon: [ERROR] failed to open file <" + path + L">, error = ";
    EXPECT_EQ(lines[0].text.substr(0, head.size()), head);
    const std::wstring code = lines[0].text.substr(head.size());
    if (std::filesystem::path::preferred_separator == '\\') {
        EXPECT_EQ(code, std::to_wstring(windowsCode));
    } else {
        EXPECT_TRUE(code == L"2" || code == L"5") << "natively one of two";
    }
    EXPECT_EQ(lines[0].file, "WyCommon_JsonDb");
    EXPECT_EQ(lines[0].line, line);
    EXPECT_EQ(lines[0].level, kError);
}

TEST_F(JsonDbFile, save_into_a_missing_folder_fails_and_makes_none) {
    const std::filesystem::path folder = m_Folder.Path() / L"100%s none";
    const std::wstring path = Wide(folder / L"x.json");
    for (const bool encrypt : {false, true}) {
        LogRecorder log;
        EXPECT_EQ(JsonDb::Save(path, Document(L"1"), encrypt), kJsonDbNotWritten);
        ExpectOpenFailure(log, path, 20, 3);
        EXPECT_FALSE(std::filesystem::exists(folder));
    }
    LogRecorder log;
    EXPECT_EQ(JsonDb::Save(Wide(m_Folder.Path()), Document(L"1"), false), kJsonDbNotWritten);
    ExpectOpenFailure(log, Wide(m_Folder.Path()), 20, 5);
}

TEST_F(JsonDbFile, load_of_a_missing_file_fails_and_leaves_the_document) {
    const struct {
        std::filesystem::path path;
        std::uint32_t code;
    } rows[] = {{m_File, 2}, {m_Folder.Path() / L"none" / L"x.json", 3}};
    for (const auto& row : rows) {
        JsonDocument document = Document(L"{\"old\":1}");
        LogRecorder log;
        EXPECT_EQ(JsonDb::Load(Wide(row.path), document), kJsonDbNotRead);
        ExpectOpenFailure(log, Wide(row.path), 62, row.code);
        EXPECT_EQ(document.ToCompactString(), L"{\"old\":1}\n");
    }
    JsonDocument document;
    EXPECT_EQ(JsonDb::Load(L"", document), kJsonDbNotRead);
    EXPECT_EQ(JsonDb::Save(L"", document, true), kJsonDbNotWritten);
}

TEST(JsonDb, codes_are_those_of_the_interface) {
    EXPECT_EQ(kJsonDbNotWritten, 0xe0ff0011U);
    EXPECT_EQ(kJsonDbNotRead, 0xe0ff0012U);
}

TEST_F(JsonDbFile, save_without_memory_fails) {
    const std::wstring path = Path();
    const JsonDocument document = Document(L"{\"a\":[1,2,3],\"b\":\"text of some length\"}");
    const std::string digits =
        Digits("{\n   \"a\" : [ 1, 2, 3 ],\n   \"b\" : \"text of some length\"\n}\n");
    for (const bool encrypt : {false, true}) {
        std::size_t blockLines = 0;
        std::size_t passed = 0;
        for (bool happened = true; happened; ++passed) {
            ASSERT_LT(passed, 1000U);
            std::uint32_t result = 0;
            LogRecorder log(kError);
            {
                const FailAllocations fault(passed, FailAllocations::Mode::kOnce);
                result = JsonDb::Save(path, document, encrypt);
                happened = fault.Happened();
            }
            EXPECT_EQ(result, happened ? kFailure : kSuccess) << passed;
            for (const auto& line : log.Lines()) {
                if (line.line == 36) {
                    ++blockLines;
                    EXPECT_EQ(line.text, L"WyCommon: [ERROR] Get memery error, size" +
                                             std::to_wstring(digits.size()));
                    EXPECT_EQ(line.file, "WyCommon_JsonDb");
                    EXPECT_EQ(line.level, kError);
                }
            }
        }
        EXPECT_GT(passed, 3U);
        EXPECT_EQ(blockLines, encrypt ? 1U : 0U);
    }
}

TEST_F(JsonDbFile, load_without_memory_shows_in_result_or_status) {
    const std::wstring path = Path();
    for (const bool encrypt : {false, true}) {
        const JsonDocument saved = Document(L"{\"a\":[1,2,3],\"b\":\"text of some length\"}");
        ASSERT_EQ(JsonDb::Save(Path(), saved, encrypt), kSuccess);
        for (const auto mode : {FailAllocations::Mode::kOnce, FailAllocations::Mode::kFromThenOn}) {
            std::size_t passed = 0;
            for (bool happened = true; happened; ++passed) {
                ASSERT_LT(passed, 1000U);
                JsonDocument document = Document(L"{\"old\":1}");
                std::uint32_t result = 0;
                {
                    const FailAllocations fault(passed, mode);
                    result = JsonDb::Load(path, document);
                    happened = fault.Happened();
                }
                if (!happened) {
                    EXPECT_EQ(result, kSuccess);
                    EXPECT_EQ(document.Status(), kOk);
                }
                if (result == kSuccess) {
                    // Whole or not at all.
                    const bool whole = document.Status() == kOk;
                    EXPECT_EQ(document.ToCompactString(),
                              whole ? saved.ToCompactString() : L"null\n")
                        << passed;
                } else {
                    EXPECT_EQ(result, kJsonDbNotRead) << passed;
                    EXPECT_EQ(document.ToCompactString(), L"{\"old\":1}\n");
                }
            }
            EXPECT_GT(passed, 3U);
        }
    }
}

}  // namespace
