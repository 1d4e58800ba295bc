#pragma once

// Lock, scope guard and sleep.

#include <cstdint>
#include <memory>

namespace KrCommon::Synchronize {

// What a scope guard can hold.
class Base {
public:
    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base() = default;
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
};

// A recursive lock of this process (a Windows critical section).
//
// Creation can fail on systems that allocate the section's event at once; IsValid() is then
// false and Lock() and Unlock() do nothing.
class CriticalSection : public Base {
public:
    CriticalSection();
    ~CriticalSection() override;
    void Lock() override;
    void Unlock() override;
    bool IsValid() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

// Holds a lock for the length of a scope. Release() gives it up early.
class SingleLock {
public:
    explicit SingleLock(Base& lock) : m_pLock(&lock) { m_pLock->Lock(); }
    SingleLock(const SingleLock&) = delete;
    SingleLock& operator=(const SingleLock&) = delete;
    virtual ~SingleLock() { Release(); }

    void Release() {
        if (m_pLock != nullptr)
            m_pLock->Unlock();
        m_pLock = nullptr;
    }

private:
    Base* m_pLock;
};

// Suspends the calling thread (Sleep).
void SleepMilliseconds(std::uint32_t milliseconds);

}  // namespace KrCommon::Synchronize
