#include "Framework/utilIPC/ipc_param_message.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_wire.h"

namespace Result = KrCommon::Result;

namespace {

constexpr std::uint32_t kTypeOffset = 4;
constexpr std::uint32_t kLengthOffset = 8;

void StoreHeader(std::uint8_t* at, std::uint32_t id, std::uint32_t type, std::uint32_t length) {
    Wire::StoreUInt32(at, id);
    Wire::StoreUInt32(at + kTypeOffset, type);
    Wire::StoreUInt32(at + kLengthOffset, length);
}

// How much of a payload is copied; the zero fill supplies the terminators of text.
std::uint32_t CopiedLength(std::uint32_t type, std::uint32_t length) {
    const std::uint32_t terminator =
        type == ParamTag::kStringA ? 1U : (type == ParamTag::kStringW ? 2U : 0U);
    return length > terminator ? length - terminator : 0;
}

}  // namespace

MsgBuffer::MsgBuffer(std::uint32_t id) {
    Reset(id);
}

void MsgBuffer::Reset(std::uint32_t id, std::uint32_t type) {
    m_mapIndex.clear();
    m_pExternal = nullptr;
    m_uiExternalSize = 0;
    m_vecData.assign(kHeaderSize, 0);
    StoreHeader(m_vecData.data(), id, type, 0);
}

void MsgBuffer::AdoptAlias() {
    if (m_pExternal == nullptr)
        return;
    m_vecData.assign(m_pExternal, m_pExternal + m_uiExternalSize);
    m_pExternal = nullptr;
    m_uiExternalSize = 0;
}

std::uint8_t* MsgBuffer::AppendRecord(std::uint32_t id, std::uint32_t type, std::uint32_t length) {
    AdoptAlias();
    const std::size_t offset = m_vecData.size();
    const std::size_t end = offset + kHeaderSize + length;
    // Offsets and sizes are 32 bits wide on the wire.
    if (end > UINT32_MAX)
        throw std::bad_alloc();
    if (type != 0) {
        m_mapIndex[id].push_back(
            {id, type, length, static_cast<std::uint32_t>(offset + kHeaderSize)});
    }
    try {
        m_vecData.resize(end);
    } catch (...) {
        if (type != 0)
            m_mapIndex[id].pop_back();
        throw;
    }
    StoreHeader(m_vecData.data() + offset, id, type, length);
    return m_vecData.data() + offset + kHeaderSize;
}

void MsgBuffer::CountRecords() {
    if (m_vecData.size() > kHeaderSize) {
        Wire::StoreUInt32(m_vecData.data() + kLengthOffset, GetSize() - kHeaderSize);
    }
}

void MsgBuffer::AddInt(std::uint32_t id, std::int32_t value) {
    Wire::StoreUInt32(AppendRecord(id, ParamTag::kInt, 4), static_cast<std::uint32_t>(value));
    CountRecords();
}

void MsgBuffer::AddUInt(std::uint32_t id, std::uint32_t value) {
    Wire::StoreUInt32(AppendRecord(id, ParamTag::kUInt, 4), value);
    CountRecords();
}

void MsgBuffer::AddStringA(std::uint32_t id, const char* text, std::uint32_t chars) {
    if (chars == UINT32_MAX)
        throw std::bad_alloc();
    std::uint8_t* payload = AppendRecord(id, ParamTag::kStringA, chars + 1);
    if (text == nullptr)
        return;
    std::memcpy(payload, text, chars);
    CountRecords();
}

void MsgBuffer::AddStringW(std::uint32_t id, const wchar_t* text, std::uint32_t chars) {
    const std::wstring_view view(text, text != nullptr ? chars : 0);
    const std::size_t units = text != nullptr ? Wire::CountUnits(view) : chars;
    if (units >= UINT32_MAX / 2)
        throw std::bad_alloc();
    std::uint8_t* payload =
        AppendRecord(id, ParamTag::kStringW, static_cast<std::uint32_t>((units + 1) * 2));
    if (text == nullptr)
        return;
    Wire::EncodeUnits(view, payload);
    CountRecords();
}

void MsgBuffer::AddMessage(const MsgBuffer& child) {
    std::vector<std::uint8_t> own;
    const std::vector<std::uint8_t>* source = &child.m_vecData;
    if (&child == this) {
        own = m_vecData;
        source = &own;
    }
    if (source->size() < kHeaderSize)
        return;
    const std::uint8_t* header = source->data();
    const std::uint32_t type = Wire::LoadUInt32(header + kTypeOffset);
    // The header of a loaded image is foreign and unchecked: it cannot claim more than is there.
    const std::uint32_t present = static_cast<std::uint32_t>(source->size()) - kHeaderSize;
    const std::uint32_t length = std::min(Wire::LoadUInt32(header + kLengthOffset), present);
    std::uint8_t* payload = AppendRecord(Wire::LoadUInt32(header), type, length);
    std::memcpy(payload, header + kHeaderSize, CopiedLength(type, length));
    CountRecords();
}

bool MsgBuffer::IndexImage(const std::uint8_t* image, std::uint32_t size) {
    std::uint64_t position = kHeaderSize;
    while (position + kHeaderSize <= size) {
        const std::uint8_t* header = image + position;
        position += kHeaderSize;
        const ParamIndexEntry entry{
            Wire::LoadUInt32(header), Wire::LoadUInt32(header + kTypeOffset),
            Wire::LoadUInt32(header + kLengthOffset), static_cast<std::uint32_t>(position)};
        m_mapIndex[entry.uiId].push_back(entry);
        position += entry.uiLength;
    }
    return position == size;
}

void MsgBuffer::Load(const std::uint8_t* image, std::uint32_t size) {
    if (image == nullptr || size == 0)
        return;
    Reset(0);
    if (!IndexImage(image, size)) {
        Reset(0);
        return;
    }
    m_pExternal = image;
    m_uiExternalSize = size;
    AdoptAlias();
}

const ParamIndexEntry* MsgBuffer::Find(std::uint32_t id, std::uint32_t index) const {
    const auto found = m_mapIndex.find(id);
    if (found == m_mapIndex.end() || index >= found->second.size())
        return nullptr;
    return &found->second[index];
}

std::uint32_t MsgBuffer::GetUInt(std::uint32_t id, std::uint32_t index, std::uint32_t* out) const {
    const ParamIndexEntry* entry = Find(id, index);
    if (entry == nullptr)
        return Result::kNotFound;
    const bool number = entry->uiType == ParamTag::kInt || entry->uiType == ParamTag::kUInt;
    if (!number || entry->uiLength != 4)
        return Result::kInvalidArgument;
    *out = Wire::LoadUInt32(m_vecData.data() + entry->uiOffset);
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetStringA(std::uint32_t id, std::uint32_t index, char* buffer,
                                    std::uint32_t capacity, std::uint32_t* outChars) const {
    const ParamIndexEntry* entry = Find(id, index);
    if (entry == nullptr)
        return Result::kNotFound;
    if (entry->uiType != ParamTag::kStringA)
        return Result::kInvalidArgument;
    const std::uint32_t count = entry->uiLength < 2 ? 0 : entry->uiLength - 1;
    *outChars = count;
    if (buffer != nullptr && capacity > count) {
        std::memcpy(buffer, m_vecData.data() + entry->uiOffset, count);
        buffer[count] = '\0';
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetStringW(std::uint32_t id, std::uint32_t index, wchar_t* buffer,
                                    std::uint32_t capacity, std::uint32_t* outChars) const {
    const ParamIndexEntry* entry = Find(id, index);
    if (entry == nullptr)
        return Result::kNotFound;
    if (entry->uiType != ParamTag::kStringW)
        return Result::kInvalidArgument;
    const std::uint32_t count = entry->uiLength / 2 < 2 ? 0 : entry->uiLength / 2 - 1;
    *outChars = count;
    if (buffer != nullptr && capacity > count) {
        const std::uint8_t* payload = m_vecData.data() + entry->uiOffset;
        buffer[Wire::DecodeUnits(payload, count, buffer)] = L'\0';
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetMessage(std::uint32_t id, std::uint32_t index, MsgBuffer* child) const {
    const ParamIndexEntry* entry = Find(id, index);
    if (entry == nullptr)
        return Result::kNotFound;
    if (entry->uiType == ParamTag::kMessage) {
        child->Load(m_vecData.data() + entry->uiOffset - kHeaderSize,
                    entry->uiLength + kHeaderSize);
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetId() const {
    return m_vecData.size() < 4 ? 0 : Wire::LoadUInt32(m_vecData.data());
}

namespace {

template <class Operation>
std::uint32_t Guarded(Operation operation) {
    try {
        operation();
        return Result::kSuccess;
    } catch (const std::bad_alloc&) {
        return Result::kOutOfMemory;
    } catch (const std::length_error&) {
        return Result::kOutOfMemory;
    }
}

}  // namespace

std::uint32_t CRpcMsgBuffer::Reset(std::uint32_t id) {
    return Guarded([&] { m_Message.Reset(id); });
}

std::uint32_t CRpcMsgBuffer::AddInt(std::uint32_t id, std::int32_t value) {
    return Guarded([&] { m_Message.AddInt(id, value); });
}

std::uint32_t CRpcMsgBuffer::AddUInt(std::uint32_t id, std::uint32_t value) {
    return Guarded([&] { m_Message.AddUInt(id, value); });
}

std::uint32_t CRpcMsgBuffer::AddStringA(std::uint32_t id, const char* text, std::uint32_t chars) {
    return Guarded([&] { m_Message.AddStringA(id, text, chars); });
}

std::uint32_t CRpcMsgBuffer::AddStringW(std::uint32_t id, const wchar_t* text,
                                        std::uint32_t chars) {
    return Guarded([&] { m_Message.AddStringW(id, text, chars); });
}

std::uint32_t CRpcMsgBuffer::AddMessage(const CRpcMsgBuffer& child) {
    return Guarded([&] { m_Message.AddMessage(child.m_Message); });
}

void CRpcMsgBuffer::Load(const std::uint8_t* image, std::uint32_t size) {
    // A half-built index would point behind the image, so the message is emptied.
    if (Guarded([&] { m_Message.Load(image, size); }) != Result::kSuccess)
        Reset(0);
}

std::uint32_t CRpcMsgBuffer::GetUInt(std::uint32_t id, std::uint32_t index,
                                     std::uint32_t* out) const {
    return m_Message.GetUInt(id, index, out);
}

std::uint32_t CRpcMsgBuffer::GetStringA(std::uint32_t id, std::uint32_t index, char* buffer,
                                        std::uint32_t capacity, std::uint32_t* outChars) const {
    return m_Message.GetStringA(id, index, buffer, capacity, outChars);
}

std::uint32_t CRpcMsgBuffer::GetStringW(std::uint32_t id, std::uint32_t index, wchar_t* buffer,
                                        std::uint32_t capacity, std::uint32_t* outChars) const {
    return m_Message.GetStringW(id, index, buffer, capacity, outChars);
}

std::uint32_t CRpcMsgBuffer::GetMessage(std::uint32_t id, std::uint32_t index,
                                        CRpcMsgBuffer* child) const {
    std::uint32_t code = Result::kFailure;
    const std::uint32_t guard =
        Guarded([&] { code = m_Message.GetMessage(id, index, &child->m_Message); });
    if (guard == Result::kSuccess)
        return code;
    child->Reset(0);
    return guard;
}
