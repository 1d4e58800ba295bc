#pragma once

// A machine to deploy to that exists in a test alone: it notes each step, and answers as told.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "deploy/WyDeployer.h"
#include "deploy/WyDeployerMachine.h"
#include "support/LogRecorder.h"

namespace deploy_test {

using Lines = std::vector<std::wstring>;
using WyDeployHelper::DeployCommon::FileVersion;
using WyDeployHelper::DeployCommon::RootKey;
using WyDeployHelper::DeployCommon::VersionAnswer;

class NotedMachine : public WyDeployHelper::DeployCommon::DeployMachine {
public:
    // What was done, in order, and what was asked for.
    Lines steps{};
    Lines asked{};

    bool is64Bit = true;
    std::set<std::wstring> existing{};  // files and folders
    Lines listed{};                     // what any pattern matches
    std::map<std::wstring, FileVersion> versions{};
    VersionAnswer noVersion = VersionAnswer::kNoSize;  // of all other files
    bool rebootNeeded = false;                         // by emptying any folder
    // Steps that begin with this fail with the code; none when it is empty.
    std::wstring refused{};
    std::uint32_t code = 0;

    void Refuse(const std::wstring& beginning, std::uint32_t error) {
        refused = beginning;
        code = error;
    }

    bool Is64Bit() override { return is64Bit; }

    bool CreateKey(RootKey root, const std::wstring& key, std::uint32_t view,
                   std::uint32_t& error) override {
        return Step(L"create key " + Print(root, key) + View(view), &error);
    }
    bool DeleteKey(RootKey root, const std::wstring& key) override {
        return Step(L"delete key " + Print(root, key));
    }
    bool StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                   const std::wstring& value, bool allAccess, std::uint32_t view,
                   std::uint32_t& error) override {
        return Step((allAccess ? L"text for all " : L"text ") + Print(root, key) + L" " + name +
                        L"=" + value + View(view),
                    &error);
    }
    bool StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t value, bool allAccess, std::uint32_t view,
                     std::uint32_t& error) override {
        return Step((allAccess ? L"number for all " : L"number ") + Print(root, key) + L" " + name +
                        L"=" + std::to_wstring(value) + View(view),
                    &error);
    }
    bool DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t view, std::uint32_t& error) override {
        return Step(L"delete value " + Print(root, key) + L" " + name + View(view), &error);
    }

    bool Exists(const std::wstring& path) override {
        asked.push_back(path);
        return existing.contains(path);
    }
    void ListFiles(const std::wstring& folder, const std::wstring& pattern,
                   std::vector<std::wstring>& names) override {
        Step(L"list " + folder + pattern);
        names = listed;
    }
    bool CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                   const std::wstring& targetDir, bool failIfExists) override {
        return Step((failIfExists ? L"copy new " : L"copy over ") + sourceDir + L" " + name + L" " +
                    targetDir);
    }
    bool CopyFolder(const std::wstring& source, const std::wstring& target) override {
        return Step(L"copy folder " + source + L" " + target);
    }
    void MakeFolders(const std::wstring& path) override { Step(L"make " + path); }
    void ClearReadOnly(const std::wstring& path) override { Step(L"writable " + path); }
    bool RemoveFile(const std::wstring& path, std::uint32_t& error) override {
        return Step(L"delete file " + path, &error);
    }
    bool EmptyFolder(const std::wstring& path, bool& reboot, std::uint32_t& error) override {
        reboot = rebootNeeded;
        return Step(L"empty " + path, &error);
    }
    bool RemoveFolder(const std::wstring& path) override { return Step(L"remove folder " + path); }
    void DeleteAtNextStart(const std::wstring& path) override { Step(L"at next start " + path); }

    VersionAnswer ReadVersion(const std::wstring& path, FileVersion& out,
                              std::uint32_t& error) override {
        asked.push_back(L"version " + path);
        const auto found = versions.find(path);
        if (found != versions.end()) {
            out = found->second;
            return VersionAnswer::kFound;
        }
        error = code;
        return noVersion;
    }

private:
    bool Step(const std::wstring& step, std::uint32_t* error = nullptr) {
        steps.push_back(step);
        const bool fails = !refused.empty() && step.starts_with(refused);
        if (fails && error != nullptr)
            *error = code;
        return !fails;
    }
    static std::wstring Print(RootKey root, const std::wstring& key) {
        switch (root) {
            case RootKey::kLocalMachine:
                return L"HKLM " + key;
            case RootKey::kCurrentUser:
                return L"HKCU " + key;
            case RootKey::kNone:
                break;
        }
        return L"no root " + key;
    }
    static std::wstring View(std::uint32_t view) { return L" view " + std::to_wstring(view); }
};

// The lines of the deployer in a log, "level text" each, without the head that all have.
inline Lines DeployerLines(const test_support::LogRecorder& log) {
    const std::map<std::uint32_t, std::wstring> heads = {
        {KrCommon::LogLevel::kInformation, L"WyDeployHelper: [INFO] "},
        {KrCommon::LogLevel::kWarning, L"WyDeployHelper: [WARN] "},
        {KrCommon::LogLevel::kError, L"WyDeployHelper: [ERROR] "},
    };
    Lines lines;
    for (const auto& line : log.Lines()) {
        if (line.file != "WyDeployer")
            continue;
        const auto head = heads.find(line.level);
        EXPECT_TRUE(head != heads.end() && line.text.starts_with(head->second)) << line.level;
        if (head != heads.end()) {
            lines.push_back(std::to_wstring(line.level) + L" " +
                            line.text.substr(head->second.size()));
        }
    }
    return lines;
}

// The four headings, with what stands between them.
inline Lines WithHeadings(const Lines& keys, const Lines& values = {}, const Lines& folders = {},
                          const Lines& files = {}) {
    Lines lines;
    const auto add = [&](const wchar_t* heading, const Lines& under) {
        lines.emplace_back(heading);
        lines.insert(lines.end(), under.begin(), under.end());
    };
    add(L"1 Deploy Registry Key...", keys);
    add(L"1 Deploy Registry Value...", values);
    add(L"1 Deploy Module folders...", folders);
    add(L"1 Deploy Module files...", files);
    return lines;
}

// The first so many of the lines; of a pass that ended there.
inline Lines First(Lines lines, std::size_t count) {
    lines.resize(count);
    return lines;
}

}  // namespace deploy_test
