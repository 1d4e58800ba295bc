#include "Framework/utilIPC/ipc_param_message.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Framework/utilIPC/ipc_wire.h"

namespace Result = KrCommon::Result;
namespace String = KrCommon::String;

namespace {

constexpr std::uint32_t kTypeOffset = 4;
constexpr std::uint32_t kLengthOffset = 8;

void StoreHeader(std::uint8_t* at, std::uint32_t id, std::uint32_t type, std::uint32_t length) {
    Wire::StoreUInt32(at, id);
    Wire::StoreUInt32(at + kTypeOffset, type);
    Wire::StoreUInt32(at + kLengthOffset, length);
}

// How much of a payload is copied; the terminators of text are written, not taken over.
std::uint32_t CopiedLength(std::uint32_t type, std::uint32_t length) {
    const std::uint32_t terminator =
        type == ParamTag::kStringA ? 1U : (type == ParamTag::kStringW ? 2U : 0U);
    return length > terminator ? length - terminator : 0;
}

// UTF-16 units of a wide text without its terminator.
std::uint32_t UnitsOf(const ParamIndexEntry& entry) {
    return entry.uiLength / 2 < 2 ? 0 : entry.uiLength / 2 - 1;
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

MsgBuffer::MsgBuffer(std::uint32_t id) : m_Image(m_OwnRoom, kOwnRoom) {
    Reset(id);
}

MsgBuffer::MsgBuffer(std::uint32_t id, std::span<std::uint8_t> room)
    : m_Image(room.data(), room.size()) {
    Reset(id);
}

void MsgBuffer::Reset(std::uint32_t id, std::uint32_t type) {
    m_vecHidden.clear();
    m_Image.Clear();
    StoreHeader(m_Image.Extend(kHeaderSize), id, type, 0);
}

// The payload has no value yet.
std::uint8_t* MsgBuffer::AppendRecord(std::uint32_t id, std::uint32_t type, std::uint32_t length) {
    const std::size_t offset = m_Image.Size();
    // Offsets and sizes are 32 bits wide on the wire.
    if (static_cast<std::uint64_t>(offset) + kHeaderSize + length > UINT32_MAX)
        throw std::bad_alloc();
    if (type == 0)
        m_vecHidden.push_back(static_cast<std::uint32_t>(offset + kHeaderSize));
    std::uint8_t* const header = m_Image.Extend(std::size_t{kHeaderSize} + length);
    StoreHeader(header, id, type, length);
    return header + kHeaderSize;
}

void MsgBuffer::CountRecords() {
    Wire::StoreUInt32(m_Image.Data() + kLengthOffset, GetSize() - kHeaderSize);
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
    if (text == nullptr) {
        std::memset(payload, 0, std::size_t{chars} + 1);
        return;
    }
    std::memcpy(payload, text, chars);
    payload[chars] = 0;
    CountRecords();
}

std::uint8_t* MsgBuffer::AppendUnits(std::uint32_t id, std::size_t units) {
    if (units >= UINT32_MAX / 2)
        throw std::bad_alloc();
    const auto size = static_cast<std::uint32_t>((units + 1) * 2);
    std::uint8_t* payload = AppendRecord(id, ParamTag::kStringW, size);
    Wire::StoreUnit(payload + size - 2, 0);
    return payload;
}

void MsgBuffer::AddStringW(std::uint32_t id, const wchar_t* text, std::uint32_t chars) {
    if (text == nullptr) {
        std::memset(AppendUnits(id, chars), 0, std::size_t{chars} * 2);
        return;
    }
    const std::wstring_view view(text, chars);
    Wire::EncodeUnits(view, AppendUnits(id, Wire::CountUnits(view)));
    CountRecords();
}

void MsgBuffer::AddStringUtf8(std::uint32_t id, std::string_view text) {
    if (Wire::IsAscii(text)) {
        Wire::EncodeAscii(text, AppendUnits(id, text.size()));
        CountRecords();
    } else {
        const std::wstring wide = String::FromUtf8(text);
        AddStringW(id, wide.data(), static_cast<std::uint32_t>(wide.size()));
    }
}

void MsgBuffer::AddMessage(const MsgBuffer& child) {
    std::vector<std::uint8_t> own;
    const std::uint8_t* header = child.GetData();
    const std::uint32_t size = child.GetSize();
    if (&child == this) {
        own.assign(header, header + size);
        header = own.data();
    }
    if (size < kHeaderSize)
        return;
    const std::uint32_t type = Wire::LoadUInt32(header + kTypeOffset);
    // The header of a loaded image is foreign and unchecked: it cannot claim more than is there.
    const std::uint32_t length =
        std::min(Wire::LoadUInt32(header + kLengthOffset), size - kHeaderSize);
    const std::uint32_t copied = CopiedLength(type, length);
    std::uint8_t* payload = AppendRecord(Wire::LoadUInt32(header), type, length);
    std::memcpy(payload, header + kHeaderSize, copied);
    std::memset(payload + copied, 0, length - copied);
    CountRecords();
}

std::uint32_t MsgBuffer::OpenMessage(std::uint32_t id) {
    const std::uint32_t opened = GetSize();
    AppendRecord(id, ParamTag::kMessage, 0);
    return opened;
}

void MsgBuffer::CloseMessage(std::uint32_t opened) {
    Wire::StoreUInt32(m_Image.Data() + opened + kLengthOffset, GetSize() - opened - kHeaderSize);
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
    m_Image.Assign(image, size);
}

bool MsgBuffer::IsHidden(const ParamIndexEntry& entry) const {
    return entry.uiType == 0 &&
           std::find(m_vecHidden.begin(), m_vecHidden.end(), entry.uiOffset) != m_vecHidden.end();
}

bool MsgBuffer::Find(std::uint32_t id, std::uint32_t index, ParamIndexEntry& entry) const {
    RecordWalk walk(m_Image.Data(), GetSize());
    while (walk.Next(entry)) {
        if (entry.uiId == id && !IsHidden(entry) && index-- == 0)
            return true;
    }
    return false;
}

std::map<std::uint32_t, std::vector<ParamIndexEntry>> MsgBuffer::Index() const {
    std::map<std::uint32_t, std::vector<ParamIndexEntry>> index;
    RecordWalk walk(m_Image.Data(), GetSize());
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
    *out = Wire::LoadUInt32(m_Image.Data() + entry.uiOffset);
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
        std::memcpy(buffer, m_Image.Data() + entry.uiOffset, count);
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
    const std::uint32_t count = UnitsOf(entry);
    *outChars = count;
    if (buffer != nullptr && capacity > count) {
        const std::uint8_t* payload = m_Image.Data() + entry.uiOffset;
        *outChars = static_cast<std::uint32_t>(Wire::DecodeUnits(payload, count, buffer));
        buffer[*outChars] = L'\0';
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetStringUtf8(std::uint32_t id, std::uint32_t index,
                                       std::string& out) const {
    out.clear();
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    if (entry.uiType != ParamTag::kStringW)
        return Result::kInvalidArgument;
    const std::uint8_t* payload = m_Image.Data() + entry.uiOffset;
    const std::uint32_t count = UnitsOf(entry);
    out.resize(count);
    if (!Wire::DecodeAscii(payload, count, out.data())) {
        out = std::string();
        std::wstring wide(count, L'\0');
        wide.resize(Wire::DecodeUnits(payload, count, wide.data()));
        out = String::ToUtf8(wide);
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
    std::memcpy(to, m_Image.Data() + entry.uiOffset, std::min(count, limit));
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetMessage(std::uint32_t id, std::uint32_t index, MsgBuffer* child) const {
    ParamIndexEntry entry{};
    if (!Find(id, index, entry))
        return Result::kNotFound;
    if (entry.uiType == ParamTag::kMessage) {
        child->Load(m_Image.Data() + entry.uiOffset - kHeaderSize, entry.uiLength + kHeaderSize);
    }
    return Result::kSuccess;
}

std::uint32_t MsgBuffer::GetId() const {
    return GetSize() < 4 ? 0 : Wire::LoadUInt32(m_Image.Data());
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

std::uint32_t CRpcMsgBuffer::AddStringUtf8(std::uint32_t id, std::string_view text) {
    return Guarded([&] { m_Message.AddStringUtf8(id, text); });
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

std::uint32_t CRpcMsgBuffer::GetStringUtf8(std::uint32_t id, std::uint32_t index,
                                           std::string& out) const {
    std::uint32_t code = Result::kFailure;
    const std::uint32_t guard = Guarded([&] { code = m_Message.GetStringUtf8(id, index, out); });
    if (guard == Result::kSuccess)
        return code;
    out.clear();
    return guard;
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
