#include "Common/KrCommon/KrComn_Windows.h"
#include "support/EventFlag.h"

namespace test_support {

EventFlag::EventFlag() : m_pEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

EventFlag::~EventFlag() {
    CloseHandle(m_pEvent);
}

bool EventFlag::IsSet() const {
    return WaitForSingleObject(m_pEvent, 0) == WAIT_OBJECT_0;
}

}  // namespace test_support
