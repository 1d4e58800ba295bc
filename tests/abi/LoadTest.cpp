// Loading and unloading. Here the library must come and go, so that this program does not hold it.

#include <WySdk/WySdk.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "support/ServiceHost.h"
#include "support/TemporaryFolder.h"

#include <rpc.h>

namespace {

using test_support::ServiceHost;

constexpr const wchar_t* kLibrary = L"WySdk.dll";

// On Windows advapi32.dll holds the RPC runtime. On Wine it would go with the last library
// that uses it, and its own threads, which end a while after the last call, would find no code.
void KeepRpcRuntime() {
    static HMODULE const s_hRuntime = LoadLibraryW(L"rpcrt4.dll");
    EXPECT_NE(nullptr, s_hRuntime);
}

class Loaded {
public:
    explicit Loaded(const wchar_t* path = kLibrary) {
        KeepRpcRuntime();
        m_hModule = LoadLibraryW(path);
        EXPECT_NE(nullptr, m_hModule);
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    ~Loaded() { FreeLibrary(m_hModule); }

    template <class Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(m_hModule, name)));
    }

private:
    HMODULE m_hModule = nullptr;
};

// A thread of the library may hold it for a moment longer.
bool IsGoneInAWhile() {
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (GetModuleHandleW(kLibrary) == nullptr)
            return true;
        Sleep(100);
    }
    return false;
}

TEST(Load, library_goes_when_it_is_freed) {
    for (int round = 0; round < 50; ++round) {
        { const Loaded library; }
        EXPECT_EQ(nullptr, GetModuleHandleW(kLibrary)) << round;
    }
}

// Nor does a call of a function that sends nothing.
TEST(Load, library_starts_no_thread_by_itself) {
    const std::int64_t before = test_support::ProcessFigures::Now().threads;
    const Loaded library;
    EXPECT_EQ(WY_S_OK, library.Find<decltype(WyUninitialize)>("WyUninitialize")());
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, library.Find<decltype(WyPauseScan)>("WyPauseScan")(nullptr));
    EXPECT_LE(test_support::ProcessFigures::Now().threads, before);
}

TEST(Load, calls_work_in_each_life) {
    const ServiceHost host;
    for (int round = 0; round < 5; ++round) {
        {
            const Loaded library;
            std::uint32_t load = 0;
            EXPECT_EQ(WY_S_OK, library.Find<decltype(WyGetSysCpuUsage)>("WyGetSysCpuUsage")(&load));
        }
        EXPECT_TRUE(IsGoneInAWhile()) << round;
    }
}

TEST(Load, library_goes_after_a_closed_session) {
    const ServiceHost host;
    for (int round = 0; round < 5; ++round) {
        {
            const Loaded library;
            EXPECT_EQ(WY_S_OK, library.Find<decltype(WyInitialize)>("WyInitialize")(L"abi-test"));
            EXPECT_EQ(WY_S_OK, library.Find<decltype(WyUninitialize)>("WyUninitialize")());
        }
        EXPECT_TRUE(IsGoneInAWhile()) << round;
    }
}

RPC_STATUS RPC_ENTRY NoUuidText(const UUID*, RPC_CSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}

// The service is not told then, so the process counts as registered for as long as the library
// stays loaded.
TEST(Load, library_goes_after_a_session_that_could_not_be_unregistered) {
    const ServiceHost host;
    {
        const Loaded library;
        const auto initialize = library.Find<decltype(WyInitialize)>("WyInitialize");
        const auto uninitialize = library.Find<decltype(WyUninitialize)>("WyUninitialize");
        EXPECT_EQ(WY_S_OK, initialize(L"abi-test"));
        {
            const test_support::IatPatch patch(GetModuleHandleW(kLibrary), "rpcrt4.dll",
                                               "UuidToStringA", NoUuidText);
            EXPECT_EQ(WY_E_NO_UUID, uninitialize());
        }
        EXPECT_EQ(WY_S_OK, uninitialize());
        EXPECT_EQ(WY_E_ALREADY_INITIALIZED, initialize(L"abi-test"));
    }
    EXPECT_TRUE(IsGoneInAWhile());
    const Loaded library;
    EXPECT_EQ(WY_S_OK, library.Find<decltype(WyInitialize)>("WyInitialize")(L"abi-test"));
    EXPECT_EQ(WY_S_OK, library.Find<decltype(WyUninitialize)>("WyUninitialize")());
}

// An application that ends takes no leave of the service, and is not held up by its session.
TEST(Load, process_ends_with_an_open_session_and_sends_nothing) {
    ServiceHost host(L"cmd:8275 crash");
    EXPECT_EQ(0, test_support::RunProgram(test_support::ProgramFolder() / "SessionLeaver.exe"));
    EXPECT_FALSE(host.WaitForEnd(500).has_value());
}

// A host of the second identity lies beside the library, so that it asks the service of that one.
TEST(Load, library_asks_the_service_of_its_identity) {
    const test_support::TemporaryFolder folder(L"second_identity");
    const std::filesystem::path path = folder.Path() / kLibrary;
    std::filesystem::copy_file(test_support::ProgramFolder() / kLibrary, path);
    std::ofstream(folder.Path() / "WySvcHost_P.exe") << "host";
    {
        const Loaded library(path.c_str());
        const auto call = library.Find<decltype(WyGetSysCpuUsage)>("WyGetSysCpuUsage");
        std::uint32_t load = 0;
        {
            const ServiceHost first;
            EXPECT_EQ(0xe00106bau, call(&load));
        }
        const ServiceHost second(L"", 1);
        EXPECT_EQ(WY_S_OK, call(&load));
    }
    EXPECT_TRUE(IsGoneInAWhile());
}

std::set<std::filesystem::path> FilesBeside() {
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(test_support::ProgramFolder()))
        files.insert(entry.path());
    return files;
}

// No product is installed here, so that there is no folder for a log.
TEST(Load, without_a_product_path_works_and_writes_no_log) {
    const std::set<std::filesystem::path> before = FilesBeside();
    {
        const Loaded library;
        EXPECT_EQ(WY_S_OK, library.Find<decltype(WyUninitialize)>("WyUninitialize")());
        EXPECT_EQ(WY_E_INVALID_ARGUMENT,
                  library.Find<decltype(WyInitialize)>("WyInitialize")(nullptr));
        EXPECT_EQ(nullptr, GetModuleHandleW(L"KrDbgLog.dll"));
    }
    EXPECT_EQ(before, FilesBeside());
}

}  // namespace
