#include "lib/wycommon/WyCommon_JsonDb.h"

#include <memory>
#include <new>
#include <sstream>
#include <utility>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Wipe.h"
#include "lib/wycommon/WyCommon_JsonDbFile.h"

namespace WyCommon::JsonDb {

namespace {

namespace Result = KrCommon::Result;
using KrCommon::LogLevel::kError;

constexpr char kLogSource[] = "WyCommon_JsonDb";
constexpr wchar_t kLogHead[] = L"WyCommon: [ERROR] ";

// The lines that these messages are known by.
constexpr std::uint32_t kLineOpenForWriting = 20;
constexpr std::uint32_t kLineNoMemory = 36;
constexpr std::uint32_t kLineOpenForReading = 62;

// Under this source and line the deciphering is known.
constexpr char kCryptSource[] = "..\\..\\Common\\KrCommon\\KrComn_StringCrypt";
constexpr std::uint32_t kLineDecipher = 310;

void LogOpenFailure(std::uint32_t line, const std::wstring& path, std::uint32_t error) {
    WyLogStream(kLogSource, line, kError)
        << kLogHead << L"failed to open file <" << path << L">, error = " << error;
}

// The magic and the cipher of the text, ended by a zero; null without memory.
std::unique_ptr<char[]> Encipher(const std::string& text) {
    std::string digits;
    if (!KrCommon::Cryptograph::EncryptStringA(digits, text)) {
        return nullptr;
    }
    const std::size_t size = digits.size() + kMagic.size() + 1;
    std::unique_ptr<char[]> block(new (std::nothrow) char[size]());
    if (block == nullptr) {
        WyLogStream(kLogSource, kLineNoMemory, kError)
            << kLogHead << L"Get memery error, size" << digits.size();
        return nullptr;
    }
    kMagic.copy(block.get(), kMagic.size());
    digits.copy(block.get() + kMagic.size(), digits.size());
    return block;
}

std::uint32_t CheckedSave(const std::wstring& path, const JsonDocument& document, bool encrypt) {
    std::ofstream file;
    Platform::Open(file, path);
    if (file.fail()) {
        LogOpenFailure(kLineOpenForWriting, path, Platform::LastError());
        return Result::kJsonDbNotWritten;
    }
    std::string text = KrCommon::String::ToUtf8(document.ToStyledString());
    if (text.empty()) {
        return Result::kFailure;  // every document has a text: memory ran out
    }
    if (!encrypt) {
        file << text;
    } else {
        const KrCommon::WipeAtEnd wipe(text.data(), text.size());
        const std::unique_ptr<char[]> block = Encipher(text);
        if (block == nullptr) {
            return Result::kFailure;
        }
        file << block.get();
    }
    file.close();
    return Result::kSuccess;
}

// The rest of the file; empty when it cannot be had whole.
std::string ReadAll(std::ifstream& file) {
    std::ostringstream content;
    content << file.rdbuf();
    file.close();
    return content.fail() ? std::string() : std::move(content).str();
}

std::string Decipher(const std::string& content) {
    const std::string digits = content.substr(kMagic.size());
    std::string text;
    if (!KrCommon::Cryptograph::DecryptStringA_Sub(text, digits, digits.size() / 2)) {
        WyLogStream(kCryptSource, kLineDecipher, kError)
            << L"*** KrCommon::Cryptograph::EncryptStringA() - DecryptStringA_Sub() was failed.";
    }
    return text;
}

std::wstring ReadText(std::ifstream& file) noexcept {
    try {
        std::string content = ReadAll(file);
        if (IsEnciphered(content)) {
            content = Decipher(content);
        }
        return KrCommon::String::FromUtf8(content);
    } catch (...) {
        return {};  // no memory: a text that does not parse
    }
}

}  // namespace

bool IsEnciphered(std::string_view content) noexcept {
    return content.substr(0, kMagic.size()) == kMagic;
}

std::uint32_t Save(const std::wstring& path, const JsonDocument& document, bool encrypt) noexcept {
    try {
        return CheckedSave(path, document, encrypt);
    } catch (...) {
        return Result::kFailure;
    }
}

std::uint32_t Load(const std::wstring& path, JsonDocument& document) noexcept {
    try {
        std::ifstream file;
        Platform::Open(file, path);
        if (file.fail()) {
            LogOpenFailure(kLineOpenForReading, path, Platform::LastError());
            return Result::kJsonDbNotRead;
        }
        const std::wstring text = ReadText(file);
        // What was there goes, whether the text parses or not.
        document.SetDocument(JsonDocument());
        document.Parse(text);
        return Result::kSuccess;
    } catch (...) {
        // No memory for the stream.
        LogOpenFailure(kLineOpenForReading, path, KrCommon::ErrorCode::kNotEnoughMemory);
        return Result::kJsonDbNotRead;
    }
}

}  // namespace WyCommon::JsonDb
