// Reading XML files: opening one as a tree and closing it again, beside expat alone over the same
// file in blocks of the same size, with handlers that do nothing. A package manifest, which is what
// this is for, may take 1.35 of it; a document of many short texts is shown beside it. The opening
// includes loading the library.

#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "native/CountedAllocations.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

using KrCommon::Storage::FileBase;
using KrCommon::Storage::XmlParser;

constexpr std::uint32_t kBlockSize = 1024;
constexpr int kItems = 500;

// A package manifest: mostly attributes.
std::string Manifest() {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Product>\n  <RegistryGroup>\n";
    for (int i = 0; i < kItems; ++i) {
        const std::string number = std::to_string(i);
        text += "    <RegistryValue Id=\"Value" + number +
                "\" Action=\"write\" AllAccess=\"yes\" Root=\"HKLM\" "
                "Key=\"SOFTWARE\\KorvexData\\Module" +
                number + "\\Settings\" Name=\"InstallFolder\" Value=\"" + number +
                "\" Type=\"dword\" Platform=\"x64\" />\n";
    }
    text += "  </RegistryGroup>\n  <FileGroup>\n";
    for (int i = 0; i < kItems; ++i) {
        const std::string number = std::to_string(i);
        text += "    <File Id=\"File" + number +
                "\" Action=\"write\" Overwrite=\"yes\" Name=\"component" + number +
                ".dll\" SourceDir=\"x64\\foundation\" TargetDir=\"foundation\" Platform=\"x64\" "
                "/>\n";
    }
    return text + "  </FileGroup>\n</Product>\n";
}

// Short texts in elements without attributes.
std::string Texts() {
    std::string text = "<Shortcuts>\n";
    for (int i = 0; i < 2 * kItems; ++i) {
        const std::string number = std::to_string(i);
        text += "  <Shortcut>\n    <Name>Entry number " + number +
                "</Name>\n    <Target>bin\\program" + number +
                ".exe</Target>\n    <Description>Opens the part of the product that "
                "this entry names.</Description>\n  </Shortcut>\n";
    }
    return text + "</Shortcuts>\n";
}

// A file with this text, for the length of a benchmark.
class Document {
public:
    explicit Document(const std::string& text) : m_Folder(L"bench_xml") {
        const std::filesystem::path path = m_Folder.Path() / "document.xml";
        std::ofstream(path, std::ios::binary) << text;
        m_strPath = path.wstring();
        m_uiSize = text.size();
    }
    const wchar_t* Path() const { return m_strPath.c_str(); }
    std::size_t Size() const { return m_uiSize; }

private:
    test_support::TemporaryFolder m_Folder;
    std::wstring m_strPath;
    std::size_t m_uiSize = 0;
};

void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "bench_xml: %s\n", what);
        std::abort();
    }
}

void XMLCALL NoStart(void*, const XML_Char*, const XML_Char**) {}
void XMLCALL NoEnd(void*, const XML_Char*) {}
void XMLCALL NoText(void*, const XML_Char*, int) {}
void XMLCALL NoInstruction(void*, const XML_Char*, const XML_Char*) {}
void XMLCALL NoComment(void*, const XML_Char*) {}

void ReadBare(const Document& document) {
    FileBase file;
    Require(file.OpenForRead(document.Path(), nullptr), "the document cannot be opened");
    const XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetElementHandler(parser, NoStart, NoEnd);
    XML_SetCharacterDataHandler(parser, NoText);
    XML_SetProcessingInstructionHandler(parser, NoInstruction);
    XML_SetDefaultHandler(parser, NoText);
    XML_SetCommentHandler(parser, NoComment);
    char block[kBlockSize];
    for (std::uint32_t count = 1; count != 0;) {
        Require(file.Read(block, kBlockSize, &count, nullptr), "the document cannot be read");
        Require(XML_Parse(parser, block, static_cast<int>(count), count == 0) == XML_STATUS_OK,
                "the document is faulty");
    }
    XML_ParserFree(parser);
}

// The library lies beside the program.
const std::wstring& FolderOfDll() {
    static const std::wstring s_Folder = test_support::ProgramFolder().wstring();
    return s_Folder;
}

void ReadTree(const Document& document) {
    XmlParser parser;
    parser.SetOption(L"PathOfDll", FolderOfDll().c_str());
    parser.Open(document.Path(), L"/");
    benchmark::DoNotOptimize(&parser);
    parser.Close();
}

void Run(benchmark::State& state, const std::string& text, void (*read)(const Document&)) {
    const Document document(text);
    read(document);
    const std::uint64_t before = CountedAllocations();
    for (auto step : state) {
        static_cast<void>(step);
        read(document);
    }
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["allocations"] = static_cast<double>(CountedAllocations() - before) / rounds;
    state.SetBytesProcessed(static_cast<std::int64_t>(document.Size()) *
                            static_cast<std::int64_t>(state.iterations()));
}

void ManifestBare(benchmark::State& state) {
    Run(state, Manifest(), ReadBare);
}
BENCHMARK(ManifestBare);

void ManifestTree(benchmark::State& state) {
    Run(state, Manifest(), ReadTree);
}
BENCHMARK(ManifestTree);

void TextsBare(benchmark::State& state) {
    Run(state, Texts(), ReadBare);
}
BENCHMARK(TextsBare);

void TextsTree(benchmark::State& state) {
    Run(state, Texts(), ReadTree);
}
BENCHMARK(TextsTree);

}  // namespace
