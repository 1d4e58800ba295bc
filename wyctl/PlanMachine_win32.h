#pragma once

// A machine for the deployer that only notes what would be done to it.
//
// It answers from the machine that this process runs on, as the steps before would have left it. A
// step that the system would refuse fails here as well, as far as that can be seen by looking: a
// root that is none, a file that is held open, a name that no file can have, or another kind of
// thing of that name.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "deploy/WyDeployerMachine.h"
#include "wyctl/PackageFiles.h"
#include "wyctl/PlanOverlay.h"
#include "wyctl/PlanStep.h"

namespace WyCtl {

class PlanMachine : public WyDeployHelper::DeployCommon::DeployMachine {
public:
    using FileVersion = WyDeployHelper::DeployCommon::FileVersion;
    using RootKey = WyDeployHelper::DeployCommon::RootKey;
    using VersionAnswer = WyDeployHelper::DeployCommon::VersionAnswer;

    // The steps since the last call, and why the last of them failed; empty when none did.
    std::vector<PlanStep> TakeSteps() { return std::exchange(m_Steps, {}); }
    std::wstring TakeFailure() { return std::exchange(m_strFailure, {}); }
    // Files and folders that were asked for since the last call and are there.
    std::vector<std::wstring> TakeFound() { return std::exchange(m_Found, {}); }
    // The versions that were asked for since the last call, as "1.2.3.4".
    std::map<std::wstring, std::wstring> TakeVersions() { return std::exchange(m_Versions, {}); }

    // A path as steps name it: "..", "." and doubled separators resolved, no "\" at the end.
    static std::wstring WholeName(const std::wstring& path);
    // What has this name, given as steps do.
    PackageFiles::Kind KindOf(const std::wstring& whole) const;

    // Moves a folder with all in it to a name that is free.
    void MoveFolder(const std::wstring& from, const std::wstring& to);

    bool Is64Bit() override;
    bool CreateKey(RootKey root, const std::wstring& key, std::uint32_t view,
                   std::uint32_t& error) override;
    bool DeleteKey(RootKey root, const std::wstring& key) override;
    bool StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                   const std::wstring& value, bool allAccess, std::uint32_t view,
                   std::uint32_t& error) override;
    bool StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t value, bool allAccess, std::uint32_t view,
                     std::uint32_t& error) override;
    bool DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t view, std::uint32_t& error) override;
    bool Exists(const std::wstring& path) override;
    void ListFiles(const std::wstring& folder, const std::wstring& pattern,
                   std::vector<std::wstring>& names) override;
    bool CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                   const std::wstring& targetDir, bool failIfExists) override;
    bool CopyFolder(const std::wstring& source, const std::wstring& target) override;
    void MakeFolders(const std::wstring& path) override;
    void ClearReadOnly(const std::wstring& path) override;
    bool RemoveFile(const std::wstring& path, std::uint32_t& error) override;
    bool EmptyFolder(const std::wstring& path, bool& rebootNeeded, std::uint32_t& error) override;
    bool RemoveFolder(const std::wstring& path) override;
    void DeleteAtNextStart(const std::wstring& path) override;
    VersionAnswer ReadVersion(const std::wstring& path, FileVersion& out,
                              std::uint32_t& error) override;

private:
    struct NoCase {
        bool operator()(const std::wstring& a, const std::wstring& b) const {
            return KrCommon::String::CompareNoCase(a, b) < 0;
        }
    };
    struct Value {
        std::uint32_t type = 0;
        std::wstring text;  // as it is shown
    };
    // What of a file that is there a copy may replace.
    enum class Replaces : std::uint8_t { Nothing, Writable, All };

    bool Refuse(std::wstring why, std::uint32_t* error, std::uint32_t code);
    bool RefuseKey(RootKey root, const std::wstring& key, std::uint32_t* error);
    PlanStep& Add(PlanStep::Kind kind, const std::wstring& place);
    bool IsThere(const std::wstring& path);
    bool LiesBelowFile(const std::wstring& whole) const;
    bool IsKeyThere(RootKey root, const std::wstring& key, std::uint32_t view);
    bool FindValue(RootKey root, const std::wstring& key, const std::wstring& name,
                   std::uint32_t view, Value& value);
    bool Store(RootKey root, const std::wstring& key, const std::wstring& name, const Value& value,
               std::uint32_t view, std::uint32_t& error);
    bool CopyOne(const std::wstring& source, const std::wstring& target, std::uint64_t bytes,
                 Replaces replaces);
    bool DeleteOne(const std::wstring& path);

    PlanOverlay m_Files;
    PlanOverlay m_Keys;
    std::map<std::wstring, Value, NoCase> m_Stored;
    std::vector<PlanStep> m_Steps;
    std::vector<std::wstring> m_Found;
    std::map<std::wstring, std::wstring> m_Versions;
    std::wstring m_strFailure;
};

// True for a file that some process holds open against being replaced or deleted.
bool IsFileInUse(const std::wstring& path);

}  // namespace WyCtl
