#include "Framework/utilIPC/ipc_msg_buffer.h"

#include <cstring>
#include <memory>
#include <new>

#include "Framework/utilIPC/ipc_wire.h"

namespace {

constexpr const wchar_t* kSource = L"Framework/utilIPC/ipc_msg_buffer";
constexpr std::uint32_t kViewBlockSize = 32768;

}  // namespace

CAccBuffer::CAccBuffer(std::uint32_t blockSize) : CAccBuffer(blockSize, {}) {}

CAccBuffer::CAccBuffer(std::uint32_t blockSize, std::span<std::uint8_t> room)
    : m_uiCapacity(0),
      m_uiLength(0),
      m_uiBlockSize(blockSize),
      m_pData(nullptr),
      m_bOwner(true),
      m_Room(room) {}

CAccBuffer::CAccBuffer(const std::uint8_t* data, std::uint32_t size)
    : m_uiCapacity(size),
      m_uiLength(size),
      m_uiBlockSize(kViewBlockSize),
      m_pData(const_cast<std::uint8_t*>(data)),  // never written: a view is no owner
      m_bOwner(false) {}

CAccBuffer::~CAccBuffer() {
    if (m_bOwner && m_pData != m_Room.data())
        delete[] m_pData;
}

void CAccBuffer::Write(const void* source, std::uint32_t size) {
    if (!m_bOwner)
        return;
    if (m_pData == nullptr && size > 0 && size <= m_Room.size()) {
        m_pData = m_Room.data();
        m_uiCapacity = static_cast<std::uint32_t>(m_Room.size());
    }
    if (m_uiCapacity - m_uiLength < size) {
        const std::uint64_t blocks =
            (static_cast<std::uint64_t>(m_uiCapacity) + size) / m_uiBlockSize + 1;
        const std::uint64_t capacity = blocks * m_uiBlockSize;
        if (capacity > UINT32_MAX)
            return;
        auto* grown = new (std::nothrow) std::uint8_t[static_cast<std::size_t>(capacity)];
        if (grown == nullptr)
            return;
        if (m_pData != nullptr)
            std::memcpy(grown, m_pData, m_uiLength);
        if (size > 0)
            std::memcpy(grown + m_uiLength, source, size);
        if (m_pData != m_Room.data())
            delete[] m_pData;
        m_pData = grown;
        m_uiCapacity = static_cast<std::uint32_t>(capacity);
    } else if (size > 0 && m_pData != nullptr) {
        std::memcpy(m_pData + m_uiLength, source, size);
    }
    m_uiLength += size;
}

CIPCMsgBuffer::CIPCMsgBuffer(std::uint32_t blockSize, bool header)
    : CAccBuffer(blockSize), m_uiReadPos(0), m_uiLastReadPos(0) {
    if (header)
        *this << 0xffffffffU;
}

CIPCMsgBuffer::CIPCMsgBuffer(std::span<std::uint8_t> room)
    : CAccBuffer(kBlockSize, room), m_uiReadPos(0), m_uiLastReadPos(0) {}

CIPCMsgBuffer::CIPCMsgBuffer(const std::uint8_t* data, std::uint32_t size)
    : CAccBuffer(data, size), m_uiReadPos(0), m_uiLastReadPos(0) {}

CIPCMsgBuffer& CIPCMsgBuffer::operator<<(std::uint32_t value) {
    std::uint8_t bytes[4];
    Wire::StoreUInt32(bytes, value);
    Write(bytes, sizeof(bytes));
    return *this;
}

CIPCMsgBuffer& CIPCMsgBuffer::operator<<(const wchar_t* text) {
    if (text != nullptr)
        WriteText(text);
    return *this;
}

CIPCMsgBuffer& CIPCMsgBuffer::operator<<(const std::wstring& text) {
    WriteText(text);
    return *this;
}

void CIPCMsgBuffer::WriteText(std::wstring_view text) {
    const std::size_t size = (Wire::CountUnits(text) + 1) * 2;
    if (size > UINT32_MAX)
        return;
    const std::unique_ptr<std::uint8_t[]> bytes(new (std::nothrow) std::uint8_t[size]());
    if (bytes == nullptr)
        return;
    Wire::EncodeUnits(text, bytes.get());
    *this << static_cast<std::uint32_t>(size);
    Write(bytes.get(), static_cast<std::uint32_t>(size));
}

CIPCMsgBuffer& CIPCMsgBuffer::operator<<(const CRpcDataHandleWrapper& message) {
    const std::uint32_t size = message.GetSize();
    *this << size;
    if (static_cast<std::int32_t>(size) > 0)
        Write(message.GetData(), size);
    return *this;
}

void CIPCMsgBuffer::WriteBytes(const void* source, std::uint32_t size) {
    Write(source, size);
}

void CIPCMsgBuffer::RequireReadable(std::uint32_t size) const {
    if (GetData() == nullptr) {
        throw CIPCMsgBufferException(CIPCMsgBufferException::kInvalidBuffer, kSource, __LINE__);
    }
    if (static_cast<std::uint64_t>(m_uiReadPos) + size > GetLength()) {
        throw CIPCMsgBufferException(CIPCMsgBufferException::kOutOfRange, kSource, __LINE__);
    }
}

void CIPCMsgBuffer::Advance(std::uint32_t size) {
    m_uiLastReadPos = m_uiReadPos;
    m_uiReadPos += size;
}

CIPCMsgBuffer& CIPCMsgBuffer::operator>>(std::uint32_t& value) {
    RequireReadable(sizeof(value));
    value = Wire::LoadUInt32(GetReadPtr());
    Advance(sizeof(value));
    return *this;
}

void CIPCMsgBuffer::ReadBytes(void** out, std::uint32_t size) {
    RequireReadable(size);
    auto* bytes = new std::uint8_t[size];
    if (size > 0)
        std::memcpy(bytes, GetReadPtr(), size);
    Advance(size);
    *out = bytes;
}

void CIPCMsgBuffer::FreeBytes(void* bytes) {
    delete[] static_cast<std::uint8_t*>(bytes);
}

CIPCMsgBuffer& CIPCMsgBuffer::operator>>(CRpcDataHandleWrapper& message) {
    std::uint32_t size = 0;
    *this >> size;
    if (static_cast<std::int32_t>(size) <= 0)
        return *this;
    // The message copies the image itself, so it is parsed where it lies: large answers are not
    // held once more than needed.
    RequireReadable(size);
    message.Load(GetReadPtr(), size);
    Advance(size);
    return *this;
}
