#include "deploy/PackageManifest.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>
#include <utility>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_XmlElement.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "deploy/DeployPlatform.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace Storage = KrCommon::Storage;

constexpr char kLogSource[] = "PackageManifest";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

// What the parser raises when memory is short.
constexpr std::uint32_t kNoMemory = KrCommon::ErrorCode::kInvalidHandle;

// ---- attributes

template <class Record>
struct Attribute {
    const wchar_t* name;
    std::wstring Record::*text;
};

constexpr Attribute<RegistryKeyRecord> kRegistryKey[] = {
    {L"Id", &RegistryKeyRecord::id},
    {L"Action", &RegistryKeyRecord::action},
    {L"Root", &RegistryKeyRecord::root},
    {L"Key", &RegistryKeyRecord::key},
    {L"Platform", &RegistryKeyRecord::platform},
};

constexpr Attribute<RegistryValueRecord> kRegistryValue[] = {
    {L"Id", &RegistryValueRecord::id},
    {L"Action", &RegistryValueRecord::action},
    {L"AllAccess", &RegistryValueRecord::allAccess},
    {L"Root", &RegistryValueRecord::root},
    {L"Key", &RegistryValueRecord::key},
    {L"Name", &RegistryValueRecord::name},
    {L"Value", &RegistryValueRecord::value},
    {L"Type", &RegistryValueRecord::type},
    {L"Platform", &RegistryValueRecord::platform},
};

constexpr Attribute<FileRecord> kFile[] = {
    {L"Id", &FileRecord::id},
    {L"Action", &FileRecord::action},
    {L"Overwrite", &FileRecord::overwrite},
    {L"Name", &FileRecord::name},
    {L"SourceDir", &FileRecord::sourceDir},
    {L"TargetDir", &FileRecord::targetDir},
    {L"Platform", &FileRecord::platform},
};

constexpr Attribute<FileRecord> kFolder[] = {
    {L"Id", &FileRecord::id},
    {L"Action", &FileRecord::action},
    {L"Overwrite", &FileRecord::overwrite},
    {L"KeyModule", &FileRecord::name},
    {L"SourceDir", &FileRecord::sourceDir},
    {L"TargetDir", &FileRecord::targetDir},
    {L"Platform", &FileRecord::platform},
};

// ---- elements

// Replaces a list by the children of a group with one name. `group` may be null: there are none.
template <class Record, std::size_t count>
void ReadItems(Storage::XmlElement* group, std::wstring_view name,
               const Attribute<Record> (&attributes)[count], std::vector<Record>& records) {
    records.clear();
    if (group == nullptr)
        return;
    for (Storage::XmlElement* item = group->GetFirstChild(); item != nullptr;
         item = group->GetNextChild()) {
        if (item->GetName() != name)
            continue;
        Record record;
        for (const Attribute<Record>& attribute : attributes)
            item->GetAttribute(attribute.name, record.*attribute.text);
        records.push_back(std::move(record));
    }
}

void ReadProduct(Storage::XmlElement& product, bool withRegistry, PackageManifest& manifest) {
    if (withRegistry) {
        Storage::XmlElement* const group = product.Find(L"./RegistryGroup");
        ReadItems(group, L"RegistryKey", kRegistryKey, manifest.registryKeys);
        ReadItems(group, L"RegistryValue", kRegistryValue, manifest.registryValues);
    }
    Storage::XmlElement* const group = product.Find(L"./FileGroup");
    ReadItems(group, L"File", kFile, manifest.files);
    ReadItems(group, L"Folder", kFolder, manifest.folders);
}

// Runs a step of the parser; on failure the text and the code go to the log.
template <class Step>
bool Run(const wchar_t* failure, Step step) noexcept {
    std::uint32_t code = kNoMemory;
    try {
        return step();
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        code = raised->Code();
    } catch (const std::bad_alloc&) {
        // The code stands already.
    }
    WY_LOG_ERROR << failure << WyHex{code};
    return false;
}

}  // namespace

bool PackageManifest::Read(const std::wstring& pathOfDll, const std::wstring& configPath,
                           bool withRegistry) noexcept {
    Storage::XmlParser parser;
    const auto open = [&] {
        if (!Platform::Exists(configPath)) {
            WY_LOG_ERROR << L"Config file does not exist. Path: " << configPath;
            return false;
        }
        parser.SetOption(L"PathOfDll", pathOfDll.c_str());
        parser.Open(configPath.c_str(), L"/");
        return true;
    };
    const auto read = [&] {
        Storage::XmlElement product;
        // An element that is not there is raised; the answer false is told all the same.
        if (!parser.QueryData(L"./Product", product)) {
            WY_LOG_ERROR << L"cParser.QueryData(L\"./Product\") failed: " << configPath;
            return false;
        }
        ReadProduct(product, withRegistry, *this);
        return true;
    };
    // The first text is known by its spelling, which is not to be mended.
    return Run(L"Excpetion when reading XML file: ", open) &&
           Run(L"Failed to parse InstCfg.xml with XML parser: ", read);
}

}  // namespace WyDeployHelper::DeployCommon
