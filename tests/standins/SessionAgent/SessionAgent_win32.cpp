// Stands in for the session agent: appends its command line to its record, and stays.
//
// It ends when its event is set, when somebody ends it, and after two minutes at the latest. The
// event is "Global\SESSION_AGENT_STANDIN_END" with the number of the process behind it, and is
// there before the record is. A line of the record: the number of the process, and its command
// line.

#include "Record_win32.h"

namespace {

constexpr DWORD kLifeMs = 120000;

}  // namespace

int main() {
    const std::wstring name =
        L"Global\\SESSION_AGENT_STANDIN_END" + std::to_wstring(GetCurrentProcessId());
    const HANDLE end = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    Note(RecordPath(), std::to_wstring(GetCurrentProcessId()) + L" " + GetCommandLineW());
    const DWORD result = WaitForSingleObject(end, kLifeMs);
    CloseHandle(end);
    return result == WAIT_OBJECT_0 ? 0 : 1;
}
