#include "support/FakeMail.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>

#include "WySdk/SdkMail.h"

namespace test_support {

namespace {

FakeMail* s_pCurrent = nullptr;

}  // namespace

struct FakeMailEntry {
    static std::uint32_t Send(std::uint32_t destId, std::uint32_t mailId, JsonDocument& document) {
        if (s_pCurrent == nullptr) {
            ADD_FAILURE() << "a mail was sent while no FakeMail stands";
            return 0xe0ff0001;
        }
        const FakeMail::Answer answer =
            s_pCurrent->Take({destId, mailId, document.ToCompactString()});
        document.Clear();
        if (document.Parse(answer.json) == JsonDocument::kOutOfMemory)
            throw std::bad_alloc();
        return answer.result;
    }
};

FakeMail::FakeMail() {
    EXPECT_EQ(s_pCurrent, nullptr);
    s_pCurrent = this;
}

FakeMail::~FakeMail() {
    s_pCurrent = nullptr;
}

void FakeMail::SetAnswer(std::wstring json, std::uint32_t result) {
    const std::lock_guard guard(m_mutex);
    m_Default = {std::move(json), result};
}

void FakeMail::PushAnswer(std::wstring json, std::uint32_t result) {
    const std::lock_guard guard(m_mutex);
    m_Script.push_back({std::move(json), result});
}

void FakeMail::SetHook(std::function<void()> hook) {
    const std::lock_guard guard(m_mutex);
    m_Hook = std::move(hook);
}

std::vector<FakeMail::Mail> FakeMail::Mails() const {
    const std::lock_guard guard(m_mutex);
    return m_Mails;
}

std::size_t FakeMail::Count() const {
    const std::lock_guard guard(m_mutex);
    return m_Mails.size();
}

void FakeMail::Clear() {
    const std::lock_guard guard(m_mutex);
    m_Mails.clear();
    m_Script.clear();
}

FakeMail::Answer FakeMail::Take(Mail mail) {
    std::function<void()> hook;
    Answer answer;
    {
        const std::lock_guard guard(m_mutex);
        m_Mails.push_back(std::move(mail));
        hook = m_Hook;
        answer = m_Default;
        if (!m_Script.empty()) {
            answer = m_Script.front();
            m_Script.pop_front();
        }
    }
    if (hook)
        hook();
    return answer;
}

}  // namespace test_support

std::uint32_t SendMail2Wyvarion(std::uint32_t destId, std::uint32_t mailId,
                                JsonDocument& document) {
    return test_support::FakeMailEntry::Send(destId, mailId, document);
}
