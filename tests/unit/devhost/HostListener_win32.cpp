// devhostListener NAME EVENT[,EVENT...] READY STOP FILE: registers at the host under this name,
// subscribes to the events, sets the named event READY, and appends every event that arrives as a
// line to FILE. Unregisters and ends when the named event STOP is set.

#include <fstream>
#include <mutex>
#include <sstream>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "unit/devhost/HostRunner.h"

namespace {

constexpr std::uint32_t kSubscribeEvent = 400012006;
constexpr DWORD kLongestLifeMs = 120'000;

std::mutex g_Mutex;
std::ofstream g_File;

std::uint32_t OnEvent(JsonDocument& event) {
    const std::scoped_lock lock(g_Mutex);
    g_File << KrCommon::String::ToUtf8(event.ToCompactString()) << std::flush;
    return KrCommon::Result::kSuccess;
}

bool Subscribe(const std::wstring& name, const std::wstring& events) {
    std::wistringstream list(events);
    for (std::wstring event; std::getline(list, event, L',');) {
        CallResult call =
            HostClient::Call(kSubscribeEvent, L"{\"eventId\": " + event +
                                                  L", \"productProcessName\": \"" + name + L"\"}");
        if (call.Data()["registered"].AsUInt32() != 1)
            return false;
    }
    return true;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count != 6)
        return 2;
    const std::wstring name = arguments[1];
    g_File.open(KrCommon::String::ToUtf8(arguments[5]), std::ios::binary | std::ios::app);
    const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, arguments[3]);
    const HANDLE stop = OpenEventW(SYNCHRONIZE, FALSE, arguments[4]);
    CKrRpcClientHelper& helper = HostClient::Helper();
    if (!g_File || ready == nullptr || stop == nullptr ||
        helper.RegisterProcess(name.c_str(), OnEvent) != KrCommon::Result::kSuccess ||
        !Subscribe(name, arguments[2])) {
        return 1;
    }
    SetEvent(ready);
    WaitForSingleObject(stop, kLongestLifeMs);
    return helper.UnregisterProcess() == KrCommon::Result::kSuccess ? 0 : 1;
}
