#include "Framework/utilIPC/ipc_request_dispatcher.h"

#include <new>

#include "Common/KrCommon/KrComn_Log.h"

using KrCommon::Synchronize::CriticalSection;
using KrCommon::Synchronize::SingleLock;

namespace {

constexpr const char* kLogSource = "ipc_request_dispatcher";
constexpr const wchar_t* kLogModule = L"utilIPC";

// The ids of a handler for the length of a scope.
class HandlerIds {
public:
    explicit HandlerIds(CIPCServerRequestCallback& handler)
        : m_Handler(handler), m_bGiven(handler.GetMsgID(&m_pIds, &m_uiCount)) {}
    HandlerIds(const HandlerIds&) = delete;
    HandlerIds& operator=(const HandlerIds&) = delete;
    ~HandlerIds() {
        if (m_bGiven)
            m_Handler.FreeMsgID(m_pIds);
    }
    const std::uint32_t* begin() const { return m_pIds; }
    const std::uint32_t* end() const { return m_bGiven ? m_pIds + m_uiCount : m_pIds; }

private:
    CIPCServerRequestCallback& m_Handler;
    std::uint32_t* m_pIds = nullptr;
    std::uint32_t m_uiCount = 0;
    bool m_bGiven;  // last: finding it out fills the two above
};

}  // namespace

CIPCServerRequestCallbackPtr::CIPCServerRequestCallbackPtr(CIPCServerRequestCallback* handler)
    : m_pControl(new Control{handler, 1}) {}

CIPCServerRequestCallbackPtr::CIPCServerRequestCallbackPtr(
    const CIPCServerRequestCallbackPtr& other)
    : m_pControl(other.m_pControl) {
    m_pControl->uiCount.fetch_add(1);
}

CIPCServerRequestCallbackPtr& CIPCServerRequestCallbackPtr::operator=(
    const CIPCServerRequestCallbackPtr& other) {
    if (this == &other)
        return *this;
    other.m_pControl->uiCount.fetch_add(1);
    Drop();
    m_pControl = other.m_pControl;
    return *this;
}

CIPCServerRequestCallbackPtr::~CIPCServerRequestCallbackPtr() {
    Drop();
}

void CIPCServerRequestCallbackPtr::Drop() {
    if (m_pControl->uiCount.fetch_sub(1) == 1)
        delete m_pControl;
}

CIPCServerRequestCallback* CIPCServerRequestCallbackPtr::Get() const {
    return m_pControl->pHandler;
}

std::uint32_t CIPCServerRequestCallbackPtr::GetRefCount() const {
    return m_pControl->uiCount.load();
}

CIPCRequestDispatcher::CIPCRequestDispatcher() : m_lock(new CriticalSection) {}

void CIPCRequestDispatcher::RegisterHandler(CIPCServerRequestCallback* handler) {
    const HandlerIds ids(*handler);
    SingleLock lock(*m_lock);
    for (const std::uint32_t id : ids) {
        const bool inserted =
            m_mapHandler.emplace(id, CIPCServerRequestCallbackPtr(handler)).second;
        if (!inserted)
            WY_LOG_ERROR << L"Register duplicate message id: " << id;
    }
}

CIPCRequestDispatcher::HandlerCopy CIPCRequestDispatcher::Find(std::uint32_t id) {
    SingleLock lock(*m_lock);
    const auto found = m_mapHandler.find(id);
    if (found == m_mapHandler.end())
        return nullptr;
    return std::make_unique<CIPCServerRequestCallbackPtr>(found->second);
}

bool CIPCRequestDispatcher::ProcessRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
    std::uint32_t id = 0;
    in >> id;
    HandlerCopy handler = Find(id);
    if (handler == nullptr)
        handler = Find(kDefaultHandlerId);
    if (handler == nullptr || handler->Get() == nullptr) {
        WY_LOG_ERROR << L"The message id: " << id << L"not found";
        return false;
    }
    CIPCMsgBuffer body(in.GetReadPtr(), in.GetRemaining());
    try {
        (*handler->Get())(id, body, out);
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"Error code: " << error.GetCode() << L", error message: "
                     << error.GetMessage();
    }
    return true;
}

bool CIPCRequestDispatcher::EraseIfUnused(std::uint32_t id) {
    const auto found = m_mapHandler.find(id);
    if (found == m_mapHandler.end() || found->second.GetRefCount() > 1)
        return false;
    m_mapHandler.erase(found);
    return true;
}

void CIPCRequestDispatcher::UnRegisterHandler(CIPCServerRequestCallback* handler) {
    const HandlerIds ids(*handler);
    for (const std::uint32_t id : ids) {
        bool done = false;
        while (!done) {
            SingleLock lock(*m_lock);
            done = EraseIfUnused(id);
            // Asleep under the lock, so that no new request takes a reference meanwhile; a running
            // one still ends, since dropping a reference needs no lock.
            if (!done)
                KrCommon::Synchronize::SleepMilliseconds(kDrainIntervalMs);
        }
    }
}
