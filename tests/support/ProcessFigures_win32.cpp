#include "support/ProcessFigures.h"

#include <stdexcept>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

namespace test_support {

namespace {

// SystemExtendedHandleInformation: all handles of the machine, with process ids of full width.
constexpr int kExtendedHandles = 64;
constexpr NTSTATUS kTooShort = static_cast<NTSTATUS>(0xc0000004);

struct HandleEntry {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT backTraceIndex;
    USHORT typeIndex;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

using QueryFunction = NTSTATUS(NTAPI*)(int, void*, ULONG, ULONG*);

QueryFunction Query() {
    static const auto function = reinterpret_cast<QueryFunction>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    return function;
}

// The handles of this process.
std::vector<HANDLE> ListHandles() {
    std::vector<unsigned char> buffer(1u << 18);
    for (;;) {
        ULONG needed = 0;
        const NTSTATUS status =
            Query()(kExtendedHandles, buffer.data(), static_cast<ULONG>(buffer.size()), &needed);
        if (status == 0)
            break;
        if (status != kTooShort)
            throw std::runtime_error("the handles of the machine cannot be listed");
        buffer.resize(buffer.size() * 2);
    }
    const auto* table = reinterpret_cast<const HandleTable*>(buffer.data());
    std::vector<HANDLE> own;
    for (ULONG_PTR i = 0; i < table->count; ++i) {
        if (table->entries[i].processId == GetCurrentProcessId())
            own.push_back(reinterpret_cast<HANDLE>(table->entries[i].handle));
    }
    return own;
}

std::int64_t CountThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        throw std::runtime_error("the threads of the machine cannot be listed");
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::int64_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            ++count;
    }
    CloseHandle(snapshot);
    return count;
}

PROCESS_MEMORY_COUNTERS MemoryCounters() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        throw std::runtime_error("the memory of the process cannot be measured");
    return counters;
}

}  // namespace

ProcessFigures ProcessFigures::Now() {
    // The listing opens and closes a handle of its own, so the handles come first.
    const std::int64_t handles = CountHandles();
    return {handles, CountThreads(), static_cast<std::int64_t>(MemoryCounters().PagefileUsage)};
}

std::int64_t CountHandles() {
    return static_cast<std::int64_t>(ListHandles().size());
}

std::int64_t PeakWorkingSetBytes() {
    return static_cast<std::int64_t>(MemoryCounters().PeakWorkingSetSize);
}

int CountHandlesOn(void* handle) {
    using CompareFunction = BOOL(WINAPI*)(HANDLE, HANDLE);
    static const auto compare = reinterpret_cast<CompareFunction>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CompareObjectHandles")));
    int count = 0;
    for (const HANDLE own : ListHandles()) {
        if (compare(own, handle))
            ++count;
    }
    return count;
}

std::string ToText(const ProcessFigures& figures) {
    return "handles " + std::to_string(figures.handles) + ", threads " +
           std::to_string(figures.threads) + ", private " +
           std::to_string(figures.privateBytes / 1024) + " KiB";
}

}  // namespace test_support
