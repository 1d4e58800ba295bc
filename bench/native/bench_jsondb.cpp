// Saving and loading JSON databases beside the JSON library, the conversion between UTF-8 and wide
// text that the document's interface needs, and the file, by the shortest code that does it; and
// the text form of the cipher alone.

#include <benchmark/benchmark.h>
#include <json/json.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "lib/wycommon/WyCommon_JsonDb.h"

// The writer and reader that the library's document speaks with.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

namespace JsonDb = WyCommon::JsonDb;
namespace String = KrCommon::String;
namespace Cryptograph = KrCommon::Cryptograph;

constexpr int kRows = 600;  // some 64 KiB of text

// The path of the one file that all of them write and read.
class BenchFile {
public:
    BenchFile() : m_strPath("/tmp/bench-jsondb-" + std::to_string(getpid())) {}
    ~BenchFile() { std::remove(m_strPath.c_str()); }
    const std::string& Narrow() const { return m_strPath; }
    std::wstring Wide() const { return String::FromUtf8(m_strPath); }

private:
    std::string m_strPath;
};

const BenchFile g_File;

const Json::Value& Value() {
    static const Json::Value s_Value = [] {
        Json::Value value;
        for (int i = 0; i < kRows; ++i) {
            Json::Value row;
            row["lcid"] = 1024 + i;
            row["localeName"] = "DE-" + std::to_string(i);
            row["display"] = "Sprache \xc3\xa4\xe2\x82\xac " + std::to_string(i);
            row["enabled"] = i % 2 == 0;
            value["localMapping"].append(row);
        }
        value["defaultLocal"] = "EN-US";
        return value;
    }();
    return s_Value;
}

JsonDocument Document() {
    JsonDocument document;
    document.Native() = Value();
    return document;
}

std::string StyledText() {
    Json::StyledWriter writer;
    return writer.write(Value());
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void WriteFile(const std::string& content) {
    const File file(std::fopen(g_File.Narrow().c_str(), "w"), std::fclose);
    std::fwrite(content.data(), 1, content.size(), file.get());
}

std::string ReadFile() {
    const File file(std::fopen(g_File.Narrow().c_str(), "r"), std::fclose);
    std::fseek(file.get(), 0, SEEK_END);
    std::string content(static_cast<std::size_t>(std::ftell(file.get())), '\0');
    std::rewind(file.get());
    content.resize(std::fread(content.data(), 1, content.size(), file.get()));
    return content;
}

void BareSave(benchmark::State& state) {
    const Json::Value value = Value();
    for (auto _ : state) {
        Json::StyledWriter writer;
        const std::wstring wide = String::FromUtf8(writer.write(value));
        WriteFile(String::ToUtf8(wide));
    }
}
BENCHMARK(BareSave);

void BareLoad(benchmark::State& state) {
    WriteFile(StyledText());
    for (auto _ : state) {
        const std::wstring wide = String::FromUtf8(ReadFile());
        const std::string narrow = String::ToUtf8(wide);
        Json::Value value;
        Json::Reader reader(Json::Features::all());
        if (!reader.parse(narrow.data(), narrow.data() + narrow.size(), value, false)) {
            state.SkipWithError("the text does not parse");
            break;
        }
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BareLoad);

void Save(benchmark::State& state, bool encrypt) {
    const JsonDocument document = Document();
    const std::wstring path = g_File.Wide();
    for (auto _ : state) {
        if (JsonDb::Save(path, document, encrypt) != KrCommon::Result::kSuccess) {
            state.SkipWithError("the file is not written");
            break;
        }
    }
}
BENCHMARK_CAPTURE(Save, plain, false);
BENCHMARK_CAPTURE(Save, enciphered, true);

void Load(benchmark::State& state, bool encrypt) {
    const std::wstring path = g_File.Wide();
    JsonDb::Save(path, Document(), encrypt);
    for (auto _ : state) {
        JsonDocument document;
        if (JsonDb::Load(path, document) != KrCommon::Result::kSuccess ||
            document.Status() != JsonDocument::kOk) {
            state.SkipWithError("the file is not read");
            break;
        }
        benchmark::DoNotOptimize(document);
    }
}
BENCHMARK_CAPTURE(Load, plain, false);
BENCHMARK_CAPTURE(Load, enciphered, true);

void Encipher(benchmark::State& state) {
    const std::string text = StyledText();
    for (auto _ : state) {
        std::string digits;
        Cryptograph::EncryptStringA(digits, text);
        benchmark::DoNotOptimize(digits);
    }
}
BENCHMARK(Encipher);

void Decipher(benchmark::State& state) {
    std::string digits;
    Cryptograph::EncryptStringA(digits, StyledText());
    for (auto _ : state) {
        std::string text;
        Cryptograph::DecryptStringA_Sub(text, digits, digits.size() / 2);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(Decipher);

}  // namespace
