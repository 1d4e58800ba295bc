#include <atomic>

#include "support/EventFlag.h"

namespace test_support {

EventFlag::EventFlag() : m_pEvent(new std::atomic<bool>(false)) {}

EventFlag::~EventFlag() {
    delete static_cast<std::atomic<bool>*>(m_pEvent);
}

bool EventFlag::IsSet() const {
    return *static_cast<std::atomic<bool>*>(m_pEvent);
}

}  // namespace test_support
