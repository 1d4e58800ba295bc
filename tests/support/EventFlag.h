#pragma once

// An event of the platform, as the tracking table signals it.

namespace test_support {

class EventFlag {
public:
    EventFlag();
    EventFlag(const EventFlag&) = delete;
    EventFlag& operator=(const EventFlag&) = delete;
    ~EventFlag();

    void* Handle() const { return m_pEvent; }
    bool IsSet() const;

private:
    void* m_pEvent;
};

}  // namespace test_support
