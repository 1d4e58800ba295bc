// Every declared way through the declared states of a machine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <set>

#include "Common/KrCommon/KrComn_Result.h"
#include "deployment/Traversals.h"
#include "support/SystemStart_win32.h"

namespace deployment_test {

// What GoogleTest calls a way.
void PrintTo(const Traversal& traversal, std::ostream* out) {
    *out << traversal.name;
}

namespace {

using test_support::InstalledProduct;
using test_support::MachineThings;
using test_support::SampleMode::kTavrenox;

SetupMachine& Machine() {
    static auto* const s_pMachine = new SetupMachine;
    return *s_pMachine;
}

// Processes and services of the machine end with the tests.
class MachineEnd : public testing::Environment {
public:
    void TearDown() override { delete &Machine(); }
};
[[maybe_unused]] const auto* const g_pEnd = testing::AddGlobalTestEnvironment(new MachineEnd);

const MachineState& StateOf(const std::string& name) {
    for (const MachineState& state : MachineStates()) {
        if (name == state.name)
            return state;
    }
    throw std::runtime_error("no state " + name);
}

// A shortcut's text has to have the look of a file of the machine.
std::wstring HashOfText(const SetupMachine& machine, const std::wstring& text) {
    const std::wstring path = machine.At(L"Temp\\expected.txt");
    std::FILE* const file = _wfopen(path.c_str(), L"wb");
    for (const wchar_t c : text)
        std::fputc(static_cast<char>(c), file);
    std::fclose(file);
    return test_support::HashOfFile(path);
}

// Whether a package leaves a file of a former one: what is never replaced, and what is replaced by
// a greater version only. Of folders with a key module that one counts.
bool IsKept(const std::wstring& name, bool isNewer) {
    if (name == L"readme.txt" || name.starts_with(L"Data\\"))
        return true;
    const bool isProgram = name.starts_with(L"WySvcHost") || name.starts_with(L"WySessionAgent") ||
                           name.starts_with(L"Shortcut_") || name == L"Shortcut.exe";
    return !isNewer &&
           (isProgram || name.starts_with(L"Plugins\\") || name.starts_with(L"win32\\"));
}

InstalledProduct Describe(SetupMachine& machine, const Step& step, bool isTavrenox) {
    const test_support::SamplePackage& package = machine.Package(step.package);
    InstalledProduct product;
    product.places = machine.Places();
    product.isTavrenox = isTavrenox;
    product.productId = kProductNumber;
    product.vendorId = kVendorNumber;
    product.packageDir = package.Folder();
    product.isPostInstalled = step.after == After::kInstalled;
    product.files = package.FileHashes();
    if (step.over != nullptr) {
        const test_support::SamplePackage& former = machine.Package(step.over);
        const bool isNewer = package.Options().version > former.Options().version;
        for (const auto& [name, hash] : former.FileHashes()) {
            if (IsKept(name, isNewer))
                product.files[name] = hash;
        }
    }
    product.more =
        machine.Package(step.registryOf != nullptr ? step.registryOf : step.package).Registry();
    const std::wstring tools = step.toolsWait ? L"\\ExternalTmp\\" : L"\\External\\";
    for (const auto& [name, hash] : package.ExternalHashes())
        product.more[L"file " + machine.DataFolder() + tools + name] = hash;
    if (product.isPostInstalled) {
        for (const auto& [path, text] : package.Shortcuts(machine.InstallDir()))
            product.more[L"file " + path] = HashOfText(machine, text);
    }
    return product;
}

bool IsInInstallFolder(const SetupMachine& machine, const std::wstring& thing) {
    return test_support::BeginsWithNoCase(test_support::PathOfThing(thing) + L"\\",
                                          machine.InstallDir() + L"\\");
}

class Walk {
public:
    Walk(SetupMachine& machine, bool isTavrenox)
        : m_Machine(machine), m_bTavrenox(isTavrenox), m_Before(machine.Look()) {}

    void Take(const Step& step) {
        const bool hadFailure = testing::Test::HasFailure();
        m_Before = m_Machine.Look();
        m_Machine.TakeLog();
        EXPECT_EQ(step.code, Do(step));
        const std::vector<std::string> log = m_Machine.TakeLog();
        const MachineThings now = m_Machine.Look();
        if (IsOfLibrary(step.act)) {
            EXPECT_EQ(step.status, m_Machine.InstallStatus());
            EXPECT_EQ("", ForeignDifference(m_Before, now, m_Machine.Places()));
        }
        ExpectAfter(step, now);
        ExpectLog(UsualLines(step), log);
        ExpectLog(step.log, log);
        ExpectNotInLog(step, log);
        if (step.also)
            step.also(m_Machine);
        if (!hadFailure && testing::Test::HasFailure()) {
            for (const std::string& line : log) {
                if (line.find("[DEBUG] s_wszWyId") == std::string::npos)
                    std::cout << line << "\n";
            }
        }
    }

private:
    static bool IsOfLibrary(Act act) {
        return act == Act::kInstall || act == Act::kPostInstall || act == Act::kUninstall;
    }

    std::uint32_t Do(const Step& step) {
        switch (step.act) {
            case Act::kInstall:
                return Install(step);
            case Act::kPostInstall:
                return m_Machine.Load()->PostInstall();
            case Act::kUninstall:
                return m_Machine.Load()->Uninstall();
            case Act::kRestart:
                EXPECT_TRUE(test_support::RunSystemStart());
                break;
            case Act::kUnlock:
                m_Machine.Unlock();
                break;
            case Act::kWatchdog:
                m_Machine.StartWatchdog();
                break;
            case Act::kEndWatchdog:
                m_Machine.EndWatchdog();
                break;
            case Act::kEndPrograms:
                m_Machine.EndPrograms();
                break;
            case Act::kListen:
                m_Machine.Listen();
                break;
            case Act::kStopListening:
                m_Machine.StopListening();
                break;
        }
        return 0x20ff0000;
    }

    std::uint32_t Install(const Step& step) {
        const std::wstring target =
            step.target[0] == L'\0' ? std::wstring() : m_Machine.At(step.target);
        const std::wstring package =
            step.package[0] == '\0' ? std::wstring() : m_Machine.Package(step.package).Folder();
        const LoadedSdk::Installed installed = m_Machine.Load()->Install(package, target);
        // A re-install goes where the product is.
        const bool isEmpty = target.empty() && m_Machine.ProductValue(L"ProductPath").empty();
        EXPECT_EQ(isEmpty ? std::wstring() : m_Machine.InstallDir(), installed.folder);
        return installed.code;
    }

    void ExpectAfter(const Step& step, const MachineThings& now) {
        const auto& places = m_Machine.Places();
        switch (step.after) {
            case After::kAnything:
                break;
            case After::kAsBefore:
                EXPECT_EQ("",
                          test_support::Difference(m_Before, now, [&](const std::wstring& thing) {
                              return !thing.ends_with(L": InstallStatus") &&
                                     !thing.ends_with(L"\\" + places.id) &&
                                     !thing.ends_with(L"SOFTWARE\\KorvexData");
                          }));
                break;
            case After::kLaidDown:
            case After::kInstalled:
                EXPECT_EQ("", NotInstalled(Describe(m_Machine, step, m_bTavrenox), now));
                break;
            case After::kRestored:
                ExpectRestored(now);
                break;
            case After::kFolderGone:
                EXPECT_EQ(0U, now.count(L"folder " + m_Machine.InstallDir()));
                break;
            case After::kGone:
                EXPECT_EQ("", NotGone(m_Machine.New(), now, places));
                break;
            case After::kGoneAtRestart:
                EXPECT_EQ("", NotGone(m_Machine.New(), now, places, true));
                break;
        }
    }

    void ExpectRestored(const MachineThings& now) {
        EXPECT_EQ("", test_support::Difference(m_Before, now, [&](const std::wstring& thing) {
                      return IsInInstallFolder(m_Machine, thing);
                  }));
        const auto state = now.find(L"service " + m_Machine.Places().id + L" Host Service, state");
        ASSERT_NE(now.end(), state);
        EXPECT_EQ(L"running", state->second);
    }

    // What every step of its kind says when it does all that it is to do.
    std::vector<std::string> UsualLines(const Step& step) const {
        const bool isLaidDown = step.act == Act::kInstall && step.after == After::kLaidDown;
        if (isLaidDown && OptionsOf(step.package).log) {
            return {"Deploy Registry Key...", "Deploy Registry Value...",
                    "Deploy Module folders...", "Deploy Module files..."};
        }
        if (m_Before.count(L"file " + m_Machine.InstallDir() + L"\\KrDbgLog.dll") == 0)
            return {};
        const std::string agent = std::string("\"@\\Programs\\Wy\\WySessionAgent") +
                                  (m_bTavrenox ? "_P" : "") + ".exe\" ";
        if (step.act == Act::kPostInstall && step.after == After::kInstalled) {
            return {"Set execute to auto run. Info: " + agent + "1",
                    "Use KrCommon::Process::InvokeProcess to start WySessionAgent. Commandline: " +
                        agent + "3"};
        }
        if (step.act == Act::kUninstall)
            return {"Uninstall Wyvarion..."};
        return {};
    }

    // Each line once, in their order.
    static void ExpectLog(const std::vector<std::string>& expected,
                          const std::vector<std::string>& log) {
        auto at = log.begin();
        for (const std::string& words : expected) {
            at = std::find_if(at, log.end(), [&](const std::string& line) {
                return line == words || line.ends_with("] " + words);
            });
            if (at == log.end()) {
                ADD_FAILURE() << "not in the log, or not at its place: " << words;
                return;
            }
            ++at;
        }
    }

    static void ExpectNotInLog(const Step& step, const std::vector<std::string>& log) {
        for (const std::string& words : step.notInLog) {
            EXPECT_TRUE(std::none_of(log.begin(), log.end(), [&](const std::string& line) {
                return line.find(words) != std::string::npos;
            })) << words;
        }
    }

    SetupMachine& m_Machine;
    const bool m_bTavrenox;
    MachineThings m_Before;
};

class Way : public testing::TestWithParam<Traversal> {};

bool IsRemoval(const Step& step) {
    return step.act == Act::kUninstall && KrCommon::Result::Succeeded(step.code);
}

TEST_P(Way, leads_to_the_declared_state) {
    const Traversal& traversal = GetParam();
    SetupMachine& machine = Machine();
    const MachineState& state = StateOf(traversal.state);
    machine.Prepare(state);
    Walk walk(machine, state.mode == kTavrenox);
    int number = 0;
    for (const Step& step : traversal.steps) {
        if (KeysAreElsewhere() && IsRemoval(step))
            GTEST_SKIP() << kKeysElsewhere;
        SCOPED_TRACE("step " + std::to_string(++number) + " of \"" + traversal.name + "\" from \"" +
                     traversal.state + "\"");
        walk.Take(step);
        if (HasFailure())
            break;
    }
}

std::string NameOf(const testing::TestParamInfo<Traversal>& info) {
    std::string name = info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(FirstInstall, Way, testing::ValuesIn(FirstInstalls()), NameOf);
INSTANTIATE_TEST_SUITE_P(FailedInstall, Way, testing::ValuesIn(FailedInstalls()), NameOf);
INSTANTIATE_TEST_SUITE_P(Reinstall, Way, testing::ValuesIn(Reinstalls()), NameOf);
INSTANTIATE_TEST_SUITE_P(Rollback, Way, testing::ValuesIn(Rollbacks()), NameOf);
INSTANTIATE_TEST_SUITE_P(Removal, Way, testing::ValuesIn(Removals()), NameOf);

// The tables say what they promise.
TEST(Traversals, are_fifty_from_twenty_states_and_all_states_are_used) {
    std::set<std::string> used;
    std::set<std::string> declared;
    std::set<std::string> names;
    for (const Traversal& traversal : AllTraversals()) {
        used.insert(traversal.state);
        EXPECT_TRUE(names.insert(traversal.name).second) << traversal.name;
        EXPECT_FALSE(traversal.steps.empty());
    }
    for (const MachineState& state : MachineStates())
        EXPECT_TRUE(declared.insert(state.name).second) << state.name;
    EXPECT_GE(names.size(), 50U);
    EXPECT_GE(declared.size(), 20U);
    EXPECT_EQ(declared, used);
}

}  // namespace

}  // namespace deployment_test
