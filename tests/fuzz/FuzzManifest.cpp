// Manifests of any bytes: the linter reads the same items as the deployment, and judges any of
// them against a package that has some files.
//
// Input: the document.

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_XmlText.h"
#include "FuzzInput.h"
#include "deploy/DeployPlatform.h"
#include "deploy/PackageManifest.h"
#include "wyctl/PackageLint.h"

namespace WyDeployHelper::Platform {

bool Exists(const std::wstring&) {
    return true;
}

}  // namespace WyDeployHelper::Platform

namespace {

using WyCtl::PackageFile;
using WyCtl::PackageXml;
using WyDeployHelper::DeployCommon::PackageManifest;

class Files : public WyCtl::PackageFiles {
public:
    Kind KindOf(const std::wstring& path) override {
        return path.size() % 3 == 0 ? Kind::None : path.size() % 3 == 1 ? Kind::File : Kind::Folder;
    }
    std::vector<std::wstring> Matching(const std::wstring&, const std::wstring& pattern) override {
        return std::vector<std::wstring>(pattern.size() % 4, L"a.dll");
    }
    std::vector<PackageFile> Below(const std::wstring& folder) override {
        return std::vector<PackageFile>(folder.size() % 4, {L"sub\\a.dll", 1});
    }
    bool HasVersion(const std::wstring& path) override { return path.size() % 2 == 0; }
};

// The attribute of an item as both have read it.
template <class Record>
void Compare(const PackageXml& xml, const char* group, const char* element,
             const std::vector<Record>& records, const char* attribute,
             std::wstring Record::*field) {
    const std::vector<std::size_t> items = WyCtl::ItemsOf(xml, group, element);
    fuzz::Require(items.size() == records.size(), "another number of items");
    for (std::size_t i = 0; i < items.size(); ++i) {
        std::wstring wide;
        KrCommon::Storage::AppendWidened(wide, xml.nodes[items[i]].Value(attribute));
        fuzz::Require(wide == records[i].*field, "another value");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int s_Descriptor = memfd_create("document", 0);
    const std::wstring path = L"/proc/self/fd/" + std::to_wstring(s_Descriptor);
    fuzz::LogIntoNothing();
    fuzz::Require(ftruncate(s_Descriptor, 0) == 0 &&
                      pwrite(s_Descriptor, data, size, 0) == static_cast<ssize_t>(size),
                  "the document cannot be written");

    PackageManifest manifest;
    const bool read = manifest.Read(L".", path, true);
    const PackageXml xml = WyCtl::ReadPackageXml(L".", path);
    const bool product = !xml.nodes.empty() && xml.nodes[0].name == "Product";
    fuzz::Require(read == (!xml.fault.has_value() && product), "one reads what the other refuses");
    if (read) {
        Compare(xml, "RegistryGroup", "RegistryKey", manifest.registryKeys, "Key",
                &WyDeployHelper::DeployCommon::RegistryKeyRecord::key);
        Compare(xml, "RegistryGroup", "RegistryValue", manifest.registryValues, "Value",
                &WyDeployHelper::DeployCommon::RegistryValueRecord::value);
        Compare(xml, "FileGroup", "File", manifest.files, "Name",
                &WyDeployHelper::DeployCommon::FileRecord::name);
        Compare(xml, "FileGroup", "Folder", manifest.folders, "KeyModule",
                &WyDeployHelper::DeployCommon::FileRecord::name);
    }
    Files files;
    const WyCtl::LintReport report = WyCtl::LintPackage({L"P:", L"Wyvarion", L"Win7"}, xml, files);
    fuzz::Require(!report.findings.empty(), "Win7 is no finding");
    fuzz::Require(read || report.Errors() > 0, "a document that is refused has no error");
    for (const WyCtl::Finding& finding : report.findings) {
        fuzz::Require(!finding.id.empty() && !finding.what.empty() && !finding.advice.empty(),
                      "a finding that says nothing");
    }
    return 0;
}
