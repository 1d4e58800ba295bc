#pragma once

// Events of the system that processes share by name. For Windows builds alone.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"

namespace KrCommon::Synchronize {

// One event, or none; closed with the object.
class Event {
public:
    // How an event that has been signalled gets clear again: by the first wait that sees it, or by
    // ResetEvent alone.
    enum class Reset { kAutomatic, kManual };

    Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    virtual ~Event();

    // Creates an event under a name that all sessions share (CreationNames, CreateEventW), clear.
    //
    // Several may hold it: one that exists under the name is opened, and is then as it is, with its
    // own attributes, whatever was asked for here. What this object held before is closed when the
    // call succeeds. `error`, which may be null, receives the Win32 code, 0 on success. Never
    // raises.
    bool CreateMultipleGlobal(const std::wstring& name, Reset reset,
                              AccessControl::SecurityAttributes& attributes,
                              std::uint32_t* error) noexcept;

    void Close() { m_hEvent.reset(); }

    // Null without an event.
    HANDLE Get() const { return m_hEvent.get(); }

private:
    UniqueHandle m_hEvent;
};

}  // namespace KrCommon::Synchronize
