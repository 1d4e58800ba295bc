#pragma once

// Stands in for the road to the service: a program that links FakeMail.cpp has its
// SendMail2Wyvarion here.

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace test_support {

// Records each mail and gives scripted answers, as long as it lives. One at a time; mail may come
// from any thread.
class FakeMail {
public:
    struct Mail {
        std::uint32_t destId;
        std::uint32_t mailId;
        std::wstring request;  // compact JSON text, with its final newline
    };

    FakeMail();
    FakeMail(const FakeMail&) = delete;
    FakeMail& operator=(const FakeMail&) = delete;
    ~FakeMail();

    // The answer to every mail that no other answer is scripted for; at first success and "{}".
    // A text that is no JSON leaves the answer document empty, as in the library.
    void SetAnswer(std::wstring json, std::uint32_t result = 0x20ff0000);

    // The answer to the next mail without one.
    void PushAnswer(std::wstring json, std::uint32_t result = 0x20ff0000);

    // Runs for each mail before it is answered; may raise.
    void SetHook(std::function<void()> hook);

    std::vector<Mail> Mails() const;
    std::size_t Count() const;
    void Clear();

private:
    friend struct FakeMailEntry;

    struct Answer {
        std::wstring json;
        std::uint32_t result;
    };
    Answer Take(Mail mail);

    mutable std::mutex m_mutex;
    std::vector<Mail> m_Mails;
    std::deque<Answer> m_Script;
    Answer m_Default{L"{}", 0x20ff0000};
    std::function<void()> m_Hook;
};

}  // namespace test_support
