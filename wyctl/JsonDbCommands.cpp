#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"
#include "wyctl/JsonText.h"
#include "wyctl/ResultCodes.h"

namespace WyCtl {

namespace {

namespace JsonDb = WyCommon::JsonDb;

constexpr std::size_t kBlockDigits = 32;

std::string ReadText(const std::string& file) {
    const std::vector<std::uint8_t> bytes = ReadFileBytes(file);
    return {bytes.begin(), bytes.end()};
}

void RequireSuccess(const std::string& file, std::uint32_t code) {
    if (KrCommon::Result::Failed(code)) {
        throw Failure(fmt::format("{}: {} ({})", file, DescribeResult(code), HexCode(code)));
    }
}

void Load(const std::string& file, JsonDocument& document) {
    RequireSuccess(file, JsonDb::Load(KrCommon::String::FromUtf8(file), document));
}

const char* FormName(bool enciphered) {
    return enciphered ? "enciphered" : "plain";
}

// What is wrong with the form of an enciphered file.
std::vector<std::string> CipherProblems(std::string_view digits) {
    std::vector<std::string> problems;
    const auto foreign = std::count_if(digits.begin(), digits.end(), [](char c) {
        return std::string_view("0123456789abcdefABCDEF").find(c) == std::string_view::npos;
    });
    if (foreign != 0) {
        problems.push_back(fmt::format("{} character(s) are no hexadecimal digits", foreign));
    }
    if (digits.empty()) {
        problems.emplace_back("there is nothing behind the magic");
    } else if (digits.size() % kBlockDigits != 0) {
        problems.push_back(
            fmt::format("{} digit(s) are no whole number of blocks of {}; {} are left over",
                        digits.size(), kBlockDigits, digits.size() % kBlockDigits));
    }
    return problems;
}

}  // namespace

void RunJsonDbShow(Context& context, const std::string& file) {
    const bool enciphered = JsonDb::IsEnciphered(ReadText(file));
    JsonDocument document;
    Load(file, document);
    if (document.Status() != JsonDocument::kOk) {
        throw Failure(fmt::format("{} ({}) holds no JSON document", file, FormName(enciphered)));
    }
    if (!context.Options().json) {
        context.Screen().Out(WriteJsonForPeople(document.Native()) + "\n");
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["file"] = file;
    answer["enciphered"] = enciphered;
    answer["document"] = document.Native();
    context.PrintJson(answer);
}

void RunJsonDbSave(Context& context, const JsonDbSaveOptions& options) {
    const std::string text =
        options.from.empty() || options.from == "-" ? ReadStandardInput() : ReadText(options.from);
    JsonDocument document;
    // The library's own reader does not look behind the root.
    if (!ParseJson(text) || document.ParseUtf8(text) != JsonDocument::kOk) {
        throw Failure(fmt::format(
            "{} holds no JSON document",
            options.from.empty() || options.from == "-" ? "standard input" : options.from));
    }
    RequireSuccess(options.file, JsonDb::Save(KrCommon::String::FromUtf8(options.file), document,
                                              options.encrypt));
    // Saving does not report a failure to write, such as a full disk.
    JsonDocument written;
    Load(options.file, written);
    if (written.ToCompactUtf8() != document.ToCompactUtf8()) {
        throw Failure(fmt::format("{} was not written whole", options.file));
    }
    const std::size_t size = ReadFileBytes(options.file).size();
    if (!context.Options().json) {
        context.Screen().Out(
            fmt::format("{}: {}, {} bytes\n", options.file, FormName(options.encrypt), size));
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["file"] = options.file;
    answer["enciphered"] = options.encrypt;
    answer["size"] = static_cast<Json::UInt64>(size);
    context.PrintJson(answer);
}

int RunCryptCheck(Context& context, const std::string& file) {
    const std::string content = ReadText(file);
    const bool enciphered = JsonDb::IsEnciphered(content);
    std::vector<std::string> problems;
    if (enciphered) {
        problems = CipherProblems(std::string_view(content).substr(JsonDb::kMagic.size()));
    }
    JsonDocument document;
    Load(file, document);
    const bool parses = document.Status() == JsonDocument::kOk;
    if (!parses) {
        problems.emplace_back(enciphered ? "what it deciphers to is no JSON: the file is damaged "
                                           "or was made with another key"
                                         : "the text is no JSON");
    }
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = parses;
        answer["file"] = file;
        answer["size"] = static_cast<Json::UInt64>(content.size());
        answer["enciphered"] = enciphered;
        answer["parses"] = parses;
        Json::Value& list = answer["problems"] = Json::Value(Json::arrayValue);
        for (const std::string& problem : problems) {
            list.append(problem);
        }
        context.PrintJson(answer);
    } else {
        std::string text = fmt::format("{}, {} bytes, {}\n", FormName(enciphered), content.size(),
                                       parses ? "parses" : "does not parse");
        for (const std::string& problem : problems) {
            text += problem + "\n";
        }
        context.Screen().Out(text);
    }
    if (parses) {
        return kExitSuccess;
    }
    context.Screen().Err(fmt::format("wyctl: {}: {}\n", file, problems.back()));
    return kExitFailure;
}

}  // namespace WyCtl
