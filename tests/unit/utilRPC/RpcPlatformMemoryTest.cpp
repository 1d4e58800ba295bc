// What server and client manager do when the platform has no memory for them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "RpcServing.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "utilRPC/IdlServerHelper.h"
#include "utilRPC/RpcClientManager.h"

using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using test_support::Bytes;
using test_support::IatPatch;
using test_support::LogRecorder;
using test_support::Serving;

namespace {

// A size that nothing else of the program asks for.
constexpr std::uint32_t kReplySize = 54321;

void* __cdecl MallocButTheReply(std::size_t size) {
    static const auto allocate = reinterpret_cast<void*(__cdecl*)(std::size_t)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
    return size == kReplySize ? nullptr : allocate(size);
}

TEST(ServerRoutineMemory, reply_without_memory_for_its_block_keeps_its_size) {
    const Bytes reply(kReplySize, 0xab);
    const Serving serving(L"RpcPlatformMemoryTest",
                          [&reply](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
                              out.WriteBytes(reply.data(), kReplySize);
                          });
    const std::uint8_t request[] = {77, 0, 0, 0};
    std::int32_t size = 0;
    std::uint8_t* block = nullptr;
    const LogRecorder log;
    {
        const IatPatch patch(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", MallocButTheReply);
        IdlServerHelper::ServeRequest(4, request, &size, &block);
    }
    EXPECT_EQ(size, static_cast<std::int32_t>(kReplySize));
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequest(), outSize: 54321"));
    IdlServerHelper::ServeRequest(4, request, &size, &block);
    EXPECT_NE(block, nullptr);
    std::free(block);
}

BOOL WINAPI NoLock(LPCRITICAL_SECTION, DWORD) {
    return FALSE;
}

TEST(ClientManagerMemory, manager_without_locks_says_so_in_the_log) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll",
                         "InitializeCriticalSectionAndSpinCount", NoLock);
    const LogRecorder log;
    { const CRpcClientManager manager(nullptr, 1000); }
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] Cannot init lock "));
}

}  // namespace
