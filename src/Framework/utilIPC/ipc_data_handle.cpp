#include "Framework/utilIPC/ipc_data_handle.h"

#include <boost/make_shared.hpp>
#include <cstring>
#include <cwchar>
#include <new>
#include <stdexcept>
#include <utility>

#include "Common/KrCommon/KrComn_Result.h"

namespace Result = KrCommon::Result;

namespace {

using Holder = RpcSharedMessage::Holder;

Holder* HolderOf(const RpcDataHandle* handle) {
    return handle != nullptr ? static_cast<Holder*>(handle->pHolder) : nullptr;
}

CRpcMsgBuffer* MessageOf(const RpcDataHandle& handle) {
    Holder* holder = HolderOf(&handle);
    return holder != nullptr ? holder->get() : nullptr;
}

Holder* NewMessage(std::uint32_t msgId) {
    try {
        Holder made = boost::make_shared<RpcSharedMessage>(msgId);
        Holder* holder = &made->first;
        *holder = std::move(made);
        return holder;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void ReleaseHolder(Holder* holder) {
    // The first holder lies in what it lets go.
    const Holder last = std::move(*holder);
    if (holder != &last->first)
        delete holder;
}

std::uint32_t TextLength(std::size_t length) {
    return length > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(length);
}

// The two passes of a text read: the size first, then the text. `read` is the message's read of
// one kind of character.
template <class Text, class Read>
std::uint32_t ReadText(Read read, Text& out) {
    std::uint32_t count = 0;
    const std::uint32_t sizeCode = read(nullptr, 0, &count);
    out.clear();
    if (count == 0)
        return sizeCode;
    try {
        // Read where it will stay; the text's own terminator has room behind its end. A pair of
        // surrogates may make the text shorter than its units.
        out.resize(count);
        const std::uint32_t code = read(out.data(), count + 1, &count);
        out.resize(count);
        return code;
    } catch (const std::bad_alloc&) {
        out.clear();
        return Result::kOutOfMemory;
    } catch (const std::length_error&) {
        out.clear();
        return Result::kOutOfMemory;
    }
}

}  // namespace

std::uint32_t RpcDataCreate(std::uint32_t msgId, RpcDataHandle* out) {
    if (out == nullptr)
        return Result::kFailure;
    RpcDataDestroy(out);
    Holder* holder = NewMessage(msgId);
    if (holder == nullptr)
        return Result::kOutOfMemory;
    *out = {0, msgId, holder};
    return Result::kSuccess;
}

std::uint32_t RpcDataDestroy(RpcDataHandle* handle) {
    if (Holder* holder = HolderOf(handle); holder != nullptr) {
        ReleaseHolder(holder);
        handle->pHolder = nullptr;
    }
    return Result::kSuccess;
}

std::uint32_t RpcDataShare(const RpcDataHandle* source, RpcDataHandle* out) {
    if (source == nullptr || out == nullptr)
        return Result::kFailure;
    // The reference is taken before `out` lets go, since both may be the last of one message.
    const Holder* from = HolderOf(source);
    Holder* holder = from != nullptr ? new (std::nothrow) Holder(*from) : nullptr;
    const RpcDataHandle shared{0, source->uiMsgId, holder};
    RpcDataDestroy(out);
    *out = shared;
    return from != nullptr && holder == nullptr ? Result::kOutOfMemory : Result::kSuccess;
}

std::uint32_t RpcDataClone(const RpcDataHandle* source, RpcDataHandle* out) {
    if (source == nullptr || out == nullptr)
        return Result::kFailure;
    Holder* copy = nullptr;
    if (const CRpcMsgBuffer* message = MessageOf(*source); message != nullptr) {
        copy = NewMessage(0);
        if (copy == nullptr)
            return Result::kOutOfMemory;
        (*copy)->Load(message->GetData(), message->GetSize());
    }
    const RpcDataHandle cloned{0, source->uiMsgId, copy};
    RpcDataDestroy(out);
    *out = cloned;
    return Result::kSuccess;
}

std::uint32_t RpcDataGetMsgId(const RpcDataHandle* source, std::uint32_t* out) {
    if (HolderOf(source) == nullptr || out == nullptr)
        return Result::kFailure;
    *out = MessageOf(*source)->GetId();
    return Result::kSuccess;
}

std::uint32_t RpcDataGetData(const RpcDataHandle* source, const std::uint8_t** out) {
    if (HolderOf(source) == nullptr || out == nullptr)
        return Result::kFailure;
    *out = MessageOf(*source)->GetData();
    return Result::kSuccess;
}

std::uint32_t RpcDataGetSize(const RpcDataHandle* source, std::uint32_t* out) {
    if (HolderOf(source) == nullptr || out == nullptr)
        return Result::kFailure;
    *out = MessageOf(*source)->GetSize();
    return Result::kSuccess;
}

std::uint32_t RpcDataLoad(const RpcDataHandle* source, const std::uint8_t* image,
                          std::uint32_t size) {
    if (HolderOf(source) == nullptr)
        return Result::kFailure;
    MessageOf(*source)->Load(image, size);
    return Result::kSuccess;
}

CRpcDataHandleWrapper::CRpcDataHandleWrapper() : CRpcDataHandleWrapper(0U) {}

CRpcDataHandleWrapper::CRpcDataHandleWrapper(std::uint32_t msgId) {
    RpcDataCreate(msgId, &m_hData);
}

CRpcDataHandleWrapper::CRpcDataHandleWrapper(RpcDataHandle handle) {
    RpcDataShare(&handle, &m_hData);
}

CRpcDataHandleWrapper::~CRpcDataHandleWrapper() {
    RpcDataDestroy(&m_hData);
}

void CRpcDataHandleWrapper::MoveTo(RpcDataHandle* out) {
    RpcDataDestroy(out);
    *out = std::exchange(m_hData, {});
}

CRpcScopedMessage::CRpcScopedMessage(std::uint32_t msgId)
    : CRpcDataHandleWrapper(RpcDataHandle{}, kRpcAdopt), m_Message(msgId, m_Room) {
    // No count goes with this reference: the message lives as long as its scope.
    m_Message.first = Holder(Holder(), &m_Message);
    m_hData = {0, msgId, &m_Message.first};
}

CRpcScopedMessage::~CRpcScopedMessage() {
    RpcDataDestroy(&m_hData);
}

std::uint32_t CRpcScopedMessage::LoadChild(const CRpcDataHandleWrapper& parent, std::uint32_t id) {
    const CRpcMsgBuffer* source = MessageOf(parent.Handle());
    const bool loaded = source != nullptr && m_Message.Reset(id) == Result::kSuccess &&
                        source->GetMessage(id, 0, &m_Message) == Result::kSuccess;
    return loaded ? Result::kSuccess : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Assign(const CRpcDataHandleWrapper& other) {
    return RpcDataShare(&other.m_hData, &m_hData);
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, bool value) {
    return Set(id, static_cast<std::int32_t>(value ? 1 : 0));
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, std::int32_t value) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->AddInt(id, value) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, std::uint32_t value) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->AddUInt(id, value) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, const wchar_t* text) {
    if (text == nullptr)
        return Result::kInvalidArgument;
    return Set(id, text, TextLength(std::wcslen(text)));
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, const wchar_t* text,
                                         std::uint32_t chars) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->AddStringW(id, text, chars) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, const char* text, std::uint32_t chars) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->AddStringA(id, text, chars) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Set(std::uint32_t id, const std::string& text) {
    return Set(id, text.data(), TextLength(text.size()));
}

std::uint32_t CRpcDataHandleWrapper::SetUtf8(std::uint32_t id, std::string_view text) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->AddStringUtf8(id, text) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Set(const CRpcDataHandleWrapper& child) {
    return Set(child.m_hData);
}

std::uint32_t CRpcDataHandleWrapper::Set(const RpcDataHandle& child) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    const CRpcMsgBuffer* source = MessageOf(child);
    if (message == nullptr || source == nullptr)
        return Result::kFailure;
    return message->AddMessage(*source);
}

std::uint32_t CRpcDataHandleWrapper::Get(std::uint32_t id, std::uint32_t index,
                                         std::uint32_t* out) const {
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    if (message == nullptr || out == nullptr)
        return Result::kFailure;
    return message->GetUInt(id, index, out);
}

std::uint32_t CRpcDataHandleWrapper::Get(std::uint32_t id, std::uint32_t index,
                                         std::string& out) const {
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    if (message == nullptr) {
        out.clear();
        return Result::kFailure;
    }
    return ReadText(
        [&](char* buffer, std::uint32_t capacity, std::uint32_t* chars) {
            return message->GetStringA(id, index, buffer, capacity, chars);
        },
        out);
}

std::uint32_t CRpcDataHandleWrapper::Get(std::uint32_t id, std::uint32_t index,
                                         std::wstring& out) const {
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    if (message == nullptr) {
        out.clear();
        return Result::kFailure;
    }
    return ReadText(
        [&](wchar_t* buffer, std::uint32_t capacity, std::uint32_t* chars) {
            return message->GetStringW(id, index, buffer, capacity, chars);
        },
        out);
}

std::uint32_t CRpcDataHandleWrapper::GetUtf8(std::uint32_t id, std::string& out) const {
    out.clear();
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->GetStringUtf8(id, 0, out) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Get(std::uint32_t id, std::uint32_t index,
                                         CRpcDataHandleWrapper* child) const {
    return child != nullptr ? Get(id, index, &child->m_hData) : Result::kFailure;
}

std::uint32_t CRpcDataHandleWrapper::Get(std::uint32_t id, std::uint32_t index,
                                         RpcDataHandle* child) const {
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    if (message == nullptr || child == nullptr)
        return Result::kFailure;
    // The child may be read into this very wrapper: the source stays alive until it is copied.
    const Holder keep = *HolderOf(&m_hData);
    RpcDataDestroy(child);
    Holder* loaded = NewMessage(id);
    if (loaded == nullptr)
        return Result::kFailure;
    if (keep->GetMessage(id, index, loaded->get()) != Result::kSuccess) {
        ReleaseHolder(loaded);
        return Result::kFailure;
    }
    child->uiReserved = 0;
    child->pHolder = loaded;
    return Result::kSuccess;
}

std::uint32_t CRpcDataHandleWrapper::GetMsgId() const {
    std::uint32_t id = 0;
    RpcDataGetMsgId(&m_hData, &id);
    return id;
}

std::uint32_t CRpcDataHandleWrapper::GetSize() const {
    std::uint32_t size = 0;
    RpcDataGetSize(&m_hData, &size);
    return size;
}

const std::uint8_t* CRpcDataHandleWrapper::GetData() const {
    const std::uint8_t* data = nullptr;
    RpcDataGetData(&m_hData, &data);
    return data;
}

std::uint32_t CRpcDataHandleWrapper::Load(const std::uint8_t* image, std::uint32_t size) {
    return RpcDataLoad(&m_hData, image, size);
}

std::uint32_t CRpcDataHandleWrapper::CloneTo(RpcDataHandle* out) const {
    return RpcDataClone(&m_hData, out);
}

void CRpcDataHandleWrapper::Reserve(std::uint32_t size) {
    if (CRpcMsgBuffer* message = MessageOf(m_hData); message != nullptr) {
        message->Reserve(size);
    }
}

std::uint32_t CRpcDataHandleWrapper::OpenMessage(std::uint32_t id, std::uint32_t* opened) {
    CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->OpenMessage(id, opened) : Result::kFailure;
}

void CRpcDataHandleWrapper::CloseMessage(std::uint32_t opened) {
    if (CRpcMsgBuffer* message = MessageOf(m_hData); message != nullptr) {
        message->CloseMessage(opened);
    }
}

std::uint32_t CRpcDataHandleWrapper::GetPrefix(std::uint32_t id, char* to,
                                               std::uint32_t limit) const {
    const CRpcMsgBuffer* message = MessageOf(m_hData);
    return message != nullptr ? message->GetPrefixA(id, to, limit) : Result::kFailure;
}
