#pragma once

// A package that exists in a test alone, but for its manifest, and what the linter says of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"
#include "wyctl/PackageLint.h"

namespace lint_test {

using Texts = std::vector<std::string>;

// Files by their paths; folders are what files lie in. Case is ignored as the system does.
class FakePackage : public WyCtl::PackageFiles {
public:
    void Put(const std::wstring& path, bool hasVersion = false) {
        m_Files[Upper(path)] = hasVersion;
    }
    void Clear() { m_Files.clear(); }

    Kind KindOf(const std::wstring& path) override {
        const std::wstring name = Upper(path);
        if (m_Files.contains(name))
            return Kind::File;
        return path == L"P:" || !Below(path).empty() ? Kind::Folder : Kind::None;
    }
    std::vector<std::wstring> Matching(const std::wstring& folder,
                                       const std::wstring& pattern) override {
        std::vector<std::wstring> names;
        for (const auto& file : Below(folder)) {
            if (file.name.find(L'\\') == std::wstring::npos &&
                Matches(file.name.c_str(), Upper(pattern).c_str()))
                names.push_back(file.name);
        }
        return names;
    }
    std::vector<WyCtl::PackageFile> Below(const std::wstring& folder) override {
        std::vector<WyCtl::PackageFile> files;
        const std::wstring head = Upper(folder) + L"\\";
        for (const auto& [path, hasVersion] : m_Files) {
            if (path.starts_with(head))
                files.push_back({path.substr(head.size()), 1});
        }
        return files;
    }
    bool HasVersion(const std::wstring& path) override {
        const auto found = m_Files.find(Upper(path));
        return found != m_Files.end() && found->second;
    }

private:
    static std::wstring Upper(std::wstring text) {
        std::transform(text.begin(), text.end(), text.begin(), [](wchar_t letter) {
            return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(letter)));
        });
        return text;
    }
    static bool Matches(const wchar_t* name, const wchar_t* pattern) {
        if (*pattern == L'*')
            return Matches(name, pattern + 1) || (*name != 0 && Matches(name + 1, pattern));
        return *name == *pattern && (*name == 0 || Matches(name + 1, pattern + 1));
    }

    std::map<std::wstring, bool> m_Files;
};

class Lint : public testing::Test {
protected:
    Lint() {
        for (const wchar_t* name :
             {L"Setup.ini", L"x64\\foundation\\libexpat.dll", L"win32\\foundation\\libexpat.dll"})
            Put(name);
    }

    void Put(const std::wstring& name, bool hasVersion = false) {
        m_Files.Put(L"P:\\" + name, hasVersion);
    }

    WyCtl::LintReport Report(const std::string& document) {
        const std::filesystem::path path = m_Folder.Path() / "InstCfg.xml";
        std::ofstream(path, std::ios::binary | std::ios::trunc) << document;
        m_Xml = WyCtl::ReadPackageXml(L".", path.wstring());
        return WyCtl::LintPackage({L"P:", L"Wyvarion", m_Os}, m_Xml, m_Files);
    }

    // The findings of a manifest, "E id line element" each, with the Id in brackets.
    Texts Findings(const std::string& document) {
        m_Report = Report(document);
        Texts lines;
        for (const WyCtl::Finding& finding : m_Report.findings) {
            EXPECT_FALSE(finding.what.empty());
            EXPECT_FALSE(finding.advice.empty());
            lines.push_back((finding.severity == WyCtl::Severity::Error ? "E " : "W ") +
                            finding.id +
                            (finding.line == 0 ? "" : " " + std::to_string(finding.line)) +
                            (finding.element.empty() ? "" : " " + finding.element) +
                            (finding.item.empty() ? "" : " [" + finding.item + "]"));
        }
        return lines;
    }

    // The findings of one item, without line and element.
    Texts OfItem(const std::string& item) {
        const bool registry = item.starts_with("<Registry");
        const std::string group = registry ? "RegistryGroup" : "FileGroup";
        Texts lines = Findings("<Product><" + group + ">" + item + "</" + group + "></Product>");
        for (std::string& line : lines)
            line = line.substr(0, line.find(' ', 2));
        return lines;
    }

    test_support::TemporaryFolder m_Folder{L"wy_lint"};
    FakePackage m_Files;
    std::optional<std::wstring> m_Os;
    WyCtl::PackageXml m_Xml;
    WyCtl::LintReport m_Report;
};

}  // namespace lint_test
