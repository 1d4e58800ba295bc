// OsVersionProbe.exe [WORD...]: prints what this process takes the system for.
//
// Each word changes what the system answers:
//   version=PLATFORM,MAJOR,MINOR,PACK,TYPE,SUITES   GetVersionExW, both forms; decimal numbers
//   fail=small|extended|all     those forms of GetVersionExW fail with 1150
//   fail=silent                 both fail and leave no code
//   architecture=N              GetNativeSystemInfo
//   native=missing              there is no GetNativeSystemInfo; GetSystemInfo tells 6
//   product=N|fail|missing      GetProductInfo
//   r2=N                        GetSystemMetrics(SM_SERVERR2)
//   again                       all is asked once more, of the real system
//   lookups                     modules that are left loaded by look-ups are counted
//   threads                     eight threads ask first, all at once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace {

namespace OsVersion = KrCommon::OsVersion;
using test_support::IatPatch;

struct Answers {
    bool versionGiven = false;
    unsigned version[6] = {};
    std::string fail;
    int architecture = -1;
    bool nativeMissing = false;
    std::string product;
    int secondRelease = 0;
    bool again = false;
    bool countLoads = false;
    bool threads = false;
};
Answers s_Answers;
int s_iLoads = 0;

bool Refused(DWORD size) {
    const std::string& fail = s_Answers.fail;
    if (fail == "silent")
        return true;
    const bool small = size == sizeof(OSVERSIONINFOW);
    if (fail == "all" || fail == (small ? "small" : "extended")) {
        SetLastError(ERROR_OLD_WIN_VERSION);
        return true;
    }
    return false;
}

decltype(&GetVersionExW) s_pGetVersion;
BOOL WINAPI GetVersionGiven(OSVERSIONINFOW* out) {
    if (Refused(out->dwOSVersionInfoSize))
        return FALSE;
    if (!s_Answers.versionGiven)
        return s_pGetVersion(out);
    const unsigned* const version = s_Answers.version;
    out->dwPlatformId = version[0];
    out->dwMajorVersion = version[1];
    out->dwMinorVersion = version[2];
    if (out->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW)) {
        auto* const extended = reinterpret_cast<OSVERSIONINFOEXW*>(out);
        extended->wServicePackMajor = static_cast<WORD>(version[3]);
        extended->wProductType = static_cast<BYTE>(version[4]);
        extended->wSuiteMask = static_cast<WORD>(version[5]);
    }
    return TRUE;
}

void WINAPI NativeSystemInfoGiven(SYSTEM_INFO* info) {
    *info = {};
    info->wProcessorArchitecture = static_cast<WORD>(s_Answers.architecture);
}
void WINAPI SystemInfoGiven(SYSTEM_INFO* info) {
    *info = {};
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_IA64;
}
BOOL WINAPI ProductInfoGiven(DWORD major, DWORD minor, DWORD pack, DWORD minorPack, DWORD* type) {
    const unsigned* const version = s_Answers.version;
    const bool asked =
        major == version[1] && minor == version[2] && pack == version[3] && minorPack == 0;
    *type = static_cast<DWORD>(std::atoi(s_Answers.product.c_str()));
    return asked && s_Answers.product != "fail";
}
int WINAPI MetricGiven(int index) {
    return index == SM_SERVERR2 ? s_Answers.secondRelease : 0;
}

decltype(&GetProcAddress) s_pGetProcAddress;
template <class Function>
FARPROC StandIn(Function* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}
FARPROC WINAPI FunctionGiven(HMODULE module, LPCSTR name) {
    const std::string_view wanted = name;
    if (wanted == "GetNativeSystemInfo") {
        if (s_Answers.nativeMissing) {
            SetLastError(ERROR_PROC_NOT_FOUND);
            return nullptr;
        }
        if (s_Answers.architecture >= 0)
            return StandIn(NativeSystemInfoGiven);
    }
    if (wanted == "GetProductInfo") {
        if (s_Answers.product == "missing") {
            SetLastError(ERROR_PROC_NOT_FOUND);
            return nullptr;
        }
        if (!s_Answers.product.empty())
            return StandIn(ProductInfoGiven);
    }
    return s_pGetProcAddress(module, name);
}

decltype(&LoadLibraryW) s_pLoad;
HMODULE WINAPI LoadCounted(LPCWSTR name) {
    const HMODULE module = s_pLoad(name);
    s_iLoads += module != nullptr;
    return module;
}
decltype(&FreeLibrary) s_pFree;
BOOL WINAPI FreeCounted(HMODULE module) {
    const BOOL freed = s_pFree(module);
    s_iLoads -= freed != 0;
    return freed;
}

std::string Conditions() {
    std::string met;
    for (std::uint32_t condition = 0; condition <= 200; ++condition) {
        if (OsVersion::Is(condition))
            met += ' ' + std::to_string(condition);
    }
    return met;
}

// The number of different answers that the threads get.
std::size_t AskFromThreads() {
    constexpr int kThreads = 8;
    std::string answers[kThreads];
    std::atomic<int> waiting{kThreads};
    std::vector<std::thread> threads;
    for (std::string& answer : answers) {
        threads.emplace_back([&] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            answer = Conditions();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return std::set<std::string>(std::begin(answers), std::end(answers)).size();
}

void Print(const char* prefix) {
    std::printf("%sconditions%s\n", prefix, Conditions().c_str());
    std::printf("%serror %u\n", prefix, OsVersion::GetError());
    std::printf("%sis64 %d\n", prefix, OsVersion::Is64Bit() ? 1 : 0);
    std::wstring name = L"before";
    const bool named = OsVersion::GetName(name);
    std::printf("%sname %d [%ls]\n", prefix, named ? 1 : 0, name.c_str());
}

void Read(const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (key == "version") {
        unsigned* const v = s_Answers.version;
        s_Answers.versionGiven = std::sscanf(value.c_str(), "%u,%u,%u,%u,%u,%u", &v[0], &v[1],
                                             &v[2], &v[3], &v[4], &v[5]) == 6;
    } else if (key == "fail") {
        s_Answers.fail = value;
    } else if (key == "architecture") {
        s_Answers.architecture = std::atoi(value.c_str());
    } else if (key == "native") {
        s_Answers.nativeMissing = true;
    } else if (key == "product") {
        s_Answers.product = value;
    } else if (key == "r2") {
        s_Answers.secondRelease = std::atoi(value.c_str());
    } else if (key == "again") {
        s_Answers.again = true;
    } else if (key == "lookups") {
        s_Answers.countLoads = true;
    } else if (key == "threads") {
        s_Answers.threads = true;
    }
}

}  // namespace

int main(int count, char** words) {
    for (int i = 1; i < count; ++i)
        Read(words[i]);
    const HMODULE program = GetModuleHandleW(nullptr);
    {
        const IatPatch version(program, "kernel32.dll", "GetVersionExW", GetVersionGiven);
        s_pGetVersion = version.Original<BOOL WINAPI(OSVERSIONINFOW*)>();
        const IatPatch find(program, "kernel32.dll", "GetProcAddress", FunctionGiven);
        s_pGetProcAddress = find.Original<FARPROC WINAPI(HMODULE, LPCSTR)>();
        const IatPatch system(program, "kernel32.dll", "GetSystemInfo", SystemInfoGiven);
        const IatPatch metric(program, "user32.dll", "GetSystemMetrics", MetricGiven);
        const IatPatch load(program, "kernel32.dll", "LoadLibraryW", LoadCounted);
        s_pLoad = load.Original<HMODULE WINAPI(LPCWSTR)>();
        const IatPatch free(program, "kernel32.dll", "FreeLibrary", FreeCounted);
        s_pFree = free.Original<BOOL WINAPI(HMODULE)>();
        if (s_Answers.threads)
            std::printf("threads %zu\n", AskFromThreads());
        Print("");
    }
    if (s_Answers.countLoads)
        std::printf("loads %d\n", s_iLoads);
    if (s_Answers.again)
        Print("again ");
    return 0;
}
