// XML documents of any bytes: opened with each encoding, and looked into with paths of any
// characters.
//
// Input: one byte (bits 0 and 1: the encoding), the path of the root, a line end, a path to query,
// a line end, the document.

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "FuzzInput.h"

namespace {

using KrCommon::Storage::XmlElement;
using KrCommon::Storage::XmlParser;

constexpr const wchar_t* kEncodings[] = {L"UTF8", L"UTF16", L"ISO_8859_1", L"US_ASCII"};

// A file in memory.
class Document {
public:
    Document() : m_iDescriptor(memfd_create("document", 0)) {
        fuzz::Require(m_iDescriptor >= 0, "no file in memory");
        m_strPath = L"/proc/self/fd/" + std::to_wstring(m_iDescriptor);
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;
    ~Document() { close(m_iDescriptor); }

    void Write(const std::vector<std::uint8_t>& bytes) const {
        const auto size = static_cast<ssize_t>(bytes.size());
        fuzz::Require(ftruncate(m_iDescriptor, 0) == 0 &&
                          pwrite(m_iDescriptor, bytes.data(), bytes.size(), 0) == size,
                      "the document cannot be written");
    }
    const wchar_t* Path() const { return m_strPath.c_str(); }

private:
    int m_iDescriptor;
    std::wstring m_strPath;
};

std::wstring TakeLine(fuzz::Input& input) {
    std::wstring line;
    for (std::uint8_t byte = 0; !input.IsEmpty() && (byte = input.Byte()) != '\n';) {
        line += static_cast<wchar_t>(byte);
    }
    return line;
}

// Runs an operation; the code of what it raises.
template <class Operation>
std::uint32_t CodeOf(Operation operation) {
    try {
        operation();
    } catch (KrCommon::Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        return raised->Code();
    }
    return 0;
}

// Two trees with the same content, whose pointers agree.
void Compare(XmlElement& a, XmlElement& b, int depth) {
    fuzz::Require(a.GetName() == b.GetName() && a.GetText() == b.GetText(), "trees differ");
    std::wstring names[2];
    std::wstring values[2];
    bool more = a.GetFirstAttribute(names[0], values[0]);
    fuzz::Require(more == b.GetFirstAttribute(names[1], values[1]), "attributes differ");
    while (more) {
        const std::wstring before = names[0];
        fuzz::Require(names[0] == names[1] && values[0] == values[1], "an attribute differs");
        fuzz::Require(a.GetAttribute(names[1], values[0]) && values[0] == values[1],
                      "an attribute is not found");
        more = a.GetNextAttribute(names[0], values[0]);
        fuzz::Require(more == b.GetNextAttribute(names[1], values[1]), "attributes differ");
        fuzz::Require(!more || before < names[0], "attributes without order");
    }
    if (depth == 0)
        return;
    XmlElement* left = a.GetFirstChild();
    XmlElement* right = b.GetFirstChild();
    while (left != nullptr && right != nullptr) {
        fuzz::Require(left->GetParent() == &a && right->GetParent() == &b, "not the parent");
        Compare(*left, *right, depth - 1);
        left = a.GetNextChild();
        right = b.GetNextChild();
    }
    fuzz::Require(left == right, "children differ");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Document s_Document;
    fuzz::Input input(data, size);
    const wchar_t* const encoding = kEncodings[input.Byte() & 3];
    const std::wstring rootPath = L"/" + TakeLine(input);
    const std::wstring path = TakeLine(input);
    s_Document.Write(input.Rest());

    XmlParser parser;
    parser.SetOption(L"PathOfDll", L".");
    parser.SetOption(L"Encoding", encoding);
    const std::uint32_t code = CodeOf([&] { parser.Open(s_Document.Path(), rootPath.c_str()); });
    fuzz::Require(code == 0 || code == 13 || code == 160, "a code that no document has");

    XmlElement whole;
    const std::uint32_t query = CodeOf([&] { parser.QueryData(L".", whole); });
    fuzz::Require(query == (code == 0 ? 0U : 6U), "what was read cannot be had");

    XmlElement part;
    const bool found = CodeOf([&] { parser.QueryData(path.c_str(), part); }) == 0;
    if (code == 0) {
        XmlElement* const same = whole.Find(path.c_str());
        fuzz::Require((same != nullptr) == found, "parser and element find different things");
        if (found)
            Compare(part, *same, 64);
    }
    XmlElement copy;
    copy.Copy(whole);
    Compare(copy, whole, 64);
    if (CodeOf([&] { copy.SetValue(path, L"value"); }) == 0) {
        const XmlElement* const changed = copy.Find(path);
        fuzz::Require(changed != nullptr && changed->GetText() == L"value", "no value was set");
    }
    parser.Close();
    return 0;
}
