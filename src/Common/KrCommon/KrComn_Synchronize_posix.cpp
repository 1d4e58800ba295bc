#include <chrono>
#include <mutex>
#include <new>
#include <thread>

#include "Common/KrCommon/KrComn_Synchronize.h"

namespace KrCommon::Synchronize {

struct CriticalSection::Impl {
    std::recursive_mutex mutex;
};

CriticalSection::CriticalSection() : m_pImpl(new (std::nothrow) Impl) {}

CriticalSection::~CriticalSection() = default;

void CriticalSection::Lock() {
    if (m_pImpl != nullptr)
        m_pImpl->mutex.lock();
}

void CriticalSection::Unlock() {
    if (m_pImpl != nullptr)
        m_pImpl->mutex.unlock();
}

bool CriticalSection::IsValid() const {
    return m_pImpl != nullptr;
}

void SleepMilliseconds(std::uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace KrCommon::Synchronize
