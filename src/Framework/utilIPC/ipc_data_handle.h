#pragma once

// Shared handles on parameter messages, and the wrapper by which everyone builds and reads them.

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_param_message.h"

// A reference to a shared message that may be copied bit by bit as a weak reference.
//
// Records hold handles as plain data and release them with RpcDataDestroy; nothing is released
// by a record's own destruction. Counting is atomic, the message itself is not protected.
struct RpcDataHandle {
    std::uint32_t uiReserved = 0;
    std::uint32_t uiMsgId = 0;
    void* pHolder = nullptr;  // null: an empty handle
};

// What a handle refers to: a message and, in the same block, the holder of its first reference.
struct RpcSharedMessage : CRpcMsgBuffer {
    using Holder = boost::shared_ptr<RpcSharedMessage>;

    using CRpcMsgBuffer::CRpcMsgBuffer;
    Holder first;
};

// Handle functions. 0x20ff0000 on success; 0xe0ff0001 for a null handle pointer, an empty handle
// or a null output, unless told otherwise; 0xe0ff001e when memory ran out.

// Releases `out` and gives it a new empty message.
std::uint32_t RpcDataCreate(std::uint32_t msgId, RpcDataHandle* out);
// Gives up the reference. Null or empty is a success.
std::uint32_t RpcDataDestroy(RpcDataHandle* handle);
// Releases `out` and lets it refer to the same message. An empty source gives an empty `out`.
std::uint32_t RpcDataShare(const RpcDataHandle* source, RpcDataHandle* out);
// Releases `out` and gives it an independent copy. An empty source gives an empty `out`.
std::uint32_t RpcDataClone(const RpcDataHandle* source, RpcDataHandle* out);
// Root id, read from the image.
std::uint32_t RpcDataGetMsgId(const RpcDataHandle* source, std::uint32_t* out);
// The image, valid until the message changes or goes, and its size in bytes.
std::uint32_t RpcDataGetData(const RpcDataHandle* source, const std::uint8_t** out);
std::uint32_t RpcDataGetSize(const RpcDataHandle* source, std::uint32_t* out);
// Parses a foreign image into the message; an image that does not parse leaves it empty, silently.
std::uint32_t RpcDataLoad(const RpcDataHandle* source, const std::uint8_t* image,
                          std::uint32_t size);

// Says that a reference is handed over and not shared.
enum RpcAdopt { kRpcAdopt };

// One parameter message by reference count.
//
// Set appends and never replaces; Get reads by id and index of appearance. Reads return
// 0xe0ff000e for an absent id or index and 0xe0ff0007 for a wrong type or size. A wrapper is
// empty only when its creation ran out of memory; every call then returns 0xe0ff0001.
class CRpcDataHandleWrapper {
public:
    CRpcDataHandleWrapper();
    explicit CRpcDataHandleWrapper(std::uint32_t msgId);
    // Shares the message of the handle; the caller keeps its own reference.
    explicit CRpcDataHandleWrapper(RpcDataHandle handle);
    // Takes over the reference, which the caller gives up.
    CRpcDataHandleWrapper(RpcDataHandle handle, RpcAdopt) : m_hData(handle) {}
    CRpcDataHandleWrapper(const CRpcDataHandleWrapper&) = delete;
    CRpcDataHandleWrapper& operator=(const CRpcDataHandleWrapper&) = delete;
    virtual ~CRpcDataHandleWrapper();

    // Gives the reference away: `out` lets go of its own for it, the wrapper is empty then.
    void MoveTo(RpcDataHandle* out);

    // Shares the message of another wrapper.
    std::uint32_t Assign(const CRpcDataHandleWrapper& other);

    std::uint32_t Set(std::uint32_t id, bool value);
    std::uint32_t Set(std::uint32_t id, std::int32_t value);
    std::uint32_t Set(std::uint32_t id, std::uint32_t value);
    // A null text gives 0xe0ff0007.
    std::uint32_t Set(std::uint32_t id, const wchar_t* text);
    std::uint32_t Set(std::uint32_t id, const wchar_t* text, std::uint32_t chars);
    std::uint32_t Set(std::uint32_t id, const char* text, std::uint32_t chars);
    std::uint32_t Set(std::uint32_t id, const std::string& text);
    // Wide text from UTF-8, without a wide text in between.
    std::uint32_t SetUtf8(std::uint32_t id, std::string_view text);
    // Nests a copy of the child's image; the record id is the child's message id.
    std::uint32_t Set(const CRpcDataHandleWrapper& child);
    std::uint32_t Set(const RpcDataHandle& child);

    std::uint32_t Get(std::uint32_t id, std::uint32_t* out) const { return Get(id, 0, out); }
    std::uint32_t Get(std::uint32_t id, std::uint32_t index, std::uint32_t* out) const;
    // The output text is empty on failure.
    std::uint32_t Get(std::uint32_t id, std::string& out) const { return Get(id, 0, out); }
    std::uint32_t Get(std::uint32_t id, std::uint32_t index, std::string& out) const;
    std::uint32_t Get(std::uint32_t id, std::wstring& out) const { return Get(id, 0, out); }
    std::uint32_t Get(std::uint32_t id, std::uint32_t index, std::wstring& out) const;
    // Wide text as UTF-8.
    std::uint32_t GetUtf8(std::uint32_t id, std::string& out) const;
    // Copies the first characters of a narrow text, at most `limit` and without a terminator, for
    // readers of short identifiers that need no string of their own.
    std::uint32_t GetPrefix(std::uint32_t id, char* to, std::uint32_t limit) const;
    // A child that is absent gives 0xe0ff0001, unlike all other reads.
    std::uint32_t Get(std::uint32_t id, CRpcDataHandleWrapper* child) const {
        return Get(id, 0, child);
    }
    std::uint32_t Get(std::uint32_t id, std::uint32_t index, CRpcDataHandleWrapper* child) const;
    std::uint32_t Get(std::uint32_t id, RpcDataHandle* child) const { return Get(id, 0, child); }
    std::uint32_t Get(std::uint32_t id, std::uint32_t index, RpcDataHandle* child) const;

    // The value, or 0 when the wrapper is empty.
    std::uint32_t GetMsgId() const;
    std::uint32_t GetSize() const;
    const std::uint8_t* GetData() const;

    std::uint32_t Load(const std::uint8_t* image, std::uint32_t size);
    std::uint32_t CloneTo(RpcDataHandle* out) const;

    // Makes room for an image of that many bytes in all; a hint, and no failure.
    void Reserve(std::uint32_t size);

    // Begin and end a nested message that is written in place; see CRpcNestedMessage.
    std::uint32_t OpenMessage(std::uint32_t id, std::uint32_t* opened);
    void CloseMessage(std::uint32_t opened);

    // The wrapper's own reference, lent.
    const RpcDataHandle& Handle() const { return m_hData; }

protected:
    RpcDataHandle m_hData;

private:
    std::vector<std::uint8_t> m_vecScratch;  // always empty
};

// A message that lives in its scope and needs no memory of its own until it outgrows a few
// kilobytes: for the one that is made, sent and dropped, or received, read and dropped. What shares
// it MUST NOT outlive it, and it MUST NOT be made to share another.
class CRpcScopedMessage : public CRpcDataHandleWrapper {
public:
    explicit CRpcScopedMessage(std::uint32_t msgId = 0);
    ~CRpcScopedMessage() override;

    // Becomes a copy of a child of another message. 0xe0ff0001 when there is none.
    std::uint32_t LoadChild(const CRpcDataHandleWrapper& parent, std::uint32_t id);

private:
    static constexpr std::size_t kRoom = 2048;

    std::uint8_t m_Room[kRoom];
    RpcSharedMessage m_Message;
};

// A nested message that is written in place: what is set on the parent while this lives is inside
// it. Scopes may nest. Saves the child, its copy and its allocations where nobody else needs it.
class CRpcNestedMessage {
public:
    CRpcNestedMessage(CRpcDataHandleWrapper& parent, std::uint32_t id)
        : m_Parent(parent),
          m_bOpened(KrCommon::Result::Succeeded(parent.OpenMessage(id, &m_uiOpened))) {}
    CRpcNestedMessage(const CRpcNestedMessage&) = delete;
    CRpcNestedMessage& operator=(const CRpcNestedMessage&) = delete;
    ~CRpcNestedMessage() {
        if (m_bOpened)
            m_Parent.CloseMessage(m_uiOpened);
    }

private:
    CRpcDataHandleWrapper& m_Parent;
    std::uint32_t m_uiOpened = 0;
    bool m_bOpened;
};
