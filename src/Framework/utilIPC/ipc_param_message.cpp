#include "Framework/utilIPC/ipc_param_message.h"

#include <algorithm>
#include <cstring>
#include <functional>
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

// Walks the records of an image. Next() is false at the end and at a record that reaches behind it;
// AtEnd() tells the two apart.
class RecordWalk {
public:
    RecordWalk(const std::uint8_t* image, std::uint32_t size) : m_pImage(image), m_uiSize(size) {}

    bool Next(ParamIndexEntry& entry) {
        if (m_uiPosition + MsgBuffer::kHeaderSize > m_uiSize)
            return false;
        const std::uint8_t* header = m_pImage + m_uiPosition;
        m_uiPosition += MsgBuffer::kHeaderSize;
        entry = {Wire::LoadUInt32(header), Wire::LoadUInt32(header + kTypeOffset),
                 Wire::LoadUInt32(header + kLengthOffset),
                 static_cast<std::uint32_t>(m_uiPosition)};
        m_uiPosition += entry.uiLength;
        return m_uiPosition <= m_uiSize;
    }
    bool AtEnd() const { return m_uiPosition == m_uiSize; }

private:
    const std::uint8_t* m_pImage;
    std::uint64_t m_uiSize;
    std::uint64_t m_uiPosition = MsgBuffer::kHeaderSize;
};

}  // namespace

MsgBuffer::MsgBuffer(std::uint32_t id) {
    Reset(id);
}

void MsgBuffer::Reset(std::uint32_t id, std::uint32_t type) {
    m_vecHidden.clear();
    m_vecData.assign(kHeaderSize, 0);
    StoreHeader(m_vecData.data(), id, type, 0);
}

std::uint8_t* MsgBuffer::AppendRecord(std::uint32_t id, std::uint32_t type, std::uint32_t length) {
    const std::size_t offset = m_vecData.size();
    const std::uint64_t end = static_cast<std::uint64_t>(offset) + kHeaderSize + length;
    // Offsets and sizes are 32 bits wide on the wire.
    if (end > UINT32_MAX)
        throw std::bad_alloc();
    if (type == 0)
        m_vecHidden.push_back(static_cast<std::uint32_t>(offset + kHeaderSize));
    m_vecData.resize(static_cast<std::size_t>(end));
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
    Image own;
    const Image* source = &child.m_vecData;
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

std::uint32_t MsgBuffer::OpenMessage(std::uint32_t id) {
    const std::uint32_t opened = GetSize();
    AppendRecord(id, ParamTag::kMessage, 0);
    return opened;
}

void MsgBuffer::CloseMessage(std::uint32_t opened) {
    Wire::StoreUInt32(m_vecData.data() + opened + kLengthOffset, GetSize() - opened - kHeaderSize);
    CountRecords();
}

void MsgBuffer::Load(const std::uint8_t* image, std::uint32_t size) {
    if (image == nullptr || size == 0)
        return;
    RecordWalk walk(image, size);
    for (ParamIndexEntry entry{}; walk.Next(entry);) {
    }
    if (!walk.AtEnd()) {
        Reset(0);
        return;
    }
    m_vecHidden.clear();
    const std::less<> before;
    if (!before(image, m_vecData.data()) && before(image, m_vecData.data() + m_vecData.size())) {
        // The image lies in this very message.
        m_vecData = Image(image, image + size);
    } else {
        m_vecData.assign(image, image + size);
    }
}

bool MsgBuffer::IsHidden(const ParamIndexEntry& entry) const {
    return entry.uiType == 0 &&
           std::find(m_vecHidden.begin(), m_vecHidden.end(), entry.uiOffset) != m_vecHidden.end();
}

bool MsgBuffer::Find(std::uint32_t id, std::uint32_t index, ParamIndexEntry& entry) const {
    RecordWalk walk(m_vecData.data(), GetSize());
    while (walk.Next(entry)) {
        if (entry.uiId == id && !IsHidden(entry) && index-- == 0)
            return true;
    }
    return false;
}

std::map<std::uint32_t, std::vector<ParamIndexEntry>> MsgBuffer::Index() const {
    std::map<std::uint32_t, std::vector<ParamIndexEntry>> index;
    RecordWalk walk(m_vecData.data(), GetSize());
    for (ParamIndexEntry entry{}; walk.Next(entry);) {
        if (!IsHidden(entry))
            index[entry.uiId].push_back(entry);
    }
    return index;
}

std::uint32_t MsgBuffer::GetUInt(std::uint32_t id, std::uint32_t index, std::uint32_t* out) const {
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    const bool number = entry.uiType == ParamTag::kInt || entry.uiType == ParamTag::kUInt;
    if (!number || entry.uiLength != 4)
        return Result::kInvalidArgument;
    *out = Wire::LoadUInt32(m_vecData.data() + entry.uiOffset);
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetStringA(std::uint32_t id, std::uint32_t index, char* buffer,
                                    std::uint32_t capacity, std::uint32_t* outChars) const {
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    if (entry.uiType != ParamTag::kStringA)
        return Result::kInvalidArgument;
    const std::uint32_t count = entry.uiLength < 2 ? 0 : entry.uiLength - 1;
    *outChars = count;
    if (buffer != nullptr && capacity > count) {
        std::memcpy(buffer, m_vecData.data() + entry.uiOffset, count);
        buffer[count] = '\0';
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetStringW(std::uint32_t id, std::uint32_t index, wchar_t* buffer,
                                    std::uint32_t capacity, std::uint32_t* outChars) const {
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    if (entry.uiType != ParamTag::kStringW)
        return Result::kInvalidArgument;
    const std::uint32_t count = entry.uiLength / 2 < 2 ? 0 : entry.uiLength / 2 - 1;
    *outChars = count;
    if (buffer != nullptr && capacity > count) {
        const std::uint8_t* payload = m_vecData.data() + entry.uiOffset;
        *outChars = static_cast<std::uint32_t>(Wire::DecodeUnits(payload, count, buffer));
        buffer[*outChars] = L'\0';
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetPrefixA(std::uint32_t id, char* to, std::uint32_t limit) const {
    ParamIndexEntry entry{};
    if (!Find(id, 0, entry)) {
        return Result::kNotFound;
    }
    if (entry.uiType != ParamTag::kStringA) {
        return Result::kInvalidArgument;
    }
    const std::uint32_t count = entry.uiLength < 2 ? 0 : entry.uiLength - 1;
    std::memcpy(to, m_vecData.data() + entry.uiOffset, std::min(count, limit));
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetMessage(std::uint32_t id, std::uint32_t index, MsgBuffer* child) const {
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    if (entry.uiType == ParamTag::kMessage) {
        child->Load(m_vecData.data() + entry.uiOffset - kHeaderSize, entry.uiLength + kHeaderSize);
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

void CRpcMsgBuffer::Reserve(std::uint32_t size) {
    // A hint: what does not fit now is asked for again when it is appended.
    static_cast<void>(Guarded([&] { m_Message.Reserve(size); }));
}

std::uint32_t CRpcMsgBuffer::OpenMessage(std::uint32_t id, std::uint32_t* opened) {
    return Guarded([&] { *opened = m_Message.OpenMessage(id); });
}

void CRpcMsgBuffer::CloseMessage(std::uint32_t opened) {
    m_Message.CloseMessage(opened);
}

void CRpcMsgBuffer::Load(const std::uint8_t* image, std::uint32_t size) {
    // What is half copied is no message.
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
