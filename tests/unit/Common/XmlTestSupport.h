#pragma once

// What the tests of the XML rooms share.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_XmlElement.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "support/TemporaryFolder.h"

namespace xml_test {

// The XML library lies beside the test programs, and their folder is the current one.
constexpr const wchar_t* kFolderOfDll = L".";

// What an operation raised; no code when it raised nothing.
struct Outcome {
    std::uint32_t code = 0;
    std::uint32_t line = 0;  // of the source
    bool isXml = false;
    std::int32_t xmlLine = 0;
    std::int32_t xmlColumn = 0;
    std::string text;
};

template <class Operation>
Outcome OutcomeOf(Operation operation) {
    namespace Storage = KrCommon::Storage;
    try {
        operation();
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        Outcome outcome;
        outcome.code = raised->Code();
        outcome.line = raised->Line();
        if (const auto* const xml = dynamic_cast<const Storage::XmlException*>(raised)) {
            outcome.isXml = true;
            outcome.xmlLine = xml->XmlLine();
            outcome.xmlColumn = xml->XmlColumn();
            outcome.text = xml->Text();
        }
        return outcome;
    }
    return {};
}

// A file in a folder of its own.
class DocumentFile {
public:
    explicit DocumentFile(const std::string& bytes) : m_Folder(L"xml") { Write(bytes); }

    void Write(const std::string& bytes) const {
        std::ofstream(Path(), std::ios::binary | std::ios::trunc) << bytes;
    }
    std::filesystem::path Path() const { return m_Folder.Path() / "document.xml"; }

private:
    test_support::TemporaryFolder m_Folder;
};

inline void Open(KrCommon::Storage::XmlParser& parser, const DocumentFile& file,
                 const wchar_t* rootPath = L"/", const wchar_t* encoding = L"UTF8") {
    parser.SetOption(L"PathOfDll", kFolderOfDll);
    parser.SetOption(L"Encoding", encoding);
    parser.Open(file.Path().wstring().c_str(), rootPath);
}

// A tree in one line: name{attribute=value ...}'text'(child child ...), each part only if there.
inline std::wstring Print(KrCommon::Storage::XmlElement& element) {
    std::wstring line(element.GetName());
    std::wstring name;
    std::wstring value;
    const wchar_t* before = L"{";
    for (bool more = element.GetFirstAttribute(name, value); more;
         more = element.GetNextAttribute(name, value)) {
        line += before + name + L"=" + value;
        before = L" ";
    }
    line += *before == L' ' ? L"}" : L"";
    if (!element.GetText().empty())
        line += L"'" + element.GetText() + L"'";
    before = L"(";
    for (auto* child = element.GetFirstChild(); child != nullptr; child = element.GetNextChild()) {
        line += before + Print(*child);
        before = L" ";
    }
    return line + (*before == L' ' ? L")" : L"");
}

// The tree of a document, or the code it is refused with.
inline std::wstring Read(const std::string& bytes, const wchar_t* rootPath = L"/",
                         const wchar_t* encoding = L"UTF8") {
    const DocumentFile file(bytes);
    KrCommon::Storage::XmlParser parser;
    KrCommon::Storage::XmlElement root;
    const Outcome outcome = OutcomeOf([&] {
        Open(parser, file, rootPath, encoding);
        parser.QueryData(L"", root);
    });
    return outcome.code == 0 ? Print(root) : L"code " + std::to_wstring(outcome.code);
}

}  // namespace xml_test
