// The parts of the host that are Windows by nature.

#include <gtest/gtest.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/DuplicateSearch.h"
#include "devhost/HostLog.h"
#include "devhost/HostProcess.h"
#include "devhost/HostServer.h"
#include "devhost/MachineFeatures.h"
#include "devhost/SystemProbeFactory.h"
#include "unit/devhost/ManualControl.h"
#include "unit/devhost/TestTree.h"

#include <shellapi.h>

namespace {

using DevHost::Finding;

TEST(Sha256OfFile, digests_of_known_contents) {
    const TestTree tree;
    const auto all = [](std::uint64_t) { return true; };
    EXPECT_EQ(DevHost::Sha256OfFile(tree.Write("abc", "abc"), all),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(DevHost::Sha256OfFile(tree.Write("empty", ""), all),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(DevHost::Sha256OfFile(tree.Write("million", std::string(1'000'000, 'a')), all),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256OfFile, progress_tells_every_byte_and_can_stop_it) {
    const TestTree tree;
    const auto file = tree.WriteSized("big", 3 * 1024 * 1024 + 17);
    std::uint64_t read = 0;
    EXPECT_FALSE(DevHost::Sha256OfFile(file, [&](std::uint64_t bytes) {
                     read += bytes;
                     return true;
                 }).empty());
    EXPECT_EQ(read, 3U * 1024 * 1024 + 17);
    unsigned calls = 0;
    EXPECT_EQ(DevHost::Sha256OfFile(file,
                                    [&](std::uint64_t) {
                                        ++calls;
                                        return false;
                                    }),
              "");
    EXPECT_EQ(calls, 1U);
}

TEST(Sha256OfFile, file_that_cannot_be_read_has_none) {
    const TestTree tree;
    const auto all = [](std::uint64_t) { return true; };
    EXPECT_EQ(DevHost::Sha256OfFile(tree.Path() / "absent", all), "");
    EXPECT_EQ(DevHost::Sha256OfFile(tree.Path(), all), "");
    const auto locked = tree.WriteSized("locked", 5);
    const HANDLE owner =
        CreateFileW(locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(owner, INVALID_HANDLE_VALUE);
    EXPECT_EQ(DevHost::Sha256OfFile(locked, all), "");
    CloseHandle(owner);
}

TEST(QuoteArgument, arguments_are_read_back_unchanged) {
    const std::wstring arguments[] = {L"",
                                      L"plain",
                                      L"with blank",
                                      L"quo\"te",
                                      L"\\",
                                      L"tail\\",
                                      L"a\\\"b",
                                      L"C:\\a b\\",
                                      L"\\\\",
                                      L"\"",
                                      L"any x2 fail 5; api:1 text {\"a\": \"\\\\\"}"};
    std::wstring commandLine = L"program";
    for (const std::wstring& argument : arguments) {
        commandLine += L" " + DevHost::QuoteArgument(argument);
    }
    int count = 0;
    LPWSTR* const list = CommandLineToArgvW(commandLine.c_str(), &count);
    ASSERT_EQ(count, static_cast<int>(std::size(arguments)) + 1);
    for (int i = 1; i < count; ++i)
        EXPECT_EQ(list[i], arguments[i - 1]);
    LocalFree(list);
}

TEST(HostProcess, handle_of_the_own_process_can_be_waited_for) {
    const std::uint64_t value = DevHost::HostProcess::DuplicateInto(GetCurrentProcessId());
    ASSERT_NE(value, DevHost::kNoHandle);
    const HANDLE handle = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
    EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    CloseHandle(handle);
    EXPECT_EQ(DevHost::HostProcess::DuplicateInto(0), DevHost::kNoHandle);
    EXPECT_EQ(DevHost::HostProcess::DuplicateInto(0xfffffffc), DevHost::kNoHandle);
}

TEST(HostLog, lines_are_appended_as_utf8_and_long_ones_are_cut) {
    const TestTree tree;
    const auto file = tree.Write("host.log", "before\r\n");
    {
        DevHost::HostLog log;
        EXPECT_FALSE(log.IsLevelEnabled(KrCommon::LogLevel::kError));
        ASSERT_TRUE(log.Open(KrCommon::String::ToUtf8(file.wstring())));
        EXPECT_TRUE(log.IsLevelEnabled(KrCommon::LogLevel::kError));
        EXPECT_FALSE(log.IsLevelEnabled(KrCommon::LogLevel::kDebug));
        EXPECT_TRUE(
            log.Trace("path/source", 7, KrCommon::LogLevel::kError, L"%ls %d", L"\u00e4\u20ac", 5));
        EXPECT_TRUE(log.Trace("source", 8, KrCommon::LogLevel::kInformation, L"%ls",
                              std::wstring(200'000, L'x').c_str()));
        EXPECT_TRUE(log.Trace("source", 9, KrCommon::LogLevel::kDebug, L"hidden"));
    }
    const std::string text = TestTree::Read(file);
    EXPECT_TRUE(text.starts_with("before\r\n"));
    EXPECT_NE(text.find("<WySvcHost> \xc3\xa4\xe2\x82\xac 5 - source(7)\r\n"), std::string::npos);
    EXPECT_EQ(text.find("hidden"), std::string::npos);
    EXPECT_LT(text.size(), 80'000U);
    EXPECT_GT(text.size(), 60'000U);
}

TEST(HostLog, file_that_cannot_be_made_is_told) {
    const TestTree tree;
    DevHost::HostLog log;
    EXPECT_FALSE(log.Open(KrCommon::String::ToUtf8((tree.Path() / L"no" / L"log").wstring())));
    EXPECT_TRUE(log.Trace("source", 1, KrCommon::LogLevel::kError, L"nowhere"));
}

TEST(SystemProbe, this_machine_is_measured) {
    const auto probe = DevHost::MakeSystemProbe();
    const auto cpu = probe->ReadCpuTimes();
    ASSERT_TRUE(cpu.has_value());
    EXPECT_GT(cpu->total, 0U);
    EXPECT_LE(cpu->idle, cpu->total);
    const auto memory = probe->ReadMemory();
    ASSERT_TRUE(memory.has_value());
    EXPECT_GT(memory->total, 0U);
    EXPECT_LE(memory->available, memory->total);
    EXPECT_TRUE(probe->ReadPower().has_value());
    EXPECT_GT(probe->UptimeMs(), 0U);
    EXPECT_GT(probe->Now(), 1'600'000'000);
    EXPECT_EQ(probe->OwnProcessId(), GetCurrentProcessId());
    EXPECT_NE(probe->EndProcess(0xfffffffc), 0U);
    for (const auto& counters : probe->ReadNetwork())
        EXPECT_NE(counters.index, 0U);
}

TEST(SystemProbe, own_process_is_on_the_list_with_its_details) {
    const auto probe = DevHost::MakeSystemProbe();
    const auto processes = probe->ReadProcesses(true);
    const auto own =
        std::find_if(processes.begin(), processes.end(), [](const DevHost::ProcessFacts& process) {
            return process.processId == GetCurrentProcessId();
        });
    ASSERT_NE(own, processes.end());
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    EXPECT_EQ(own->path, KrCommon::String::ToUtf8(path));
    EXPECT_EQ(own->name, KrCommon::String::ToUtf8(KrCommon::String::GetFileName(path)));
    EXPECT_GE(own->threads, 1U);
    EXPECT_GT(own->workingSet, 0U);
    EXPECT_GT(own->started, 1'600'000'000);
}

// A key of the registry with values, gone at the end of the scope.
class TestKey {
public:
    explicit TestKey(std::wstring path) : m_strPath(std::move(path)) {
        RegCreateKeyExW(HKEY_CURRENT_USER, m_strPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &m_hKey, nullptr);
    }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;
    ~TestKey() {
        for (const std::wstring& name : m_vecName)
            RegDeleteValueW(m_hKey, name.c_str());
        RegCloseKey(m_hKey);
        if (m_bOwn)
            RegDeleteKeyW(HKEY_CURRENT_USER, m_strPath.c_str());
    }

    void OwnIt() { m_bOwn = true; }
    void Set(const std::wstring& name, DWORD type, const void* data, std::size_t size) {
        m_vecName.push_back(name);
        RegSetValueExW(m_hKey, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                       static_cast<DWORD>(size));
    }
    void SetText(const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ) {
        Set(name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }

private:
    std::wstring m_strPath;
    HKEY m_hKey = nullptr;
    std::vector<std::wstring> m_vecName;
    bool m_bOwn = false;
};

std::vector<Finding> RunFeature(const std::string& name) {
    std::vector<Finding> findings;
    for (const auto& feature : DevHost::MakeMachineFeatures()) {
        if (name != feature->Name())
            continue;
        ManualControl control;
        feature->Run([&](Finding finding) { findings.push_back(std::move(finding)); }, control);
        EXPECT_TRUE(std::is_sorted(control.progress.begin(), control.progress.end()));
        EXPECT_LE(control.progress.back(), 1.0);
    }
    return findings;
}

const Finding* FindByName(const std::vector<Finding>& findings, const std::string& name) {
    const auto found = std::find_if(findings.begin(), findings.end(),
                                    [&](const Finding& finding) { return finding.name == name; });
    return found == findings.end() ? nullptr : &*found;
}

TEST(UninstallEntries, entry_whose_folder_is_gone_is_a_problem_and_others_are_not_told) {
    const TestTree tree;
    const std::wstring list = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
    TestKey gone(list + L"WyHostTestGone");
    TestKey there(list + L"WyHostTestThere");
    TestKey quoted(list + L"WyHostTestQuoted");
    TestKey nameless(list + L"WyHostTestNameless");
    for (TestKey* key : {&gone, &there, &quoted, &nameless})
        key->OwnIt();
    gone.SetText(L"DisplayName", L"Gone \u00e4");
    gone.SetText(L"InstallLocation", L"C:\\no such folder\\here");
    there.SetText(L"DisplayName", L"There");
    there.SetText(L"InstallLocation", tree.Path().wstring());
    quoted.SetText(L"DisplayName", L"Quoted");
    quoted.SetText(L"InstallLocation", L"\"" + tree.Path().wstring() + L"\"");
    nameless.SetText(L"InstallLocation", L"%SystemRoot%\\no such folder", REG_EXPAND_SZ);

    const std::vector<Finding> findings = RunFeature("uninstallEntries");
    const Finding* const finding = FindByName(findings, "Gone \xc3\xa4");
    ASSERT_NE(finding, nullptr);
    EXPECT_EQ(finding->kind, "uninstall-entry");
    EXPECT_TRUE(finding->isProblem);
    EXPECT_FALSE(finding->file.has_value());
    EXPECT_EQ(finding->detail["installLocation"].asString(), "C:\\no such folder\\here");
    EXPECT_EQ(finding->object,
              "HKCU\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WyHostTestGone");
    EXPECT_NE(FindByName(findings, "WyHostTestNameless"), nullptr);
    EXPECT_EQ(FindByName(findings, "There"), nullptr);
    EXPECT_EQ(FindByName(findings, "Quoted"), nullptr);
}

TEST(AutorunEntries, entries_are_told_and_those_without_a_program_are_problems) {
    TestKey run(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run");
    TestKey once(L"Software\\Microsoft\\Windows\\CurrentVersion\\RunOnce");
    run.SetText(L"WyHostTestGone", L"\"C:\\no such folder\\x.exe\" /start");
    run.SetText(L"WyHostTestThere", L"%SystemRoot%\\system32\\notepad.exe /a b", REG_EXPAND_SZ);
    once.SetText(L"WyHostTestOnce", L"notepad");
    run.Set(L"WyHostTestNumber", REG_DWORD, "\1\0\0\0", 4);
    run.Set(L"WyHostTestOdd", REG_SZ, "C\0:\0\\", 5);
    run.Set(L"WyHostTestEmpty", REG_SZ, "", 0);

    const std::vector<Finding> findings = RunFeature("autorunEntries");
    const Finding* finding = FindByName(findings, "WyHostTestGone");
    ASSERT_NE(finding, nullptr);
    EXPECT_TRUE(finding->isProblem);
    EXPECT_EQ(finding->detail["command"].asString(), "\"C:\\no such folder\\x.exe\" /start");
    finding = FindByName(findings, "WyHostTestThere");
    ASSERT_NE(finding, nullptr);
    EXPECT_FALSE(finding->isProblem);
    EXPECT_NE(finding->detail["program"].asString().find("notepad.exe"), std::string::npos);
    finding = FindByName(findings, "WyHostTestOnce");
    ASSERT_NE(finding, nullptr);
    EXPECT_FALSE(finding->isProblem);
    EXPECT_EQ(FindByName(findings, "WyHostTestNumber"), nullptr);
    EXPECT_NE(FindByName(findings, "WyHostTestOdd"), nullptr);
    EXPECT_NE(FindByName(findings, "WyHostTestEmpty"), nullptr);
}

TEST(StartupServices, services_that_start_by_themselves_are_told_for_information) {
    const std::vector<Finding> findings = RunFeature("startupServices");
    EXPECT_FALSE(findings.empty());
    for (const Finding& finding : findings) {
        EXPECT_FALSE(finding.isProblem);
        EXPECT_EQ(finding.kind, "service");
        EXPECT_FALSE(finding.object.empty());
    }
}

}  // namespace
