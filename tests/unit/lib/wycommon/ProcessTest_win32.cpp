// Listing and ending processes, against real ones and against a system that refuses.

#include "lib/wycommon/WyCommon_Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "lib/wycommon/WyCommon_Psapi.h"
#include "support/AllocationFaults.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "unit/lib/wycommon/LookupStandIns.h"
#include "unit/lib/wycommon/TestChild.h"

namespace {

namespace fs = std::filesystem;
namespace Utility = WyCommon::Utility;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using test_support::IatPatch;
using test_support::LogRecorder;
using WyCommon::Library::PsapiLib;
using wycommon_test::Child;
using wycommon_test::Lookups;

constexpr const wchar_t* kNotInitialized = L"*** WyCommon::PsapiLib::Initialize() failed.";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

// ---- psapi.dll

TEST(PsapiLib, binds_three_functions_and_lets_go_of_the_module) {
    Lookups lookups;
    {
        PsapiLib library;
        EXPECT_FALSE(library.IsBound());
        EXPECT_TRUE(library.Initialize());
        EXPECT_TRUE(library.IsBound());
        HMODULE module = nullptr;
        DWORD needed = 0;
        EXPECT_TRUE(
            library.EnumProcessModules(GetCurrentProcess(), &module, sizeof module, &needed));
        EXPECT_EQ(module, Program());
        wchar_t path[MAX_PATH] = {};
        EXPECT_GT(library.GetModuleFileNameExW(GetCurrentProcess(), module, path, MAX_PATH), 0U);
        wchar_t expected[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, expected, MAX_PATH);
        EXPECT_EQ(fs::path(path).filename(), fs::path(expected).filename());
    }
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(PsapiLib, unbound_functions_fail_as_invalid_handles) {
    const PsapiLib library;
    DWORD number = 0;
    HMODULE module = nullptr;
    wchar_t path[4];
    SetLastError(0);
    EXPECT_FALSE(library.EnumProcesses(&number, sizeof number, &number));
    EXPECT_EQ(GetLastError(), 6U);
    SetLastError(0);
    EXPECT_FALSE(library.EnumProcessModules(GetCurrentProcess(), &module, sizeof module, &number));
    EXPECT_EQ(GetLastError(), 6U);
    SetLastError(0);
    EXPECT_EQ(library.GetModuleFileNameExW(GetCurrentProcess(), module, path, 4), 0U);
    EXPECT_EQ(GetLastError(), 6U);
}

TEST(PsapiLib, missing_module_or_function_has_one_line_of_fixed_origin) {
    const struct {
        const char* function;  // the one that is missing; null: the module
        DWORD moduleError;
        const wchar_t* text;
    } rows[] = {
        {nullptr, 126, L"*** PsapiLib::InitializeLibrary() failed. [0x0000007e]"},
        {nullptr, 1114, L"*** PsapiLib::InitializeLibrary() failed. [0x0000045a]"},
        {"EnumProcesses", 0, L"*** PsapiLib::InitializeLibrary() failed. [0x0000007f]"},
        {"EnumProcessModules", 0, L"*** PsapiLib::InitializeLibrary() failed. [0x0000007f]"},
        {"GetModuleFileNameExW", 0, L"*** PsapiLib::InitializeLibrary() failed. [0x0000007f]"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        Lookups lookups;
        if (row.function != nullptr) {
            lookups.Hide(row.function);
        } else {
            lookups.HideModule(L"psapi.dll", row.moduleError);
        }
        LogRecorder log;
        PsapiLib library;
        EXPECT_FALSE(library.Initialize());
        EXPECT_FALSE(library.IsBound());
        EXPECT_EQ(lookups.LeftLoaded(), 0);
        ASSERT_EQ(log.Lines().size(), 1U);
        const LogRecorder::Line line = log.Lines()[0];
        EXPECT_EQ(line.text, row.text);
        EXPECT_EQ(line.level, kError);
        EXPECT_EQ(line.file, "WyCommon_Utility");
        EXPECT_EQ(line.line, 80U);
        DWORD number = 0;
        EXPECT_FALSE(library.EnumProcesses(&number, sizeof number, &number));
        if (row.function != nullptr) {
            lookups.Forget(row.function);
            EXPECT_TRUE(library.Initialize()) << "a second try finds it";
        }
    }
}

// ---- EnumProcessId

using Ids = std::vector<std::uint32_t>;

bool Contains(const Ids& ids, DWORD id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

TEST(EnumProcessId, appends_the_running_processes) {
    const test_support::TemporaryFolder folder(L"wy_ids");
    const Child child(folder.Path() / "child.exe");
    Lookups lookups;
    Ids ids = {4711};
    EXPECT_TRUE(Utility::EnumProcessId(ids, nullptr));
    EXPECT_EQ(ids[0], 4711U);
    EXPECT_TRUE(Contains(ids, GetCurrentProcessId()));
    EXPECT_TRUE(Contains(ids, child.Id()));
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(EnumProcessId, binds_the_callers_library_once) {
    Lookups lookups;
    PsapiLib library;
    Ids ids;
    EXPECT_TRUE(Utility::EnumProcessId(ids, &library));
    EXPECT_TRUE(library.IsBound());
    lookups.HideModule(L"psapi.dll", ERROR_MOD_NOT_FOUND);
    EXPECT_TRUE(Utility::EnumProcessId(ids, &library));
    EXPECT_EQ(lookups.LeftLoaded(), 1);
}

std::vector<DWORD> s_AskedSizes;
DWORD s_uiProcessCount = 0;

BOOL WINAPI CountedProcesses(DWORD* ids, DWORD size, DWORD* used) {
    s_AskedSizes.push_back(size);
    const DWORD count = std::min<DWORD>(size / sizeof(DWORD), s_uiProcessCount);
    for (DWORD i = 0; i < count; ++i)
        ids[i] = i + 1;
    *used = count * static_cast<DWORD>(sizeof(DWORD));
    return TRUE;
}
BOOL WINAPI ProcessesRefused(DWORD*, DWORD, DWORD*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST(EnumProcessId, doubles_the_buffer_until_it_does_not_come_back_full) {
    const struct {
        DWORD processes;
        std::vector<DWORD> sizes;  // in bytes
    } rows[] = {
        {0, {4096}},
        {1023, {4096}},
        {1024, {4096, 8192}},
        {2047, {4096, 8192}},
        {2048, {4096, 8192, 16384}},
        {5000, {4096, 8192, 16384, 32768}},
    };
    for (const auto& row : rows) {
        Lookups lookups;
        lookups.Give("EnumProcesses", CountedProcesses);
        s_AskedSizes.clear();
        s_uiProcessCount = row.processes;
        Ids ids;
        EXPECT_TRUE(Utility::EnumProcessId(ids, nullptr));
        EXPECT_EQ(s_AskedSizes, row.sizes);
        ASSERT_EQ(ids.size(), row.processes);
        for (DWORD i = 0; i < row.processes; ++i)
            ASSERT_EQ(ids[i], i + 1);
    }
}

TEST(EnumProcessId, refusal_is_logged_and_appends_nothing) {
    Lookups lookups;
    lookups.Give("EnumProcesses", ProcessesRefused);
    LogRecorder log;
    Ids ids = {1};
    EXPECT_FALSE(Utility::EnumProcessId(ids, nullptr));
    EXPECT_EQ(ids, (Ids{1}));
    EXPECT_EQ(log.Lines().size(), 1U);
    EXPECT_TRUE(log.Has(kError, L"*** ::EnumProcesses() failed. [0x00000005]"));
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(EnumProcessId, missing_library_is_logged) {
    Lookups lookups;
    lookups.HideModule(L"psapi.dll", ERROR_MOD_NOT_FOUND);
    LogRecorder log;
    Ids ids;
    PsapiLib library;
    EXPECT_FALSE(Utility::EnumProcessId(ids, nullptr));
    EXPECT_FALSE(Utility::EnumProcessId(ids, &library));
    EXPECT_EQ(log.Lines().size(), 4U);
    EXPECT_EQ(log.CountContaining(kNotInitialized), 2U);
    EXPECT_TRUE(log.Has(kError, kNotInitialized));
}

TEST(EnumProcessId, no_memory_for_the_library_is_logged) {
    LogRecorder log;
    Ids ids;
    {
        const test_support::FailAllocations fail(0, test_support::FailAllocations::Mode::kOnce);
        EXPECT_FALSE(Utility::EnumProcessId(ids, nullptr));
        EXPECT_TRUE(fail.Happened());
    }
    EXPECT_EQ(log.Lines().size(), 1U);
    EXPECT_TRUE(log.Has(kError, L"*** Out of memory."));
}

// ---- ForceTerminateModule: which processes end

std::wstring Upper(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}
std::wstring Same(std::wstring text) {
    return text;
}

TEST(ForceTerminateModule, ends_the_processes_of_a_folder) {
    const struct {
        const char* what;
        const wchar_t* folder;  // below the test's own
        std::wstring (*spelling)(std::wstring);
        const wchar_t* excluded;
        const wchar_t* program;
        bool ends;
    } rows[] = {
        {"in the folder", L"prod", Same, L"", L"prod\\tool.exe", true},
        {"separator at the end", L"prod\\", Same, L"", L"prod\\tool.exe", true},
        {"in a sub-folder", L"prod", Same, L"", L"prod\\bin\\x64\\tool.exe", true},
        {"case of the folder", L"prod", Upper, L"", L"prod\\tool.exe", true},
        {"case of the path", L"prod", Same, L"", L"PROD\\TOOL.EXE", true},
        {"not plain ASCII", L"\u00e4rger \u0434", Upper, L"", L"\u00c4rger \u0414\\tool.exe", true},
        {"beside the folder", L"prod", Same, L"", L"other\\tool.exe", false},
        {"above the folder", L"prod\\bin", Same, L"", L"prod\\tool.exe", false},
        {"folder that begins alike", L"prod", Same, L"", L"product\\tool.exe", true},
        {"file of the folder's name", L"tool.exe", Same, L"", L"tool.exe", false},
        {"excluded file", L"prod", Same, L"setup", L"prod\\setup.exe", false},
        {"excluded in another case", L"prod", Same, L"SetUp", L"prod\\sEtup.exe", false},
        {"excluded part of a name", L"prod", Same, L"setup", L"prod\\mysetup2.exe", false},
        {"excluded folder", L"prod", Same, L"\\setup\\", L"prod\\setup\\tool.exe", false},
        {"excluded is another", L"prod", Same, L"setup", L"prod\\tool.exe", true},
    };
    const test_support::TemporaryFolder folder(L"wy_force");
    int number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const fs::path base = folder.Path() / std::to_wstring(++number);
        const Child child(base / row.program);
        ASSERT_TRUE(child.IsStarted());
        EXPECT_TRUE(Utility::ForceTerminateModule(row.spelling((base / row.folder).wstring()),
                                                  row.excluded));
        EXPECT_TRUE(row.ends ? child.Ends() : child.IsRunning());
        if (row.ends) {
            EXPECT_EQ(child.ExitCode(), 0U);
        }
    }
}

TEST(ForceTerminateModule, ends_all_of_them_and_says_what_it_saw) {
    const test_support::TemporaryFolder folder(L"wy_force");
    const Child first(folder.Path() / "a.exe");
    const Child second(folder.Path() / "b" / "b.exe");
    Lookups lookups;
    LogRecorder log;
    EXPECT_TRUE(Utility::ForceTerminateModule(folder.Path().wstring(), L""));
    EXPECT_TRUE(first.Ends());
    EXPECT_TRUE(second.Ends());
    const std::vector<LogRecorder::Line> lines = log.Lines();
    ASSERT_GE(lines.size(), 4U);
    EXPECT_EQ(lines.front().text, L"[Enter] WyCommon::Utility::ForceTerminateModule()...");
    EXPECT_EQ(lines.front().level, kInformation);
    EXPECT_EQ(lines.back().text, L"[Leave] WyCommon::Utility::ForceTerminateModule()...");
    EXPECT_EQ(lines.back().level, kInformation);
    for (const wchar_t* name : {L"a.exe", L"b\\b.exe"}) {
        EXPECT_TRUE(
            log.Has(kWarning, L"Enum module file name: " + (folder.Path() / name).wstring()));
    }
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(ForceTerminateModule, empty_folder_is_no_process_folder) {
    const test_support::TemporaryFolder folder(L"wy_force");
    const Child child(folder.Path() / "a.exe");
    for (const wchar_t* text : {L"", L"\\"}) {
        EXPECT_TRUE(Utility::ForceTerminateModule(text, L""));
        EXPECT_TRUE(child.IsRunning());
    }
}

TEST(ForceTerminateModule, without_the_library_fails) {
    Lookups lookups;
    LogRecorder log;
    lookups.HideModule(L"psapi.dll", ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(Utility::ForceTerminateModule(L"C:\\nowhere", L""));
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{L"[Enter] WyCommon::Utility::ForceTerminateModule()...",
                                         L"*** PsapiLib::InitializeLibrary() failed. [0x0000007e]",
                                         kNotInitialized,
                                         L"[Leave] WyCommon::Utility::ForceTerminateModule()..."}));
}

TEST(ForceTerminateModule, without_the_list_fails) {
    Lookups lookups;
    LogRecorder log;
    lookups.Give("EnumProcesses", ProcessesRefused);
    EXPECT_FALSE(Utility::ForceTerminateModule(L"C:\\nowhere", L""));
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{L"[Enter] WyCommon::Utility::ForceTerminateModule()...",
                                         L"*** ::EnumProcesses() failed. [0x00000005]",
                                         L"*** WyCommon::Utility::EnumProcessId() failed.",
                                         L"[Leave] WyCommon::Utility::ForceTerminateModule()..."}));
}

// ---- ForceTerminateModule: what fails for one process does not stop the walk

DWORD s_uiRefusedId = 0;
DWORD s_uiAccess = 0;
DWORD s_uiWaitLimit = 0;
std::set<HANDLE> s_Open;
int s_iRefusals = 0;

struct SystemCalls {
    decltype(&OpenProcess) open;
    decltype(&CloseHandle) close;
    decltype(&TerminateProcess) terminate;
    decltype(&WaitForSingleObject) wait;
};
SystemCalls s_System;

bool IsRefused(HANDLE process) {
    return GetProcessId(process) == s_uiRefusedId;
}

HANDLE WINAPI OpenCounted(DWORD access, BOOL inherit, DWORD id) {
    s_uiAccess = access;
    const HANDLE process = s_System.open(access, inherit, id);
    if (process != nullptr)
        s_Open.insert(process);
    return process;
}
BOOL WINAPI CloseCounted(HANDLE handle) {
    s_Open.erase(handle);
    return s_System.close(handle);
}
HANDLE WINAPI OpenRefused(DWORD access, BOOL inherit, DWORD id) {
    if (id != s_uiRefusedId)
        return OpenCounted(access, inherit, id);
    ++s_iRefusals;
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

BOOL WINAPI ModulesRefused(HANDLE process, HMODULE* modules, DWORD size, DWORD* needed) {
    EXPECT_EQ(size, sizeof(HMODULE)) << "room for one module";
    if (IsRefused(process)) {
        ++s_iRefusals;
        SetLastError(ERROR_PARTIAL_COPY);
        return FALSE;
    }
    // NameOfAll() does not look at it.
    *modules = reinterpret_cast<HMODULE>(1);
    *needed = sizeof(HMODULE);
    return TRUE;
}
std::wstring s_FolderOfAll;
DWORD WINAPI NameOfAll(HANDLE, HMODULE, wchar_t* path, DWORD size) {
    EXPECT_EQ(size, 260U);
    const std::wstring name = s_FolderOfAll + L"\\x.exe";
    return static_cast<DWORD>(name.copy(path, size - 1));
}
DWORD WINAPI NameRefused(HANDLE process, HMODULE module, wchar_t* path, DWORD size) {
    if (!IsRefused(process))
        return NameOfAll(process, module, path, size);
    ++s_iRefusals;
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}
// The name of a module that fills the buffer, which has no NUL then.
DWORD WINAPI LongName(HANDLE process, HMODULE module, wchar_t* path, DWORD size) {
    if (!IsRefused(process))
        return NameOfAll(process, module, path, size);
    ++s_iRefusals;
    std::fill_n(path, size, L'x');
    return size;
}
BOOL WINAPI TerminateRefused(HANDLE process, UINT code) {
    if (!IsRefused(process))
        return s_System.terminate(process, code);
    ++s_iRefusals;
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI TerminateWithoutEffect(HANDLE process, UINT code) {
    if (!IsRefused(process))
        return s_System.terminate(process, code);
    ++s_iRefusals;
    return TRUE;
}
DWORD WINAPI WaitFails(HANDLE process, DWORD limit) {
    s_uiWaitLimit = limit;
    if (!IsRefused(process))
        return s_System.wait(process, limit);
    ++s_iRefusals;
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

// Two children in a folder, seen in this order; the first is the one that makes trouble.
class ForceTerminateFailure : public testing::Test {
protected:
    void SetUp() override {
        s_uiRefusedId = m_First.Id();
        s_iRefusals = 0;
        s_Open.clear();
        s_FolderOfAll = m_Folder.Path().wstring();
        s_System = {m_OpenCount.Original<HANDLE WINAPI(DWORD, BOOL, DWORD)>(),
                    m_CloseCount.Original<BOOL WINAPI(HANDLE)>(), &TerminateProcess,
                    &WaitForSingleObject};
        m_Lookups.Give("EnumProcesses", TwoProcesses);
        s_Ids[0] = m_First.Id();
        s_Ids[1] = m_Second.Id();
        ASSERT_TRUE(m_First.IsStarted() && m_Second.IsStarted());
    }

    // The walk spares the first child, ends the second and leaves nothing open.
    void Walk() {
        EXPECT_TRUE(Utility::ForceTerminateModule(s_FolderOfAll, L""));
        EXPECT_EQ(s_iRefusals, 1);
        EXPECT_TRUE(m_First.IsRunning());
        EXPECT_TRUE(m_Second.Ends());
        EXPECT_TRUE(s_Open.empty());
    }
    std::wstring FirstId() const { return std::to_wstring(m_First.Id()); }

    static BOOL WINAPI TwoProcesses(DWORD* ids, DWORD, DWORD* used) {
        std::copy(s_Ids, s_Ids + 2, ids);
        *used = sizeof s_Ids;
        return TRUE;
    }

    inline static DWORD s_Ids[2];
    test_support::TemporaryFolder m_Folder{L"wy_fail"};
    Child m_First{m_Folder.Path() / "first.exe"};
    Child m_Second{m_Folder.Path() / "second.exe"};
    Lookups m_Lookups;
    LogRecorder m_Log;
    IatPatch m_OpenCount{Program(), "kernel32.dll", "OpenProcess", OpenCounted};
    IatPatch m_CloseCount{Program(), "kernel32.dll", "CloseHandle", CloseCounted};
};

TEST_F(ForceTerminateFailure, process_cannot_be_opened) {
    const IatPatch patch(Program(), "kernel32.dll", "OpenProcess", OpenRefused);
    Walk();
    EXPECT_EQ(s_uiAccess, 0x100411U);
    EXPECT_TRUE(m_Log.Has(kError, L"*** ::OpenProcess(" + FirstId() + L") failed. [0x00000005]"));
}

TEST_F(ForceTerminateFailure, modules_cannot_be_listed) {
    m_Lookups.Give("EnumProcessModules", ModulesRefused);
    m_Lookups.Give("GetModuleFileNameExW", NameOfAll);
    Walk();
    EXPECT_TRUE(m_Log.Has(kError, L"*** ::EnumProcessModules() failed. [0x0000012b]"));
    EXPECT_EQ(m_Log.CountContaining(L"Enum module file name: "), 1U);
}

TEST_F(ForceTerminateFailure, name_cannot_be_read) {
    m_Lookups.Give("GetModuleFileNameExW", NameRefused);
    Walk();
    EXPECT_TRUE(m_Log.Has(kError, L"*** ::GetModuleFileNameEx() failed. [0x00000006]"));
    EXPECT_EQ(m_Log.CountContaining(L"Enum module file name: "), 1U);
}

TEST_F(ForceTerminateFailure, name_fills_its_buffer) {
    m_Lookups.Give("GetModuleFileNameExW", LongName);
    Walk();
    EXPECT_TRUE(m_Log.Has(kWarning, L"Enum module file name: " + std::wstring(259, L'x')));
}

TEST_F(ForceTerminateFailure, process_cannot_be_ended) {
    const IatPatch patch(Program(), "kernel32.dll", "TerminateProcess", TerminateRefused);
    s_System.terminate = patch.Original<BOOL WINAPI(HANDLE, UINT)>();
    Walk();
    EXPECT_TRUE(m_Log.Has(kError, L"*** ::TerminateProcess() failed. [0x00000005]"));
    EXPECT_EQ(m_Log.CountContaining(L"WaitForSingleObject"), 0U);
}

TEST_F(ForceTerminateFailure, wait_fails) {
    {
        const IatPatch patch(Program(), "kernel32.dll", "WaitForSingleObject", WaitFails);
        s_System.wait = patch.Original<DWORD WINAPI(HANDLE, DWORD)>();
        EXPECT_TRUE(Utility::ForceTerminateModule(s_FolderOfAll, L""));
    }
    EXPECT_EQ(s_iRefusals, 1);
    EXPECT_EQ(s_uiWaitLimit, 3000U);
    EXPECT_TRUE(m_Log.Has(kError, L"WaitForSingleObject failed with return code -1, error code 6"));
    EXPECT_TRUE(m_First.Ends() && m_Second.Ends());
}

TEST_F(ForceTerminateFailure, process_that_does_not_end_is_waited_for_three_seconds) {
    const IatPatch patch(Program(), "kernel32.dll", "TerminateProcess", TerminateWithoutEffect);
    s_System.terminate = patch.Original<BOOL WINAPI(HANDLE, UINT)>();
    const DWORD start = GetTickCount();
    Walk();
    EXPECT_GE(GetTickCount() - start, 2990U);
    EXPECT_EQ(m_Log.CountContaining(L"WaitForSingleObject failed with return code 258, error code"),
              1U);
}

}  // namespace
