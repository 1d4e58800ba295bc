#pragma once

// Routing of incoming requests to handlers by message id.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "Common/KrCommon/KrComn_Synchronize.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"

// What serves requests. Handlers run on the RPC runtime's threads, several at a time, with no
// lock held; they must be thread-safe on their own account.
class CIPCServerRequestCallback {
public:
    CIPCServerRequestCallback() = default;
    CIPCServerRequestCallback(const CIPCServerRequestCallback&) = delete;
    CIPCServerRequestCallback& operator=(const CIPCServerRequestCallback&) = delete;

    // Gives an allocated array of the ids served, and its length. True on success.
    virtual bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) = 0;
    // Serves one request. `in` is positioned behind the message id; the reply goes into `out`.
    virtual void operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) = 0;
    // Frees the array that GetMsgID gave.
    virtual void FreeMsgID(std::uint32_t* ids) = 0;
    virtual ~CIPCServerRequestCallback() = default;
};

// A counted reference to a handler. It counts users, not ownership: the handler's owner destroys
// the handler, and only after it has been unregistered. Counting is atomic.
class CIPCServerRequestCallbackPtr {
public:
    explicit CIPCServerRequestCallbackPtr(CIPCServerRequestCallback* handler);
    CIPCServerRequestCallbackPtr(const CIPCServerRequestCallbackPtr& other);
    CIPCServerRequestCallbackPtr& operator=(const CIPCServerRequestCallbackPtr& other);
    virtual ~CIPCServerRequestCallbackPtr();

    CIPCServerRequestCallback* Get() const;
    std::uint32_t GetRefCount() const;

private:
    struct Control {
        CIPCServerRequestCallback* pHandler;
        std::atomic<std::uint32_t> uiCount;
    };
    void Drop();

    Control* m_pControl;
};

// The routing table. A handler registered for id 0 receives what nobody else serves.
class CIPCRequestDispatcher {
public:
    static constexpr std::uint32_t kDefaultHandlerId = 0;
    static constexpr std::uint32_t kDrainIntervalMs = 100;

    CIPCRequestDispatcher();
    CIPCRequestDispatcher(const CIPCRequestDispatcher&) = delete;
    CIPCRequestDispatcher& operator=(const CIPCRequestDispatcher&) = delete;

    // Enters the handler's ids. An id that is taken keeps its handler; that is logged, no error.
    void RegisterHandler(CIPCServerRequestCallback* handler);

    // Removes the handler's ids and blocks until no request runs in it, looking every 100 ms.
    // The caller must not name an id that is not registered: the call would never return.
    void UnRegisterHandler(CIPCServerRequestCallback* handler);

    // Reads the message id and hands the rest to its handler. True if a handler ran.
    // Raises CIPCMsgBufferException for a request that is shorter than an id.
    bool ProcessRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out);

protected:
    ~CIPCRequestDispatcher() = default;

private:
    using HandlerCopy = std::unique_ptr<CIPCServerRequestCallbackPtr>;
    HandlerCopy Find(std::uint32_t id);
    bool EraseIfUnused(std::uint32_t id);

    // The lock is made first and goes last.
    std::unique_ptr<KrCommon::Synchronize::CriticalSection> m_lock;
    std::map<std::uint32_t, CIPCServerRequestCallbackPtr> m_mapHandler;
};
