#include "support/FakeClientHelper.h"

#include <new>
#include <sstream>

#include "Common/KrCommon/KrComn_String.h"

namespace test_support {

namespace {

FakeClientHelper* s_pCurrent = nullptr;

}  // namespace

FakeClientHelper::FakeClientHelper() {
    // The helper's destructor notes itself, and must not lack the memory to do so.
    calls.reserve(4096);
    s_pCurrent = this;
}

FakeClientHelper::~FakeClientHelper() {
    s_pCurrent = nullptr;
}

}  // namespace test_support

using test_support::s_pCurrent;

CKrRpcClientHelper::CKrRpcClientHelper(std::uint32_t productId, const std::wstring& productIdString,
                                       std::uint32_t reserved, bool flag, std::uint32_t timeout)
    : m_bFlag(flag), m_uiTimeout(timeout) {
    if (s_pCurrent->outOfMemory)
        throw std::bad_alloc();
    std::ostringstream call;
    call << "construct " << productId << ' ' << KrCommon::String::ToUtf8(productIdString) << ' '
         << reserved << ' ' << flag << ' ' << timeout;
    s_pCurrent->calls.push_back(call.str());
}

CKrRpcClientHelper::~CKrRpcClientHelper() {
    s_pCurrent->calls.emplace_back("destroy");
}

std::uint32_t CKrRpcClientHelper::RegisterProcess(const wchar_t* processName, EventEntry callback) {
    s_pCurrent->calls.push_back("register " + KrCommon::String::ToUtf8(processName));
    s_pCurrent->eventEntry = callback;
    return s_pCurrent->registerResult;
}

std::uint32_t CKrRpcClientHelper::UnregisterProcess() {
    s_pCurrent->calls.emplace_back("unregister");
    return s_pCurrent->unregisterResult;
}

std::uint32_t CKrRpcClientHelper::SendMail2ProductPlugin(std::uint32_t destId, std::uint32_t mailId,
                                                         const JsonDocument& input,
                                                         JsonDocument& output, bool mailFlag) {
    std::ostringstream call;
    call << "mail " << std::hex << destId << ' ' << std::dec << mailId << ' ' << mailFlag;
    s_pCurrent->calls.push_back(call.str());
    s_pCurrent->mailRequest = input.ToCompactString();
    if (s_pCurrent->onMail)
        s_pCurrent->onMail();
    output.Parse(s_pCurrent->mailAnswer);
    return s_pCurrent->mailResult;
}
