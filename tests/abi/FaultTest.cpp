// Functions of the system that fail under the library: the stated code comes out, nothing crashes,
// and the next call works again.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "abi/SdkLibrary.h"
#include "support/IatPatch.h"
#include "support/ServiceHost.h"

#include <rpc.h>

namespace {

using test_support::IatPatch;
using test_support::ServiceHost;

constexpr std::uint32_t kUntouched = 77;

// What the service of these tests answers.
constexpr std::uint32_t kScriptedLoad = 42;
constexpr const wchar_t* kScriptedText = L"\"some text of the service\"\n";
constexpr const wchar_t* kScript =
    LR"(api:400013001 x* text {"data":{"cpuUsage":42}}
api:400013005 x* text {"data":"some text of the service"})";

std::uint32_t AskForLoad() {
    std::uint32_t load = kUntouched;
    return SDK(WyGetSysCpuUsage)(&load);
}

class Fault : public testing::Test {
protected:
    // The service outlives all tests of this program.
    static void SetUpTestSuite() { s_pHost = new ServiceHost(kScript); }
    static void TearDownTestSuite() { delete s_pHost; }

    void TearDown() override { EXPECT_EQ(WY_S_OK, AskForLoad()) << "after the fault was gone"; }

    template <class Function>
    static IatPatch Replace(const char* library, const char* name, Function* function) {
        return IatPatch(SdkLibrary::Module(), library, name, function);
    }

private:
    static inline ServiceHost* s_pHost;
};

RPC_STATUS RPC_ENTRY NoUuidText(const UUID*, RPC_CSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(Fault, call_without_a_uuid_is_told_so) {
    const IatPatch patch = Replace("rpcrt4.dll", "UuidToStringA", NoUuidText);
    std::uint32_t load = kUntouched;
    EXPECT_EQ(WY_E_NO_UUID, SDK(WyGetSysCpuUsage)(&load));
    EXPECT_EQ(kUntouched, load);
}

TEST_F(Fault, session_without_a_uuid_is_told_so) {
    const IatPatch patch = Replace("rpcrt4.dll", "UuidToStringA", NoUuidText);
    EXPECT_EQ(WY_E_NO_UUID, SDK(WyInitialize)(L"abi-test"));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

HANDLE WINAPI NoThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, void*, DWORD,
                       DWORD*) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(Fault, session_opens_without_its_monitor_thread) {
    {
        const IatPatch patch = Replace("kernel32.dll", "CreateThread", NoThread);
        EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(L"abi-test"));
    }
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

int g_iThreads = 0;
decltype(&CreateThread) g_pCreateThread = nullptr;

HANDLE WINAPI CountThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack,
                          LPTHREAD_START_ROUTINE entry, void* argument, DWORD flags, DWORD* id) {
    ++g_iThreads;
    return g_pCreateThread(attributes, stack, entry, argument, flags, id);
}

TEST_F(Fault, session_alone_starts_a_thread_and_but_one) {
    const IatPatch patch = Replace("kernel32.dll", "CreateThread", CountThread);
    g_pCreateThread = patch.Original<decltype(CreateThread)>();
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, SDK(WyInitialize)(L""));
    EXPECT_EQ(0, g_iThreads);
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(L"abi-test"));
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(L"abi-test"));
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    EXPECT_EQ(1, g_iThreads);
}

HANDLE WINAPI NoEvent(LPSECURITY_ATTRIBUTES, BOOL, BOOL, const wchar_t*) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(Fault, session_opens_and_closes_without_its_stop_event) {
    {
        const IatPatch patch = Replace("kernel32.dll", "CreateEventW", NoEvent);
        EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(L"abi-test"));
    }
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

std::map<SIZE_T, UINT> g_LocalBlocks;

HLOCAL WINAPI NoteLocalBlock(UINT flags, SIZE_T size) {
    g_LocalBlocks[size] = flags;
    return LocalAlloc(flags, size);
}

TEST_F(Fault, output_text_is_asked_for_without_flags_and_with_its_exact_size) {
    const IatPatch patch = Replace("kernel32.dll", "LocalAlloc", NoteLocalBlock);
    wchar_t* text = nullptr;
    EXPECT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(&text));
    ASSERT_STREQ(kScriptedText, text);
    LocalFree(text);
    ASSERT_EQ(1u, g_LocalBlocks.count((std::wcslen(kScriptedText) + 1) * sizeof(wchar_t)));
    EXPECT_EQ(0u, g_LocalBlocks[(std::wcslen(kScriptedText) + 1) * sizeof(wchar_t)]);
}

HLOCAL WINAPI NoLocalBlock(UINT, SIZE_T) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(Fault, output_text_without_memory_is_null_and_the_call_succeeds) {
    const IatPatch patch = Replace("kernel32.dll", "LocalAlloc", NoLocalBlock);
    wchar_t garbage[] = L"x";
    wchar_t* text = garbage;
    EXPECT_EQ(WY_S_OK, SDK(WyGetProcessInfo)(&text));
    EXPECT_EQ(nullptr, text);
}

RPC_STATUS RPC_ENTRY NoBinding(RPC_WSTR, RPC_BINDING_HANDLE* binding) {
    *binding = nullptr;
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(Fault, call_without_a_binding_gives_invalid_binding) {
    const IatPatch patch = Replace("rpcrt4.dll", "RpcBindingFromStringBindingW", NoBinding);
    EXPECT_EQ(0xe0010000u | RPC_S_INVALID_BINDING, AskForLoad());
}

RPC_STATUS RPC_ENTRY NoBindingText(RPC_WSTR, RPC_WSTR, RPC_WSTR, RPC_WSTR, RPC_WSTR, RPC_WSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(Fault, call_without_the_text_of_a_binding_gives_invalid_binding) {
    const IatPatch patch = Replace("rpcrt4.dll", "RpcStringBindingComposeW", NoBindingText);
    EXPECT_EQ(0xe0010000u | RPC_S_INVALID_BINDING, AskForLoad());
}

RPC_STATUS RPC_ENTRY DuplicateEndpoint(RPC_WSTR, unsigned int, RPC_WSTR, void*) {
    return RPC_S_DUPLICATE_ENDPOINT;
}

RPC_STATUS RPC_ENTRY NoEndpoint(RPC_WSTR, unsigned int, RPC_WSTR, void*) {
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(Fault, endpoint_that_is_open_already_hinders_nothing) {
    const IatPatch patch = Replace("rpcrt4.dll", "RpcServerUseProtseqEpW", DuplicateEndpoint);
    const SdkSession session;
    EXPECT_EQ(WY_S_OK, session.Code());
}

TEST_F(Fault, endpoint_that_cannot_be_opened_hinders_no_call) {
    const IatPatch patch = Replace("rpcrt4.dll", "RpcServerUseProtseqEpW", NoEndpoint);
    const SdkSession session;
    EXPECT_EQ(WY_S_OK, session.Code());
    EXPECT_EQ(WY_S_OK, AskForLoad());
}

// Memory of the C runtime, from which operator new and the stubs take theirs. Only one thread runs
// out of it: threads of the RPC runtime and of the session go on. That thread alone reads the
// numbers.
std::atomic<DWORD> g_uiStarvedThread{0};
int g_iPassed = 0;   // so many allocations work yet
int g_iFailing = 0;  // so many fail then
int g_iFailed = 0;

bool MayAllocate() {
    if (g_uiStarvedThread != GetCurrentThreadId() || g_iPassed-- > 0)
        return true;
    if (++g_iFailed >= g_iFailing)
        g_uiStarvedThread = 0;
    return false;
}

// Blocks that the library has and has not given back, since the patches are in place.
std::atomic<int> g_iBlocks{0};

void* Counted(void* block) {
    g_iBlocks += block != nullptr ? 1 : 0;
    return block;
}

void* LimitedMalloc(std::size_t size) {
    return MayAllocate() ? Counted(std::malloc(size)) : nullptr;
}

void* LimitedCalloc(std::size_t count, std::size_t size) {
    return MayAllocate() ? Counted(std::calloc(count, size)) : nullptr;
}

void* LimitedRealloc(void* block, std::size_t size) {
    if (!MayAllocate())
        return nullptr;
    return block == nullptr ? Counted(std::malloc(size)) : std::realloc(block, size);
}

void CountedFree(void* block) {
    g_iBlocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

// Lets `failing` allocations of this thread in the library fail after `passed` ones.
class Starve {
public:
    Starve(int passed, int failing) {
        g_iPassed = passed;
        g_iFailing = failing;
        g_iFailed = 0;
        g_uiStarvedThread = GetCurrentThreadId();
    }
    Starve(const Starve&) = delete;
    Starve& operator=(const Starve&) = delete;
    ~Starve() { g_uiStarvedThread = 0; }
};

constexpr int kAll = 1 << 30;

class Memory : public Fault {
protected:
    Memory()
        : m_Malloc(Replace("msvcrt.dll", "malloc", LimitedMalloc)),
          m_Calloc(Replace("msvcrt.dll", "calloc", LimitedCalloc)),
          m_Realloc(Replace("msvcrt.dll", "realloc", LimitedRealloc)),
          m_Free(Replace("msvcrt.dll", "free", CountedFree)) {}

    // Runs the call again and again, failing its first allocation, then its second, and so on,
    // until it meets no failure any more. Counts the result codes.
    template <class Call>
    static std::map<std::uint32_t, int> FailEach(int failing, Call call) {
        std::map<std::uint32_t, int> codes;
        const int before = g_iBlocks;
        for (int passed = 0; passed < 5000; ++passed) {
            std::uint32_t code = 0;
            {
                const Starve starve(passed, failing);
                code = call();
            }
            if (g_iFailed == 0) {
                ExpectBlocks(before);
                return codes;
            }
            ++codes[code];
        }
        ADD_FAILURE() << "the call never gets through";
        return codes;
    }

private:
    static void ExpectBlocks(int before) {
        // A monitor thread that was asked to end gives its memory back a moment later.
        for (int i = 0; i < 500 && g_iBlocks - before > 1; ++i)
            Sleep(10);
        // One may stay: the lock of the reserve of the C++ runtime.
        EXPECT_LE(g_iBlocks - before, 1) << "blocks of memory are lost";
    }

    IatPatch m_Malloc;
    IatPatch m_Calloc;
    IatPatch m_Realloc;
    IatPatch m_Free;
};

// Without memory a call fails in one of these ways. A message that lacks what could not be stored
// is refused by the service, or is an answer without a field.
void ExpectStatedCodes(const std::map<std::uint32_t, int>& codes) {
    const std::set<std::uint32_t> stated = {
        WY_E_OUT_OF_MEMORY,
        WY_E_FAILURE,
        WY_E_INVALID_ARGUMENT,
        WY_E_MALFORMED_REPLY,
        WY_E_NO_UUID,
        0xe0010000u | ERROR_INVALID_DATA,
        0xe0010000u | ERROR_OUTOFMEMORY,
    };
    for (const auto& [code, count] : codes) {
        std::printf("  %08x %d times\n", code, count);
        EXPECT_TRUE(code == WY_S_OK || stated.count(code) == 1) << std::hex << code;
    }
    // The usual end; fewer means that the patch is not in the way of the library's memory.
    const auto outOfMemory = codes.find(WY_E_OUT_OF_MEMORY);
    ASSERT_NE(codes.end(), outOfMemory);
    EXPECT_GT(outOfMemory->second, 10);
}

// A call that succeeds although an allocation failed has brought the whole answer, or found no
// answer text in the reply, which is no failure of the call.
std::uint32_t AskForLoadExactly() {
    std::uint32_t load = kUntouched;
    const std::uint32_t code = SDK(WyGetSysCpuUsage)(&load);
    EXPECT_TRUE(code != WY_S_OK || load == kScriptedLoad || load == 0) << load;
    return code;
}

std::uint32_t AskForTextExactly() {
    wchar_t* text = nullptr;
    const std::uint32_t code = SDK(WyGetProcessInfo)(&text);
    EXPECT_TRUE(code != WY_S_OK || text == nullptr || std::wcscmp(text, kScriptedText) == 0 ||
                std::wcscmp(text, L"null\n") == 0)
        << text;
    LocalFree(text);
    return code;
}

TEST_F(Memory, calls_with_one_failing_allocation) {
    ExpectStatedCodes(FailEach(1, AskForLoadExactly));
    ExpectStatedCodes(FailEach(1, AskForTextExactly));
}

// Now the exception itself finds no memory and comes from the reserve of the C++ runtime.
TEST_F(Memory, calls_with_two_failing_allocations) {
    ExpectStatedCodes(FailEach(2, AskForLoadExactly));
    ExpectStatedCodes(FailEach(2, AskForTextExactly));
}

// The reserve makes its lock with its first use, and the thread its record of exceptions with the
// first exception; both need memory, so a whole lack of it is tried after the two tests above.
TEST_F(Memory, calls_with_no_memory_at_all_from_some_point_on) {
    FailEach(2, AskForLoadExactly);
    ExpectStatedCodes(FailEach(kAll, AskForLoadExactly));
    ExpectStatedCodes(FailEach(kAll, AskForTextExactly));
}

TEST_F(Memory, initialize_with_one_failing_allocation) {
    const auto session = [] {
        const std::uint32_t code = SDK(WyInitialize)(L"abi-test");
        if (code != WY_S_OK)
            return code;
        g_uiStarvedThread = 0;
        EXPECT_EQ(WY_S_OK, AskForLoad());
        return SDK(WyUninitialize)();
    };
    {
        // What the first session and the first exception of a process leave behind is not a loss.
        EXPECT_EQ(WY_S_OK, session());
        const Starve starve(0, 1);
        EXPECT_NE(WY_S_OK, session());
    }
    ExpectStatedCodes(FailEach(1, session));
    EXPECT_EQ(WY_S_OK, session());
}

}  // namespace
