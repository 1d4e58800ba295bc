// The host as a process, spoken to by the product's own client helper over the RPC runtime.

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostOptions.h"
#include "devhost/HostProcess.h"
#include "devhost/HostServer.h"
#include "unit/devhost/FaultEffects.h"
#include "unit/devhost/HostRunner.h"
#include "unit/devhost/TestTree.h"

namespace {

namespace ExitStatus = DevHost::ExitStatus;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kGetSysCpuUsage = 400013001;
constexpr std::uint32_t kServerUnavailable = 0xe00106ba;
constexpr std::uint32_t kCallFailed = 0xe00106be;
constexpr std::uint32_t kMonitorMail = 35870;

std::uint32_t CallCpu() {
    return HostClient::Call(kGetSysCpuUsage).result;
}

// Makes a symbolic link. Wine makes none itself but follows those that it meets; there the machine
// below it is asked.
bool MakeLink(const std::wstring& target, const std::wstring& link) {
    using UnixName = char*(__cdecl*)(LPCWSTR);
    const auto unixName = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    if (unixName == nullptr) {
        std::error_code error;
        std::filesystem::create_symlink(target, link, error);
        return !error;
    }
    std::wstring commandLine = L"start.exe /wait /unix /bin/ln -s";
    for (const std::wstring& path : {target, link}) {
        char* const name = unixName(path.c_str());
        if (name == nullptr)
            return false;
        commandLine += L" " + DevHost::QuoteArgument(KrCommon::String::FromUtf8(name));
        HeapFree(GetProcessHeap(), 0, name);
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return false;
    }
    WaitForSingleObject(process.hProcess, 20'000);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    // The starter does not wait for a program that is none of Windows.
    for (int i = 0; i < 250 && GetFileAttributesW(link.c_str()) == INVALID_FILE_ATTRIBUTES; ++i)
        Sleep(20);
    return GetFileAttributesW(link.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring PollToEnd(std::uint32_t apiId, const std::wstring& json = L"{}") {
    for (int i = 0; i < 600; ++i) {
        CallResult call = HostClient::Call(apiId, json);
        if (call.result != kSuccess || call.retCode != kSuccess)
            return L"failed";
        if (call.Data()["progress"].AsUInt32() == 100)
            return call.Data()["state"].AsString();
        Sleep(20);
    }
    return L"too long";
}

TEST(Host, cpu_usage_is_answered_end_to_end) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult call = HostClient::Call(kGetSysCpuUsage);
    EXPECT_EQ(call.result, kSuccess);
    EXPECT_EQ(call.retCode, kSuccess);
    EXPECT_TRUE(call.Data().isMember("cpuUsage"));
    EXPECT_LE(call.Data()["cpuUsage"].AsUInt32(), 100U);
}

TEST(Host, nobody_listens_before_and_after) {
    EXPECT_EQ(CallCpu(), kServerUnavailable);
    {
        HostRunner host;
        ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
        EXPECT_EQ(CallCpu(), kSuccess);
        host.RequestStop();
        EXPECT_EQ(host.WaitForEnd(), ExitStatus::kClean);
        EXPECT_EQ(host.Output(), "ready\r\n");
    }
    EXPECT_EQ(CallCpu(), kServerUnavailable);
}

TEST(Host, second_host_of_the_same_mode_is_refused) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    HostRunner second;
    EXPECT_EQ(second.WaitForEnd(), ExitStatus::kAlreadyRunning);
    EXPECT_NE(second.Output().find("another host of mode 0 runs already"), std::string::npos)
        << second.Output();
    HostRunner otherMode({}, 1);
    EXPECT_TRUE(otherMode.WaitUntilReady()) << otherMode.Output();
}

TEST(Host, bad_usage_ends_it_at_once) {
    const std::vector<std::wstring> bad[] = {{L"--fault", L"any explode"},
                                             {L"--root", L"C:\\no such folder"},
                                             {L"--log", L"C:\\no such folder\\log"},
                                             {L"--run-seconds", L"x"},
                                             {L"--emit", L"7:0"}};
    for (const auto& arguments : bad) {
        HostRunner host(arguments);
        EXPECT_EQ(host.WaitForEnd(), ExitStatus::kBadUsage) << host.Output();
        EXPECT_NE(host.Output().find(KrCommon::String::ToUtf8(arguments[0])), std::string::npos)
            << host.Output();
    }
}

TEST(Host, it_ends_with_its_time_and_with_its_parent) {
    HostRunner brief({L"--run-seconds", L"1"}, 1);
    ASSERT_TRUE(brief.WaitUntilReady());
    {
        // The runner gives itself as the parent; the last option counts.
        HostRunner child({L"--parent", std::to_wstring(brief.ProcessId())});
        if (child.WaitUntilReady()) {
            EXPECT_EQ(child.WaitForEnd(), ExitStatus::kClean) << child.Output();
        } else {
            EXPECT_EQ(child.WaitForEnd(), ExitStatus::kBadUsage) << child.Output();
        }
    }
    EXPECT_EQ(brief.WaitForEnd(), ExitStatus::kClean);
}

TEST(Host, every_number_of_the_table_is_served) {
    const TestTree tree;
    HostRunner host({L"--root", tree.Path().wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    const std::uint32_t numbers[] = {
        400000000, 400000020, 400000021, 400000001, 400000002, 400000007, 400000003, 400000009,
        400000004, 400000005, 400000008, 400000030, 400000032, 400000033, 400000031, 400003002,
        400003003, 400010000, 400010001, 400010002, 400010003, 400010004, 400010010, 400010011,
        400010012, 400010013, 400010014, 400010020, 400010021, 400010022, 400010023, 400008000,
        400011000, 400011001, 400012006, 400012007, 400012008, 400012003, 400012009, 400012010,
        400012011, 400012012, 400013000, 400013001, 400013002, 400013003, 400013004, 400013005,
        400013006, 400013007, 400014001, 400014002, 400014003, 400014004, 400014005, 400011002};
    EXPECT_EQ(std::set<std::uint32_t>(std::begin(numbers), std::end(numbers)).size(), 56U);
    for (const std::uint32_t number : numbers) {
        // With an empty object a handler either answers or names what is missing.
        CallResult call = HostClient::Call(number);
        EXPECT_EQ(call.result, kSuccess) << number;
        const std::wstring message = call.answer["message"].AsString();
        EXPECT_EQ(message.find(L"no such API"), std::wstring::npos) << number;
    }
    EXPECT_EQ(HostClient::Call(420000000).retCode, 0xe0ff0007U);
    EXPECT_EQ(HostClient::Call(400000099).retCode, 0xe0ff000eU);
}

TEST(Host, machine_is_measured) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult memory = HostClient::Call(400013002);
    EXPECT_GT(memory.Data()["memTotal"].AsUInt64(), 0U);
    EXPECT_EQ(memory.Data()["memUsage"].AsUInt64() + memory.Data()["memAvail"].AsUInt64(),
              memory.Data()["memTotal"].AsUInt64());
    for (const std::uint32_t number :
         {400008000U, 400013000U, 400013003U, 400013004U, 400013006U}) {
        EXPECT_EQ(HostClient::Call(number).retCode, kSuccess) << number;
    }
    CallResult pid = HostClient::Call(400012012);
    EXPECT_EQ(pid.Data()["currentPid"].AsUInt32(), host.ProcessId());
    CallResult status = HostClient::Call(400012009, L"{\"moduleName\": \"wysvchost\"}");
    EXPECT_EQ(status.Data()["isProcessRunning"].AsUInt32(), 1U);
    CallResult processes = HostClient::Call(400013005);
    EXPECT_GE(processes.Data()["processes"].size(), 2U);
    EXPECT_EQ(HostClient::Call(400012010, L"{\"moduleName\": \"wysvchost\"}").retCode, 0xe0fe0005U);
}

TEST(Host, searches_walk_the_root_whatever_the_drive) {
    const TestTree tree;
    tree.WriteSized(L"films/gro\u00df \u65e5.mkv", 300'000);
    tree.Write(L"a/one.txt", "same content of two files");
    tree.Write(L"b/two.txt", "same content of two files");
    HostRunner host({L"--root", tree.Path().wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    const std::wstring query =
        L"{\"filterParamDiskDrive\": \"C:\", \"category\": \"\", \"filterParamFileSize\": 1}";

    EXPECT_EQ(HostClient::Call(400010000, query).retCode, kSuccess);
    EXPECT_EQ(PollToEnd(400010001), L"finished");
    CallResult big = HostClient::Call(400010002, L"{\"filterParamHighBound\": 1}");
    ASSERT_EQ(big.Data()["files"].size(), 1U);
    EXPECT_EQ(big.Data()["files"][std::uint32_t{0}]["path"].AsString(),
              (tree.Path() / L"films" / L"gro\u00df \u65e5.mkv").wstring());
    EXPECT_EQ(big.Data()["matching"].AsUInt32(), 3U);

    EXPECT_EQ(HostClient::Call(400010010, query).retCode, kSuccess);
    EXPECT_EQ(PollToEnd(400010011), L"finished");
    CallResult duplicates = HostClient::Call(400010012);
    ASSERT_EQ(duplicates.Data()["groups"].size(), 1U);
    JsonDocument group = duplicates.Data()["groups"][std::uint32_t{0}];
    EXPECT_EQ(group["files"].size(), 2U);
    EXPECT_EQ(group["digest"].AsString().size(), 64U);

    EXPECT_EQ(HostClient::Call(400010020, L"{\"filterParamDiskDrive\": \"D:\\\\\"}").retCode,
              kSuccess);
    EXPECT_EQ(PollToEnd(400010021), L"finished");
    CallResult usage = HostClient::Call(400010022);
    EXPECT_EQ(usage.Data()["size"].AsUInt32(), 300'050U);
    EXPECT_EQ(usage.Data()["folders"].size(), 3U);
}

TEST(Host, scan_finds_and_repairs_below_the_root_alone) {
    const TestTree tree;
    const auto junk = tree.WriteSized(L"sub/junk.tmp", 10);
    HostRunner host({L"--root", tree.Path().wstring(), L"--allow-remove"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult start = HostClient::Call(400000000, L"{\"activeSessionId\": 1, \"items\": [\"\"]}");
    ASSERT_EQ(start.retCode, kSuccess);
    const std::wstring session =
        L"{\"sessionId\": \"" + start.Data()["sessionId"].AsString() + L"\"";
    EXPECT_EQ(PollToEnd(400000002, session + L"}"), L"finished");
    CallResult result = HostClient::Call(400000007, session + L", \"items\": []}");
    ASSERT_EQ(result.Data()["items"].size(), 4U);
    CallResult fix = HostClient::Call(400000030, session + L", \"data\": {\"all\": true}}");
    ASSERT_EQ(fix.retCode, kSuccess);
    const std::wstring repair =
        session + L", \"fixSessionId\": \"" + fix.Data()["fixSessionId"].AsString() + L"\"}";
    EXPECT_EQ(PollToEnd(400000032, repair), L"finished");
    CallResult report = HostClient::Call(400000033, repair);
    ASSERT_EQ(report.Data()["removed"].size(), 1U);
    EXPECT_EQ(report.Data()["removed"][std::uint32_t{0}]["path"].AsString(), junk.wstring());
    EXPECT_FALSE(std::filesystem::exists(junk));
}

TEST(Host, links_do_not_lead_a_removal_out_of_the_root) {
    const TestTree tree;
    const auto precious = tree.Write(L"outside/precious.tmp", "keep me");
    tree.Folder(L"root");
    if (!MakeLink(precious.wstring(), (tree.Path() / L"root" / L"link.tmp").wstring()) ||
        !MakeLink((tree.Path() / L"outside").wstring(),
                  (tree.Path() / L"root" / L"way").wstring())) {
        GTEST_SKIP() << "no links can be made here";
    }
    HostRunner host({L"--root", (tree.Path() / L"root").wstring(), L"--allow-remove"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult start =
        HostClient::Call(400000000, L"{\"activeSessionId\": 1, \"items\": [\"temporaryFiles\"]}");
    const std::wstring session =
        L"{\"sessionId\": \"" + start.Data()["sessionId"].AsString() + L"\"";
    EXPECT_EQ(PollToEnd(400000002, session + L"}"), L"finished");
    HostClient::Call(400000003, session + L", \"items\": []}");
    EXPECT_EQ(PollToEnd(400000005, session + L"}"), L"finished");
    CallResult report = HostClient::Call(400000008, session + L", \"items\": []}");
    EXPECT_EQ(report.Data()["removed"].size(), 0U);
    EXPECT_EQ(TestTree::Read(precious), "keep me");
}

// Events that this process receives.
std::mutex g_EventMutex;
std::condition_variable g_EventArrived;
std::vector<std::wstring> g_vecEvent;

std::uint32_t OnEvent(JsonDocument& event) {
    const std::scoped_lock lock(g_EventMutex);
    g_vecEvent.push_back(event.ToCompactString());
    g_EventArrived.notify_all();
    return kSuccess;
}

bool WaitForEvents(std::size_t count) {
    std::unique_lock lock(g_EventMutex);
    return g_EventArrived.wait_for(lock, std::chrono::seconds(20),
                                   [&] { return g_vecEvent.size() >= count; });
}

TEST(Host, event_reaches_its_subscriber) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CKrRpcClientHelper& helper = HostClient::Helper();
    ASSERT_EQ(helper.RegisterProcess(L"test", OnEvent), kSuccess);
    CallResult subscribed =
        HostClient::Call(400012006, L"{\"eventId\": 7, \"productProcessName\": \"test\"}");
    EXPECT_EQ(subscribed.Data()["registered"].AsUInt32(), 1U);
    CallResult published =
        HostClient::Call(400012008, L"{\"eventId\": 7, \"param\": {\"status\": 1}}");
    EXPECT_EQ(published.Data()["subscribers"].AsUInt32(), 1U);
    ASSERT_TRUE(WaitForEvents(1));
    EXPECT_EQ(g_vecEvent[0], L"{\"eventId\":7,\"param\":{\"status\":1},\"publisherPid\":" +
                                 std::to_wstring(GetCurrentProcessId()) + L"}\n");
    EXPECT_EQ(helper.UnregisterProcess(), kSuccess);
    published = HostClient::Call(400012008, L"{\"eventId\": 7}");
    EXPECT_EQ(published.Data()["subscribers"].AsUInt32(), 0U);
}

TEST(Host, monitor_gets_a_handle_that_tells_the_end_of_the_host) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult call =
        HostClient::Mail(MailDestination::kConnectionMonitor, kMonitorMail,
                         L"{\"pid\": " + std::to_wstring(GetCurrentProcessId()) + L"}");
    EXPECT_EQ(call.result, kSuccess);
    const std::uint64_t value = call.answer["handle"].AsUInt64();
    ASSERT_NE(value, DevHost::kNoHandle);
    const HANDLE handle = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
    EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    host.Kill();
    EXPECT_EQ(WaitForSingleObject(handle, 5'000), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(handle);

    HostRunner next;
    ASSERT_TRUE(next.WaitUntilReady()) << next.Output();
    call = HostClient::Mail(MailDestination::kConnectionMonitor, kMonitorMail,
                            L"{\"pid\": 4294967292}");
    EXPECT_EQ(call.answer["handle"].AsUInt64(), 0xffffffffffffffffULL);
}

TEST(HostFaults, each_damage_has_its_result_and_leaves_its_answer) {
    const TestTree tree;
    const auto script = tree.Write(L"faults.txt", FaultEffectScript(kGetSysCpuUsage));
    HostRunner host({L"--fault", script.wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    for (const FaultEffect& effect : kFaultEffects) {
        CallResult call = HostClient::Call(kGetSysCpuUsage);
        EXPECT_EQ(call.result, effect.result) << effect.action;
        EXPECT_EQ(AnswerShape(call.answer), effect.answer) << effect.action;
    }
    EXPECT_EQ(CallCpu(), kSuccess);
}

TEST(HostFaults, stretched_replies_arrive) {
    HostRunner host({L"--fault", L"api:400013001 size 100001; api:400013001 size 16777216"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    for (int i = 0; i < 2; ++i) {
        CallResult call = HostClient::Call(kGetSysCpuUsage);
        EXPECT_EQ(call.result, kSuccess);
        EXPECT_TRUE(call.Data().isMember("cpuUsage"));
    }
}

TEST(HostFaults, faults_of_a_file_come_behind_those_of_the_script) {
    const TestTree tree;
    const auto file = tree.Write(L"\u00e4 faults.json",
                                 R"({"faults": [{"api": 400013001, "nth": 2, "failure": "0x7"},
                                                {"api": 400013001, "retCode": -520159231}]})");
    HostRunner host({L"--fault", L"api:400013001 fail 5 # comment", L"--faults", file.wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(CallCpu(), 0xe0010005U);
    EXPECT_EQ(CallCpu(), 0xe0010007U);
    EXPECT_EQ(HostClient::Call(kGetSysCpuUsage).retCode, 0xe0ff0001U);
    EXPECT_EQ(HostClient::Call(kGetSysCpuUsage).retCode, kSuccess);
}

TEST(HostFaults, wrong_fault_file_ends_the_host_with_a_message) {
    const TestTree tree;
    const std::pair<const char*, const char*> files[] = {
        {"", "WySvcHost: --faults: no JSON: "},
        {"any crash", "WySvcHost: --faults: no JSON: "},
        {"{}", "WySvcHost: --faults: a fault file is an object with the list \"faults\""},
        {R"({"faults": [{"any": true, "explode": true}]})",
         "WySvcHost: --faults: fault 1: \"explode\" is not known"},
        {R"({"faults": [{"any": true, "crash": true}, {"any": true, "delay": 600001}]})",
         "WySvcHost: --faults: fault 2: \"any delay 600001\": a delay is at most 600000"}};
    for (const auto& [text, message] : files) {
        const auto file = tree.Write(L"faults.json", text);
        HostRunner host({L"--faults", file.wstring()});
        EXPECT_EQ(host.WaitForEnd(), ExitStatus::kBadUsage) << text;
        EXPECT_TRUE(host.Output().starts_with(message)) << host.Output();
    }
    HostRunner host({L"--faults", (tree.Path() / L"missing.json").wstring()});
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kBadUsage);
    EXPECT_TRUE(host.Output().starts_with("WySvcHost: --faults cannot be read: ")) << host.Output();
    EXPECT_NE(host.Output().find("missing.json"), std::string::npos) << host.Output();
}

TEST(HostFaults, unknown_client_is_renewed_by_the_client) {
    HostRunner host({L"--fault", L"api:400013001 unknown-client"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(CallCpu(), kSuccess);
}

TEST(HostFaults, answer_with_negative_code_keeps_its_data) {
    HostRunner host({L"--fault", L"api:400013001 retcode 0xe0ff0016"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult call = HostClient::Call(kGetSysCpuUsage);
    EXPECT_EQ(call.result, kSuccess);
    EXPECT_EQ(call.retCode, 0xe0ff0016U);
    EXPECT_TRUE(call.Data().isMember("cpuUsage"));
}

TEST(HostFaults, script_can_stand_in_a_file) {
    const TestTree tree;
    const auto script = tree.Write(L"faults.txt", "# one failure\napi:400013001 fail 5\n");
    HostRunner host({L"--fault", script.wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(CallCpu(), 0xe0010005U);
    EXPECT_EQ(CallCpu(), kSuccess);
}

TEST(HostFaults, restart_answers_first) {
    HostRunner host({L"--fault", L"api:400013001 restart"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(CallCpu(), kSuccess);
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kClean);
    ASSERT_TRUE(host.WaitForSuccessor()) << host.Output();
    EXPECT_EQ(CallCpu(), kSuccess);
}

TEST(HostFaults, crash_in_mid_call) {
    HostRunner host({L"--fault", L"api:400013001 crash"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(HostClient::CallApart(kGetSysCpuUsage), kCallFailed);
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kCrashByScript);
    EXPECT_EQ(HostClient::CallApart(kGetSysCpuUsage), kServerUnavailable);
}

TEST(HostFaults, crash_with_successor_keeps_the_faults_that_are_left) {
    HostRunner host({L"--fault", L"api:400013001 crash-restart; api:400013001 fail 5"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    EXPECT_EQ(HostClient::CallApart(kGetSysCpuUsage), kCallFailed);
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kCrashByScript);
    ASSERT_TRUE(host.WaitForSuccessor()) << host.Output();
    EXPECT_EQ(CallCpu(), 0xe0010005U);
    EXPECT_EQ(CallCpu(), kSuccess);
    CallResult pid = HostClient::Call(400012012);
    EXPECT_NE(pid.Data()["currentPid"].AsUInt32(), host.ProcessId());
}

TEST(HostFaults, crashed_host_is_away_for_its_time) {
    constexpr ULONGLONG kAbsenceMs = 3000;
    const TestTree tree;
    const auto file =
        tree.Write(L"faults.json", R"({"faults": [{"api": 400013001, "comeBackAfter": 3000},
                                       {"api": 400013001, "always": true, "failure": 5}]})");
    HostRunner host({L"--faults", file.wstring()});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(HostClient::CallApart(kGetSysCpuUsage), kCallFailed);
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kCrashByScript);
    unsigned refused = 0;
    while (CallCpu() == kServerUnavailable && GetTickCount64() - start < 60'000) {
        ++refused;
        Sleep(20);
    }
    EXPECT_GE(GetTickCount64() - start, kAbsenceMs);
    EXPECT_GT(refused, 0U);
    // What was left of the file's faults has gone over to the successor.
    std::uint32_t result = CallCpu();
    for (int i = 0; i < 100 && result == kSuccess; ++i) {  // it listens, and is not ready yet
        Sleep(20);
        result = CallCpu();
    }
    EXPECT_EQ(result, 0xe0010005U);
    CallResult pid = HostClient::Call(400012012);
    EXPECT_EQ(pid.result, kSuccess);
    EXPECT_NE(pid.Data()["currentPid"].AsUInt32(), host.ProcessId());
}

TEST(HostFaults, delayed_call_does_not_hold_the_stop) {
    HostRunner host({L"--fault", L"api:400013001 delay 600000"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    const ULONGLONG start = GetTickCount64();
    std::thread caller([] { EXPECT_EQ(CallCpu(), kSuccess); });
    Sleep(300);
    host.RequestStop();
    caller.join();
    EXPECT_EQ(host.WaitForEnd(), ExitStatus::kClean);
    EXPECT_LT(GetTickCount64() - start, 20'000U);
}

// The last test of the program, since it loses a call to a crash (see CallApart).
TEST(HostFaults, session_survives_a_crash_by_its_own_repair) {
    HostRunner host({L"--fault", L"api:400013001 crash-restart"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CKrRpcClientHelper& helper = HostClient::Helper();
    ASSERT_EQ(helper.RegisterProcess(L"test", OnEvent), kSuccess);
    EXPECT_EQ(CallCpu(), kCallFailed);
    ASSERT_TRUE(host.WaitForSuccessor()) << host.Output();
    // The client's monitor registers anew every half second; then a subscription has an effect.
    bool registered = false;
    for (int i = 0; i < 100 && !registered; ++i) {
        CallResult call =
            HostClient::Call(400012006, L"{\"eventId\": 9, \"productProcessName\": \"test\"}");
        registered = call.Data()["registered"].AsUInt32() == 1;
        if (!registered)
            Sleep(100);
    }
    EXPECT_TRUE(registered);
    EXPECT_EQ(helper.UnregisterProcess(), kSuccess);
}

}  // namespace
