#pragma once

// A machine on which products are installed: declared states, and what there is to ask of them.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "deployment/LoadedSdk_win32.h"
#include "support/DeployedMachine_win32.h"
#include "support/SamplePackage_win32.h"
#include "support/ServiceHost.h"
#include "support/TemporaryFolder.h"
#include "support/WatchedService.h"

namespace deployment_test {

constexpr char kKeysElsewhere[] =
    "a 32-bit program does not reach the product's keys of a 64-bit system";

// True where a removal leaves the product's key of the machine, which lies in the other view.
inline bool KeysAreElsewhere() {
    return sizeof(void*) == 4 && KrCommon::OsVersion::Is64Bit();
}

// How far the product has come before a traversal begins.
enum class Present { kNothing, kLaidDown, kInstalled };

enum class Watchdog { kNone, kThere, kDeaf, kClosed };

// What is under the product's name in the service manager.
enum class Entry {
    kAsInstalled,
    kStopped,
    kForeign,  // a service of another maker, and not running
    kMarked,   // deleted, with a handle that keeps it there
};

// One declared state. What is not named is as on a new machine.
struct MachineState {
    const char* name = "";
    int mode = test_support::SampleMode::kTavrenox;
    Present present = Present::kNothing;
    const char* package = "first";  // which one was installed
    // In the place of ProductVersion; an empty text means that there is none.
    std::optional<std::wstring> version = {};
    std::optional<std::wstring> guid = {};  // in the place of ProductGuid
    Watchdog watchdog = Watchdog::kNone;
    Entry entry = Entry::kAsInstalled;
    bool listens = true;        // somebody answers at the service's endpoint
    bool rebootMark = false;    // of an earlier uninstall
    bool lockedFile = false;    // release.txt of the product is open, and nobody may delete it
    bool readOnlyFile = false;  // release.txt is read-only
    bool otherProduct = false;  // keys of another product of the maker, in both hives
    bool foldersGone = false;   // deleted by hand
    bool oldBackup = false;     // left by an earlier upgrade
    bool lockedBackup = false;  // the same, with an open file
    bool programEntry = false;  // the list of programs has the product
    bool olderFiles = false;    // files of an older version in the install folder, not registered
};

// Made once for all traversals; Prepare() brings it into a state.
class SetupMachine {
public:
    SetupMachine();
    SetupMachine(const SetupMachine&) = delete;
    SetupMachine& operator=(const SetupMachine&) = delete;
    ~SetupMachine();

    // Takes away what the last traversal left, and makes the state. What cannot be had is
    // std::runtime_error.
    void Prepare(const MachineState& state);
    // Takes away everything but the packages.
    void Clean();

    // Things of the machine that are not the packages and not the logs.
    test_support::MachineThings Look() const;
    // What there was before the state was made.
    const test_support::MachineThings& New() const { return m_New; }

    const test_support::SamplePackage& Package(const std::string& name);
    const test_support::ProductPlaces& Places() const { return m_Places; }
    std::wstring InstallDir() const { return m_Places.installDir; }
    std::wstring Backup() const;
    std::wstring DataFolder() const;  // of the machine
    std::wstring At(const std::wstring& relative) const;

    // The library for the identity of the state, for one action.
    std::unique_ptr<LoadedSdk> Load() const;

    // The number InstallStatus; nothing where there is none.
    std::optional<std::uint32_t> InstallStatus() const;
    // A text value of the product's key; empty where there is none.
    std::wstring ProductValue(const wchar_t* name) const;
    void SetProductValue(const wchar_t* name, const std::wstring& text) const;
    // All lines of the logs since the last call, in UTF-8, without time and place ("Module: [ERROR]
    // text") and with the machine's folder written "@".
    std::vector<std::string> TakeLog() const;
    // What the session agent and the shortcut tool were asked, without their own paths.
    std::vector<std::string> Asked(const std::wstring& program) const;
    // Session agents that run.
    std::size_t RunningAgents() const;

    void Unlock();
    void StopListening();
    void Listen();
    // Ends all programs of the product.
    void EndPrograms() const;
    void EndWatchdog() { m_pWatchdog.reset(); }
    void StartWatchdog(const std::wstring& options = {});

private:
    struct Handle {
        explicit Handle(HANDLE handle) : value(handle) {}
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;
        ~Handle() { CloseHandle(value); }
        HANDLE value;
    };

    void PutPresent(const MachineState& state);
    void PutEntry(const MachineState& state);
    void PutFiles(const MachineState& state);
    void PutRegistry(const MachineState& state);
    void RemoveService() const;
    void RemoveRegistry() const;
    void RemoveFiles() const;
    void Lock(const std::wstring& path);

    const test_support::TemporaryFolder m_Folder;
    const std::wstring m_strBase = m_Folder.Path().wstring();
    const SC_HANDLE m_hManager;
    std::map<std::string, std::unique_ptr<test_support::SamplePackage>> m_Packages;
    std::unique_ptr<test_support::ServiceHost> m_pHost;
    int m_iHostMode = -1;
    std::unique_ptr<test_support::WatchdogProcess> m_pWatchdog;
    std::unique_ptr<Handle> m_pLock;
    SC_HANDLE m_hKept = nullptr;  // keeps a deleted service
    int m_iMode = test_support::SampleMode::kTavrenox;
    test_support::ProductPlaces m_Places;
    test_support::MachineThings m_New;
};

// Deletes a value below HKEY_LOCAL_MACHINE, if it is there.
void DeleteMachineValue(const std::wstring& key, const wchar_t* name);

// The packages by name; std::out_of_range for another one.
const test_support::SampleOptions& OptionsOf(const std::string& package);

}  // namespace deployment_test
