#include "Common/KrCommon/KrComn_Synchronize.h"

#include <new>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Synchronize {

struct CriticalSection::Impl {
    CRITICAL_SECTION section;
};

CriticalSection::CriticalSection() : m_pImpl(new (std::nothrow) Impl) {
    // The form with a spin count reports a failure where the plain one raises an exception.
    if (m_pImpl != nullptr && InitializeCriticalSectionAndSpinCount(&m_pImpl->section, 0) == 0) {
        m_pImpl.reset();
    }
}

CriticalSection::~CriticalSection() {
    if (m_pImpl != nullptr)
        DeleteCriticalSection(&m_pImpl->section);
}

void CriticalSection::Lock() {
    if (m_pImpl != nullptr)
        EnterCriticalSection(&m_pImpl->section);
}

void CriticalSection::Unlock() {
    if (m_pImpl != nullptr)
        LeaveCriticalSection(&m_pImpl->section);
}

bool CriticalSection::IsValid() const {
    return m_pImpl != nullptr;
}

void SleepMilliseconds(std::uint32_t milliseconds) {
    Sleep(milliseconds);
}

}  // namespace KrCommon::Synchronize
