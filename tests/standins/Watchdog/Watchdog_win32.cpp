// Watchdog.exe: the process that the service host belongs to, as far as tests need it.
//
// It owns the watchdog's four named events, starts and stops a service of the service manager when
// it is asked to, and ends when it is asked to:
//
//   Watchdog.exe [OPTION...]
//     --product ID    suffix of the events and first word of the service's name ("Wyvarion")
//     --record FILE   one line for each thing that it was asked and did, appended
//     --ready NAME    a named event to set once the watchdog's events are there
//     --parent PID    end with this process
//     --late MS       make the events after so many milliseconds
//     --slow MS       act so many milliseconds after it was asked
//     --deaf          record what is asked, and do nothing
//     --stays         do not end when asked to
//     --closed        nobody may open the events
//     --without-stop  leave the stop event out
//
// Lines of the record: "up", "asked start", "start CODE", "asked stop", "stop CODE", "down"; the
// code is the error of the service manager, 0 for none.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

#include <sddl.h>

namespace {

struct Options {
    std::wstring product = L"Wyvarion";
    std::wstring record;
    std::wstring ready;
    DWORD parent = 0;
    DWORD lateMs = 0;
    DWORD slowMs = 0;
    bool deaf = false;
    bool stays = false;
    bool closed = false;
    bool withoutStop = false;
};

// False for an option that there is not.
bool Read(int count, wchar_t** arguments, Options& options) {
    for (int i = 1; i < count; ++i) {
        const std::wstring name = arguments[i];
        const auto value = [&] { return std::wstring(++i < count ? arguments[i] : L""); };
        const auto number = [&] {
            return static_cast<DWORD>(std::wcstoul(value().c_str(), nullptr, 10));
        };
        if (name == L"--product") {
            options.product = value();
        } else if (name == L"--record") {
            options.record = value();
        } else if (name == L"--ready") {
            options.ready = value();
        } else if (name == L"--parent") {
            options.parent = number();
        } else if (name == L"--late") {
            options.lateMs = number();
        } else if (name == L"--slow") {
            options.slowMs = number();
        } else if (name == L"--deaf") {
            options.deaf = true;
        } else if (name == L"--stays") {
            options.stays = true;
        } else if (name == L"--closed") {
            options.closed = true;
        } else if (name == L"--without-stop") {
            options.withoutStop = true;
        } else {
            std::fwprintf(stderr, L"Watchdog: what is %ls?\n", name.c_str());
            return false;
        }
    }
    return true;
}

class Watchdog {
public:
    explicit Watchdog(const Options& options) : m_Options(options) {}

    int Run() {
        if (!MakeEvents())
            return 1;
        Note("up");
        if (!m_Options.ready.empty()) {
            const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, m_Options.ready.c_str());
            SetEvent(ready);
            CloseHandle(ready);
        }
        Serve();
        Note("down");
        SetEvent(m_hExit);
        return 0;
    }

private:
    // Lives until the process ends, as all handles here.
    HANDLE Make(const wchar_t* name, bool manual) {
        // An empty list lets nobody in.
        SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
        if (m_Options.closed) {
            ConvertStringSecurityDescriptorToSecurityDescriptorW(
                L"D:", SDDL_REVISION_1, &attributes.lpSecurityDescriptor, nullptr);
        }
        return CreateEventW(&attributes, manual, FALSE,
                            (L"Global\\" + std::wstring(name) + m_Options.product).c_str());
    }

    bool MakeEvents() {
        Sleep(m_Options.lateMs);
        m_hStart = Make(L"WATCHDOG_EVENT_START_SERVICE", false);
        m_hStop = m_Options.withoutStop ? CreateEventW(nullptr, FALSE, FALSE, nullptr)
                                        : Make(L"WATCHDOG_EVENT_STOP_SERVICE", false);
        m_hEnd = Make(L"WATCHDOG_EVENT_STOP_WATCHDOG", true);
        m_hExit = Make(L"WATCHDOG_NOTIFY_WATCHDOG_EXIT", true);
        return m_hStart != nullptr && m_hStop != nullptr && m_hEnd != nullptr && m_hExit != nullptr;
    }

    // Until somebody asks for the end.
    void Serve() {
        // An event that nobody sets.
        const HANDLE end = m_Options.stays ? CreateEventW(nullptr, TRUE, FALSE, nullptr) : m_hEnd;
        std::vector<HANDLE> handles{end, m_hStart, m_hStop};
        if (m_Options.parent != 0)
            handles.push_back(OpenProcess(SYNCHRONIZE, FALSE, m_Options.parent));
        for (;;) {
            const DWORD which = WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                       handles.data(), FALSE, INFINITE);
            if (which != WAIT_OBJECT_0 + 1 && which != WAIT_OBJECT_0 + 2)
                return;
            const bool start = which == WAIT_OBJECT_0 + 1;
            Note(start ? "asked start" : "asked stop");
            if (m_Options.deaf)
                continue;
            Sleep(m_Options.slowMs);
            Note((start ? "start " : "stop ") + std::to_string(Act(start)));
        }
    }

    // The error, 0 for none.
    DWORD Act(bool start) const {
        const std::wstring name = m_Options.product + L" Host Service";
        const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
        const SC_HANDLE service = OpenServiceW(manager, name.c_str(), SERVICE_START | SERVICE_STOP);
        const DWORD error = service == nullptr ? GetLastError() : Ask(service, start);
        CloseServiceHandle(service);
        CloseServiceHandle(manager);
        return error;
    }

    static DWORD Ask(SC_HANDLE service, bool start) {
        SERVICE_STATUS status;
        const BOOL done = start ? StartServiceW(service, 0, nullptr)
                                : ControlService(service, SERVICE_CONTROL_STOP, &status);
        return done != 0 ? ERROR_SUCCESS : GetLastError();
    }

    void Note(const std::string& line) const {
        if (m_Options.record.empty())
            return;
        std::FILE* const file = _wfopen(m_Options.record.c_str(), L"ab");
        if (file == nullptr)
            return;
        std::fputs((line + "\n").c_str(), file);
        std::fclose(file);
    }

    const Options m_Options;
    HANDLE m_hStart = nullptr;
    HANDLE m_hStop = nullptr;
    HANDLE m_hEnd = nullptr;
    HANDLE m_hExit = nullptr;
};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    Options options;
    return Read(count, arguments, options) ? Watchdog(options).Run() : 2;
}
