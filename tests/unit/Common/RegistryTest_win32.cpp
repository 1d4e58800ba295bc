#include "Common/KrCommon/KrComn_Registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/StorageFailure.h"

namespace {

using namespace KrCommon::Storage;
using test_support::CodeOf;
using test_support::FailureOf;
using test_support::RegistryKey;
using test_support::StorageFailure;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kNothing = StorageFailure::kNothing;
constexpr const wchar_t* kPath = L"SOFTWARE\\WyUnitTest Registry";
constexpr std::uint32_t kView64 = 2;
constexpr std::uint32_t kUntouched = 0x5a5a5a5a;

const Key kKey(Key::kRegistry, HKEY_LOCAL_MACHINE, L"SOFTWARE");
const std::wstring kSubPath = L"WyUnitTest Registry";

Bytes BytesOf(std::wstring_view text, std::size_t extra = 0) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(text.data());
    Bytes bytes(first, first + text.size() * sizeof(wchar_t));
    bytes.resize(bytes.size() + extra);
    return bytes;
}

// A key of its own for each test, open for reading through the class under test.
class RegistryStore : public testing::Test {
protected:
    RegistryStore() : m_Key(kPath, KEY_WOW64_64KEY), m_Store(kView64) {
        m_Store.OpenForRead(kKey, kSubPath);
    }
    RegistryKey m_Key;
    Registry m_Store;
};

// What stands in the registry, and what each kind of read makes of it: a number, text or bytes, or
// a code. Codes below are those of winerror.h: 6 ERROR_INVALID_HANDLE, 13 ERROR_INVALID_DATA.
struct ValueRow {
    const char* what;
    DWORD type;
    Bytes bytes;
    std::uint32_t dwordCode;   // kNothing: it is `number`
    std::uint32_t qwordCode;   // the same
    std::uint32_t stringCode;  // kNothing: it is `text`
    std::uint32_t binaryCode;  // kNothing: it is `bytes`
    std::uint64_t number;
    std::wstring text;
};

const ValueRow kValues[] = {
    {"number", REG_DWORD, {1, 2, 3, 4}, kNothing, 13, 13, 13, 0x04030201, {}},
    {"number, highest", REG_DWORD, Bytes(4, 0xff), kNothing, 13, 13, 13, 0xffffffff, {}},
    {"number of no bytes", REG_DWORD, {}, 13, 13, 13, 13, 0, {}},
    {"number of one byte", REG_DWORD, {1}, 13, 13, 13, 13, 0, {}},
    {"number of three bytes", REG_DWORD, {1, 2, 3}, 13, 13, 13, 13, 0, {}},
    {"number of five bytes", REG_DWORD, Bytes(5, 1), 13, 13, 13, 13, 0, {}},
    {"number of eight bytes", REG_DWORD, Bytes(8, 1), 13, 13, 13, 13, 0, {}},
    {"big-endian number", REG_DWORD_BIG_ENDIAN, Bytes(4, 1), 13, 13, 13, 13, 0, {}},
    {"long number",
     REG_QWORD,
     {1, 2, 3, 4, 5, 6, 7, 8},
     13,
     kNothing,
     13,
     13,
     0x0807060504030201,
     {}},
    {"long number, highest", REG_QWORD, Bytes(8, 0xff), 13, kNothing, 13, 13, ~0ULL, {}},
    {"long number of no bytes", REG_QWORD, {}, 13, 13, 13, 13, 0, {}},
    {"long number of four bytes", REG_QWORD, Bytes(4, 1), 13, 13, 13, 13, 0, {}},
    {"long number of seven bytes", REG_QWORD, Bytes(7, 1), 13, 13, 13, 13, 0, {}},
    {"long number of nine bytes", REG_QWORD, Bytes(9, 1), 13, 13, 13, 13, 0, {}},
    {"text", REG_SZ, {'a', 0, 'b', 0, 0, 0}, 13, 13, kNothing, 13, 0, L"ab"},
    {"text of a number's size", REG_SZ, {'a', 0, 0, 0}, 13, 13, kNothing, 13, 0, L"a"},
    {"text of a long number's size", REG_SZ, BytesOf(L"abc", 2), 13, 13, kNothing, 13, 0, L"abc"},
    {"text, empty", REG_SZ, {0, 0}, 13, 13, kNothing, 13, 0, L""},
    {"text of no bytes", REG_SZ, {}, 13, 13, kNothing, 13, 0, L""},
    {"text of one byte", REG_SZ, {'a'}, 13, 13, kNothing, 13, 0, L"a"},
    {"text of one NUL byte", REG_SZ, {0}, 13, 13, kNothing, 13, 0, L""},
    {"text of odd size", REG_SZ, {'a', 0, 'b'}, 13, 13, kNothing, 13, 0, L"ab"},
    {"text of odd size, half a NUL", REG_SZ, {'a', 0, 0}, 13, 13, kNothing, 13, 0, L"a"},
    {"text without a NUL", REG_SZ, {'a', 0, 'b', 0}, 13, 13, kNothing, 13, 0, L"ab"},
    {"text of NULs alone", REG_SZ, Bytes(6, 0), 13, 13, kNothing, 13, 0, L""},
    {"text with more behind its NUL",
     REG_SZ,
     {'a', 0, 0, 0, 'z', 0, 0, 0},
     13,
     13,
     kNothing,
     13,
     0,
     L"a"},
    {"text of 64 KiB", REG_SZ, BytesOf(std::wstring(32767, L'x'), 2), 13, 13, kNothing, 13, 0,
     std::wstring(32767, L'x')},
    {"text of 64 KiB without a NUL", REG_SZ, BytesOf(std::wstring(32768, L'x')), 13, 13, kNothing,
     13, 0, std::wstring(32768, L'x')},
    {"text of 64 KiB and half a character", REG_SZ, Bytes(65537, 0x20), 13, 13, kNothing, 13, 0,
     std::wstring(32768, L'\x2020') + L' '},
    {"text, unpaired surrogate", REG_SZ, {0x3d, 0xd8, 0, 0}, 13, 13, kNothing, 13, 0, L"\xd83d"},
    {"expandable text", REG_EXPAND_SZ, BytesOf(L"%TMP%", 2), 13, 13, kNothing, 13, 0, L"%TMP%"},
    {"expandable text of odd size", REG_EXPAND_SZ, {'%', 0, 'a'}, 13, 13, kNothing, 13, 0, L"%a"},
    {"multi-string",
     REG_MULTI_SZ,
     {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0},
     13,
     13,
     kNothing,
     13,
     0,
     L"a"},
    {"multi-string of one", REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0}, 13, 13, kNothing, 13, 0, L"a"},
    {"multi-string of none", REG_MULTI_SZ, {0, 0}, 13, 13, kNothing, 13, 0, L""},
    {"multi-string without NULs", REG_MULTI_SZ, {'a', 0}, 13, 13, kNothing, 13, 0, L"a"},
    {"multi-string, first one empty",
     REG_MULTI_SZ,
     {0, 0, 'b', 0, 0, 0},
     13,
     13,
     kNothing,
     13,
     0,
     L""},
    {"bytes", REG_BINARY, {1, 0, 2}, 13, 13, 13, kNothing, 0, {}},
    {"bytes of a number's size", REG_BINARY, {1, 2, 3, 4}, 13, 13, 13, kNothing, 0, {}},
    {"bytes of a long number's size", REG_BINARY, Bytes(8, 7), 13, 13, 13, kNothing, 0, {}},
    {"bytes, 64 KiB", REG_BINARY, Bytes(65536, 0xa5), 13, 13, 13, kNothing, 0, {}},
    {"bytes, none", REG_BINARY, {}, 13, 13, 13, 6, 0, {}},
    {"no type", REG_NONE, {'a', 0, 0, 0}, 13, 13, 13, 13, 0, {}},
    {"no type, no bytes", REG_NONE, {}, 13, 13, 13, 13, 0, {}},
    {"unknown type", 0x1234, {1, 2, 3, 4}, 13, 13, 13, 13, 0, {}},
};

TEST_F(RegistryStore, values_well_formed_and_malformed_raise_or_read) {
    for (const ValueRow& row : kValues) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(m_Key.Set(L"value", row.type, row.bytes));
        std::uint32_t dword = 0;
        std::uint64_t qword = 0;
        std::wstring text;
        Binary binary;
        EXPECT_EQ(CodeOf([&] { dword = m_Store.ReadDword(L"value", 77); }), row.dwordCode);
        EXPECT_EQ(CodeOf([&] { qword = m_Store.ReadQword(L"value", 77); }), row.qwordCode);
        EXPECT_EQ(CodeOf([&] { text = m_Store.ReadString(L"value", L"other"); }), row.stringCode);
        EXPECT_EQ(CodeOf([&] { EXPECT_TRUE(m_Store.ReadBinary(L"value", binary)); }),
                  row.binaryCode);
        EXPECT_EQ(dword, row.dwordCode == kNothing ? row.number : 0);
        EXPECT_EQ(qword, row.qwordCode == kNothing ? row.number : 0);
        EXPECT_EQ(text, row.stringCode == kNothing ? row.text : L"");
        EXPECT_EQ(binary, row.binaryCode == kNothing ? row.bytes : Bytes());
    }
}

TEST_F(RegistryStore, values_give_code_and_default_in_the_forms_that_do_not_raise) {
    const auto code = [](std::uint32_t raised) { return raised == kNothing ? 0 : raised; };
    for (const ValueRow& row : kValues) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(m_Key.Set(L"value", row.type, row.bytes));
        std::uint32_t error = kUntouched;
        EXPECT_EQ(m_Store.ReadDword(L"value", 77, &error),
                  row.dwordCode == kNothing ? row.number : 77);
        EXPECT_EQ(error, code(row.dwordCode));
        EXPECT_EQ(m_Store.ReadQword(L"value", 77, &error),
                  row.qwordCode == kNothing ? row.number : 77);
        EXPECT_EQ(error, code(row.qwordCode));
        EXPECT_EQ(m_Store.ReadString(L"value", L"other", &error),
                  row.stringCode == kNothing ? row.text : L"other");
        EXPECT_EQ(error, code(row.stringCode));
        Binary binary = {9};
        EXPECT_EQ(m_Store.ReadBinary(L"value", binary, &error), row.binaryCode == kNothing);
        EXPECT_EQ(error, code(row.binaryCode));
        const Bytes kept = row.binaryCode == 6 ? Bytes() : Bytes{9};
        EXPECT_EQ(binary, row.binaryCode == kNothing ? row.bytes : kept);
    }
}

TEST_F(RegistryStore, missing_value_is_code_2_and_the_default) {
    Binary binary = {9};
    EXPECT_EQ(CodeOf([&] { m_Store.ReadDword(L"none", 77); }), 2U);
    EXPECT_EQ(CodeOf([&] { m_Store.ReadQword(L"none", 77); }), 2U);
    EXPECT_EQ(CodeOf([&] { m_Store.ReadString(L"none", L"other"); }), 2U);
    EXPECT_EQ(CodeOf([&] { m_Store.ReadBinary(L"none", binary); }), 2U);
    EXPECT_EQ(m_Store.ReadDword(L"none", 77, nullptr), 77U);
    EXPECT_EQ(m_Store.ReadQword(L"none", ~0ULL, nullptr), ~0ULL);
    EXPECT_EQ(m_Store.ReadString(L"none", L"other", nullptr), L"other");
    EXPECT_FALSE(m_Store.ReadBinary(L"none", binary, nullptr));
    EXPECT_EQ(binary, Bytes{9});
}

TEST_F(RegistryStore, failed_read_tells_key_and_value) {
    ASSERT_TRUE(m_Key.SetText(L"value", L"text"));
    const StorageFailure failure = FailureOf([&] { m_Store.ReadDword(L"value", 0); });
    EXPECT_EQ(failure.code, 13U);
    EXPECT_TRUE(failure.ofValue);
    EXPECT_EQ(failure.keyPath, kPath);
    EXPECT_EQ(failure.valueName, L"value");
    EXPECT_EQ(failure.file, "KrComn_Registry");
    EXPECT_NE(failure.line, 0U);
}

TEST_F(RegistryStore, empty_name_is_the_value_of_the_key_itself) {
    ASSERT_TRUE(m_Key.SetText(nullptr, L"own"));
    EXPECT_EQ(m_Store.ReadString({}, L"other"), L"own");
}

// What the system answers to the next queries of a value, in order.
struct Answer {
    LSTATUS status;
    DWORD type;
    DWORD size;
};
std::vector<Answer> g_Answers;
LSTATUS WINAPI AnswerQuery(HKEY, const wchar_t*, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    const Answer answer = g_Answers.front();
    g_Answers.erase(g_Answers.begin());
    if (data != nullptr && answer.status == ERROR_SUCCESS)
        std::fill(data, data + std::min(*size, answer.size), std::uint8_t{'z'});
    *type = answer.type;
    *size = answer.size;
    return answer.status;
}

// A value that another process changes between the question for its size and the read.
TEST_F(RegistryStore, value_that_changes_under_the_read) {
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "advapi32.dll",
                                       "RegQueryValueExW", AnswerQuery);
    const struct {
        const char* what;
        Answer text[2];
        std::uint32_t textCode;
        Answer bytes[2];
        std::uint32_t bytesCode;
    } rows[] = {
        {"stays",
         {{0, REG_SZ, 4}, {0, REG_SZ, 4}},
         kNothing,
         {{0, REG_BINARY, 4}, {0, REG_BINARY, 4}},
         kNothing},
        {"size refused", {{5, REG_SZ, 4}}, 5, {{5, REG_BINARY, 4}}, 5},
        {"goes away",
         {{0, REG_SZ, 4}, {2, REG_SZ, 4}},
         2,
         {{0, REG_BINARY, 4}, {2, REG_BINARY, 4}},
         2},
        {"grows",
         {{0, REG_SZ, 4}, {234, REG_SZ, 8}},
         234,
         {{0, REG_BINARY, 4}, {234, REG_BINARY, 8}},
         234},
        {"shrinks",
         {{0, REG_SZ, 4}, {0, REG_SZ, 2}},
         kNothing,
         {{0, REG_BINARY, 4}, {0, REG_BINARY, 2}},
         160},
        {"changes its type",
         {{0, REG_SZ, 4}, {0, REG_BINARY, 4}},
         13,
         {{0, REG_BINARY, 4}, {0, REG_SZ, 4}},
         13},
        {"changes to another text",
         {{0, REG_SZ, 4}, {0, REG_MULTI_SZ, 4}},
         kNothing,
         {{0, REG_BINARY, 4}, {0, REG_NONE, 4}},
         13},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        g_Answers.assign(std::begin(row.text), std::end(row.text));
        EXPECT_EQ(CodeOf([&] { m_Store.ReadString(L"n", {}); }), row.textCode);
        g_Answers.assign(std::begin(row.bytes), std::end(row.bytes));
        Binary binary = {9};
        EXPECT_EQ(CodeOf([&] { m_Store.ReadBinary(L"n", binary); }), row.bytesCode);
        EXPECT_EQ(binary, row.bytesCode == kNothing ? Bytes(4, 'z') : Bytes{9});
    }
}

TEST_F(RegistryStore, refused_query_of_a_number_raises_the_systems_code) {
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "advapi32.dll",
                                       "RegQueryValueExW", AnswerQuery);
    const struct {
        Answer answer;
        std::uint32_t dwordCode;
        std::uint32_t qwordCode;
    } rows[] = {
        {{0, REG_DWORD, 4}, kNothing, 13}, {{0, REG_QWORD, 8}, 13, kNothing},
        {{5, REG_DWORD, 4}, 5, 5},         {{1018, REG_QWORD, 8}, 1018, 1018},
        {{234, REG_SZ, 100}, 13, 13},      {{234, REG_DWORD, 8}, 13, 13},
        {{234, REG_QWORD, 16}, 13, 13},
    };
    for (const auto& row : rows) {
        g_Answers = {row.answer, row.answer};
        EXPECT_EQ(CodeOf([&] { m_Store.ReadDword(L"n", 0); }), row.dwordCode) << &row - rows;
        EXPECT_EQ(CodeOf([&] { m_Store.ReadQword(L"n", 0); }), row.qwordCode) << &row - rows;
    }
}

LSTATUS WINAPI ThrowOther(HKEY, const wchar_t*, DWORD*, DWORD*, BYTE*, DWORD*) {
    throw 5;
}

TEST_F(RegistryStore, foreign_exception_passes_through_the_forms_that_do_not_raise) {
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "advapi32.dll",
                                       "RegQueryValueExW", ThrowOther);
    std::uint32_t error = kUntouched;
    Binary binary;
    EXPECT_THROW(m_Store.ReadDword(L"n", 0, &error), int);
    EXPECT_THROW(m_Store.ReadQword(L"n", 0, &error), int);
    EXPECT_THROW(m_Store.ReadString(L"n", {}, &error), int);
    EXPECT_THROW(m_Store.ReadBinary(L"n", binary, &error), int);
    EXPECT_EQ(error, kUntouched);
}

// A key of the test for writing, with what stands in it afterwards.
class RegistryWriter : public testing::Test {
protected:
    RegistryWriter() : m_Key(kPath, KEY_WOW64_64KEY), m_Store(kView64) {
        m_Store.OpenForWrite(kKey, kSubPath);
    }

    // Type and bytes of a value; type REG_NONE for a missing one.
    std::pair<DWORD, Bytes> Stored(const wchar_t* name) {
        DWORD type = REG_NONE;
        DWORD size = 0;
        const HKEY key = static_cast<HKEY>(m_Store.GetHandle());
        if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
            return {REG_NONE, {}};
        Bytes bytes(size);
        RegQueryValueExW(key, name, nullptr, &type, bytes.data(), &size);
        return {type, bytes};
    }

    RegistryKey m_Key;
    Registry m_Store;
};

TEST_F(RegistryWriter, values_are_stored_with_type_and_bytes) {
    using Stored = std::pair<DWORD, Bytes>;
    EXPECT_TRUE(m_Store.WriteDword(L"n", 0x04030201));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_DWORD, {1, 2, 3, 4}));
    EXPECT_TRUE(m_Store.WriteQword(L"n", 0x0807060504030201));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_TRUE(m_Store.WriteBinary(L"n", {1, 0, 2}));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_BINARY, {1, 0, 2}));
    EXPECT_TRUE(m_Store.WriteBinary(L"n", {}));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_BINARY, {}));
    EXPECT_TRUE(m_Store.WriteString(L"n", L"ab"));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_SZ, {'a', 0, 'b', 0, 0, 0}));
    EXPECT_TRUE(m_Store.WriteString(L"n", {}));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_SZ, {0, 0}));
    // The size counts characters, not what stands before a NUL.
    EXPECT_TRUE(m_Store.WriteString(L"n", std::wstring(L"a\0b", 3)));
    EXPECT_EQ(this->Stored(L"n"), Stored(REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0}));
}

TEST_F(RegistryWriter, texts_of_any_length_come_back) {
    for (const std::size_t length : {0U, 1U, 254U, 255U, 256U, 511U, 32767U, 32768U, 100000U}) {
        const std::wstring text(length, L'\x20ac');
        EXPECT_TRUE(m_Store.WriteString(L"text", text));
        EXPECT_EQ(m_Store.ReadString(L"text", L"other"), text) << length;
    }
}

TEST_F(RegistryWriter, refused_write_tells_key_and_value) {
    Registry reader(kView64);
    reader.OpenForRead(kKey, kSubPath);
    const std::wstring longName(20000, L'n');
    const struct {
        const char* what;
        StorageFailure failure;
        std::uint32_t code;
        std::wstring value;
    } rows[] = {
        {"number, no right", FailureOf([&] { reader.WriteDword(L"n", 1); }), 5, L"n"},
        {"long number, no right", FailureOf([&] { reader.WriteQword(L"n", 1); }), 5, L"n"},
        {"text, no right", FailureOf([&] { reader.WriteString(L"n", L"x"); }), 5, L"n"},
        {"bytes, no right", FailureOf([&] { reader.WriteBinary(L"n", {1}); }), 5, L"n"},
        {"deleting, no right", FailureOf([&] { reader.DeleteValue(L"n"); }), 5, L"n"},
        {"deleting what is missing", FailureOf([&] { m_Store.DeleteValue(L"n"); }), 2, L"n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.failure.code, row.code) << row.what;
        EXPECT_TRUE(row.failure.ofValue) << row.what;
        EXPECT_EQ(row.failure.keyPath, kPath) << row.what;
        EXPECT_EQ(row.failure.valueName, row.value) << row.what;
    }
}

TEST_F(RegistryWriter, value_is_deleted_by_either_form) {
    ASSERT_TRUE(m_Key.SetText(L"a", L"1"));
    ASSERT_TRUE(m_Key.SetText(L"b", L"2"));
    ASSERT_TRUE(m_Key.SetText(nullptr, L"own"));
    Registry store(kView64);
    store.OpenForDelete(kKey, kSubPath);
    EXPECT_TRUE(store.DeleteValue(std::wstring(L"a")));
    EXPECT_EQ(Stored(L"a").first, static_cast<DWORD>(REG_NONE));
    EXPECT_TRUE(store.DeleteValue(L"B"));  // names have no case
    EXPECT_EQ(Stored(L"b").first, static_cast<DWORD>(REG_NONE));
    EXPECT_TRUE(store.DeleteValue(static_cast<const wchar_t*>(nullptr)));  // the key's own
    EXPECT_EQ(Stored(nullptr).first, static_cast<DWORD>(REG_NONE));
}

TEST_F(RegistryWriter, key_deletes_itself_unless_it_has_sub_keys) {
    {
        const RegistryKey child(std::wstring(kPath) + L"\\child", KEY_WOW64_64KEY);
        Registry store(kView64);
        store.OpenForDelete(kKey, kSubPath);
        EXPECT_EQ(CodeOf([&] { store.DeleteSelf(); }), 5U);
    }
    Registry store(kView64);
    store.OpenForDelete(kKey, kSubPath);
    EXPECT_TRUE(store.DeleteSelf());
    EXPECT_TRUE(store.IsOpen());
    EXPECT_EQ(CodeOf([&] { store.Close(false); }), kNothing);
    EXPECT_EQ(CodeOf([&] { store.OpenForRead(kKey, kSubPath); }), 2U);
}

}  // namespace
