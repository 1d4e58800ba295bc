#include "wyctl/PackageXml.h"

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_XmlParserExpatBase.h"

namespace WyCtl {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
namespace Storage = KrCommon::Storage;

constexpr std::size_t kBlockSize = 16384;

class ManifestReader : public Storage::XmlParserExpatBase {
public:
    explicit ManifestReader(std::vector<XmlNode>& nodes) : m_Nodes(nodes) {}

    void OnStartElement(const char* name, const char** attributes) override {
        XmlNode node;
        node.name = name;
        node.parent = m_Open.empty() ? XmlNode::kNoParent : m_Open.back();
        GetCurrentLineNumber(node.line);
        for (; *attributes != nullptr; attributes += 2) {
            node.attributes.emplace_back(attributes[0], attributes[1]);
        }
        m_Open.push_back(m_Nodes.size());
        m_Nodes.push_back(std::move(node));
    }
    void OnEndElement(const char*) override { m_Open.pop_back(); }

    // The code of the first step that fails, 0 for a document read to its end.
    std::uint32_t Read(const Storage::XmlParsingState& state) {
        Storage::FileBase file;
        std::uint32_t code = ErrorCode::kSuccess;
        if (!file.OpenForRead(state.wszFilePath, &code)) {
            return code;
        }
        CopyParsingState(state);
        code = LoadLibrary();
        if (code == ErrorCode::kSuccess) {
            code = CreateParser();
        }
        std::vector<char> block(kBlockSize);
        for (bool isFinal = false; code == ErrorCode::kSuccess && !isFinal;) {
            std::uint32_t count = 0;
            if (!file.Read(block.data(), kBlockSize, &count, &code)) {
                return code;
            }
            isFinal = count == 0;
            code = Parse(block.data(), static_cast<int>(count), isFinal);
        }
        return code;
    }

    XmlFault FaultOf(std::uint32_t code) const {
        XmlFault fault;
        fault.code = code;
        const char* words = "";
        if (code == ErrorCode::kInvalidData && GetErrorString(words) == ErrorCode::kSuccess) {
            GetCurrentLineNumber(fault.line);
            GetCurrentColumnNumber(fault.column);
            fault.words = words;
        }
        return fault;
    }

private:
    std::vector<XmlNode>& m_Nodes;
    std::vector<std::size_t> m_Open;
};

}  // namespace

bool XmlNode::Has(std::string_view attribute) const {
    for (const auto& [key, value] : attributes) {
        if (key == attribute) {
            return true;
        }
    }
    return false;
}

const std::string& XmlNode::Value(std::string_view attribute) const {
    static const std::string s_None;
    for (const auto& [key, value] : attributes) {
        if (key == attribute) {
            return value;
        }
    }
    return s_None;
}

PackageXml ReadPackageXml(const std::wstring& folderOfLibrary, const std::wstring& path) {
    PackageXml xml;
    Storage::XmlParsingState state;
    std::uint32_t code = Storage::CopyIntoBuffer(state.wszFilePath, path.c_str());
    for (const auto& [buffer, text] :
         {std::pair{&state.wszPathOfDll, folderOfLibrary.c_str()}, {&state.wszEncoding, L"UTF8"}}) {
        if (code == ErrorCode::kSuccess) {
            code = Storage::CopyIntoBuffer(*buffer, text);
        }
    }
    ManifestReader reader(xml.nodes);
    if (code == ErrorCode::kSuccess) {
        code = reader.Read(state);
    }
    if (code != ErrorCode::kSuccess) {
        xml.fault = reader.FaultOf(code);
    }
    return xml;
}

}  // namespace WyCtl
