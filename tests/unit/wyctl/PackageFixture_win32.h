#pragma once

// A package in "pkg" and a product in "Wy", for the commands that look at packages.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "ProgramFixture.h"
#include "support/TemporaryFolder.h"

class PackageFixture : public ProgramFixture {
protected:
    void SetUp() override {
        Put(L"pkg\\Setup.ini", "[Check]\r\nCheckOS=0\r\n");
        Put(L"pkg\\x64\\foundation\\libexpat.dll", "x");
        Put(L"pkg\\win32\\foundation\\libexpat.dll", "x");
        PutManifest("", "");
    }

    void Put(const std::wstring& name, const std::string& text) const {
        const std::filesystem::path path = m_Folder.Path() / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    }
    // A library of the system, which has a version.
    void PutVersioned(const std::wstring& name) const {
        const std::filesystem::path path = m_Folder.Path() / name;
        std::filesystem::create_directories(path.parent_path());
        wchar_t folder[MAX_PATH];
        GetSystemDirectoryW(folder, MAX_PATH);
        std::filesystem::copy_file(std::filesystem::path(folder) / L"version.dll", path);
    }
    void PutManifest(const std::string& registry, const std::string& files) const {
        Put(L"pkg\\InstCfg.xml", "<Product>\n<RegistryGroup>\n" + registry +
                                     "</RegistryGroup>\n<FileGroup>\n" + files +
                                     "</FileGroup>\n</Product>\n");
    }

    std::wstring Wide(const std::wstring& name) const { return (m_Folder.Path() / name).wstring(); }
    std::string At(const std::wstring& name) const { return KrCommon::String::ToUtf8(Wide(name)); }
    // A text with the test's folder written "@".
    std::string Short(std::string text) const {
        const std::string base = KrCommon::String::ToUtf8(m_Folder.Path().wstring());
        for (std::size_t at = text.find(base); at != std::string::npos; at = text.find(base))
            text.replace(at, base.size(), "@");
        return text;
    }

    test_support::TemporaryFolder m_Folder{L"wy_package"};
};

// Plans of that package.
class PackagePlan : public PackageFixture {
protected:
    using Texts = std::vector<std::string>;

    Json::Value Plan(Texts more = {}) {
        Texts line{"--json", "package", "plan", At(L"pkg")};
        if (more.empty())
            more = {"--to", At(L"Wy")};
        line.insert(line.end(), more.begin(), more.end());
        EXPECT_EQ(Run(line), 0) << m_Terminal.err;
        EXPECT_TRUE(FakeSdk::Get().calls.empty());
        return OneJson();
    }
    // "element id outcome: why" of each item, and its steps "- step place" with what is said of
    // them.
    Texts Lines(const Json::Value& plan) const {
        Texts lines;
        for (const Json::Value& item : plan["items"]) {
            const std::string id = item["id"].asString();
            const std::string why = item["why"].asString();
            lines.push_back(Short(item["element"].asString() + (id.empty() ? "" : " ") + id + " " +
                                  item["outcome"].asString() + (why.empty() ? "" : ": ") + why));
            for (const Json::Value& step : item["steps"]) {
                const std::string value = step["value"].asString();
                const std::string before = step["before"].asString();
                lines.push_back(Short("- " + step["step"].asString() + " " +
                                      step["place"].asString() + (value.empty() ? "" : "=") +
                                      value + (before == "absent" ? "" : " " + before) +
                                      (step["inUse"].asBool() ? " in use" : "") +
                                      (step["atRestart"].asBool() ? " at restart" : "")));
            }
        }
        return lines;
    }
    // Without the item of the folder and those of the external tools.
    Texts Items(const Json::Value& plan) const {
        Texts lines;
        bool taken = false;
        for (const std::string& line : Lines(plan)) {
            if (!line.starts_with("- "))
                taken = !line.starts_with("Product") && !line.starts_with("External");
            if (taken)
                lines.push_back(line);
        }
        return lines;
    }
};
