#pragma once

// Parameter messages: self-describing tag-length-value images.
//
// Vocabulary: the *image* is a 12-byte *root header* {id, type 100, length of the rest} followed
// by *records*, each a 12-byte header {parameter id, type tag, payload length} and its payload.
// A *nested message* is a record of type 100 whose payload is the records of the child. All
// integers are little-endian; there is no alignment and no filler.
//
// Operations report by result code: 0xe0ff000e no such id or index, 0xe0ff0007 wrong type or
// size, 0x20ff0000 success. A message belongs to one thread at a time.

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Framework/utilIPC/ipc_image_bytes.h"

// Type tags of records.
namespace ParamTag {
constexpr std::uint32_t kStringA = 1;
constexpr std::uint32_t kStringW = 2;
constexpr std::uint32_t kInt = 6;
constexpr std::uint32_t kUInt = 7;
constexpr std::uint32_t kMessage = 100;
}  // namespace ParamTag

// A record header with the place of its payload in the image.
struct ParamIndexEntry {
    std::uint32_t uiId;
    std::uint32_t uiType;
    std::uint32_t uiLength;
    std::uint32_t uiOffset;
};

// The message itself. Its operations raise std::bad_alloc when memory runs out; CRpcMsgBuffer
// below is the form that does not.
class MsgBuffer {
public:
    static constexpr std::uint32_t kHeaderSize = 12;

    explicit MsgBuffer(std::uint32_t id = 0);
    // A message that begins in a room of its maker's, which must outlive it.
    MsgBuffer(std::uint32_t id, std::span<std::uint8_t> room);
    MsgBuffer(const MsgBuffer&) = delete;
    MsgBuffer& operator=(const MsgBuffer&) = delete;
    virtual ~MsgBuffer() = default;

    // Empties the message and writes a root header {id, type, 0}.
    void Reset(std::uint32_t id, std::uint32_t type = ParamTag::kMessage);

    // Append one record each. `chars` counts characters without a terminator. A null text makes a
    // zero-filled record that the root header does not count.
    void AddInt(std::uint32_t id, std::int32_t value);
    void AddUInt(std::uint32_t id, std::uint32_t value);
    void AddStringA(std::uint32_t id, const char* text, std::uint32_t chars);
    void AddStringW(std::uint32_t id, const wchar_t* text, std::uint32_t chars);
    // The same record as AddStringW, from UTF-8.
    void AddStringUtf8(std::uint32_t id, std::string_view text);
    // Copies the whole image of `child` in as one nested record; `child` may be this message.
    void AddMessage(const MsgBuffer& child);

    // Makes room for an image of that many bytes in all.
    void Reserve(std::uint32_t size) { m_Image.Reserve(size); }

    // Begin and end a nested message that is written in place, without a child of its own. What is
    // appended between the two is inside it. OpenMessage gives what CloseMessage wants.
    std::uint32_t OpenMessage(std::uint32_t id);
    void CloseMessage(std::uint32_t opened);

    // Parses and copies a foreign image. Every length in it is checked against `size`. A null
    // image or a size of 0 changes nothing; an image that does not parse leaves the message empty
    // with id 0, without a report.
    void Load(const std::uint8_t* image, std::uint32_t size);

    // Reads a record of type 6 or 7 as its raw 32 bits.
    std::uint32_t GetUInt(std::uint32_t id, std::uint32_t index, std::uint32_t* out) const;

    // Reads text. *outChars becomes the number of characters without terminator (for wide text:
    // of UTF-16 units, until characters of another width have been copied); the text is copied and
    // terminated only if `capacity` is above that number. A buffer that is too small gets nothing
    // and the call still succeeds.
    std::uint32_t GetStringA(std::uint32_t id, std::uint32_t index, char* buffer,
                             std::uint32_t capacity, std::uint32_t* outChars) const;
    std::uint32_t GetStringW(std::uint32_t id, std::uint32_t index, wchar_t* buffer,
                             std::uint32_t capacity, std::uint32_t* outChars) const;

    // Reads wide text as UTF-8; `out` is empty on failure.
    std::uint32_t GetStringUtf8(std::uint32_t id, std::uint32_t index, std::string& out) const;

    // Copies at most `limit` characters of a narrow text, without a terminator.
    std::uint32_t GetPrefixA(std::uint32_t id, char* to, std::uint32_t limit) const;

    // Loads a nested record into `child`. A record of another type loads nothing, with success.
    std::uint32_t GetMessage(std::uint32_t id, std::uint32_t index, MsgBuffer* child) const;

    // Root id, image and its size in bytes. The image moves when the message changes.
    std::uint32_t GetId() const;
    const std::uint8_t* GetData() const { return m_Image.Data(); }
    std::uint32_t GetSize() const { return static_cast<std::uint32_t>(m_Image.Size()); }

    // All records by id, each id's in order of appearance; made on each call, for the decoders of
    // the tools. The reads above walk the image itself, which for the few records of a message is
    // faster than keeping an index up to date.
    std::map<std::uint32_t, std::vector<ParamIndexEntry>> Index() const;

private:
    std::uint8_t* AppendRecord(std::uint32_t id, std::uint32_t type, std::uint32_t length);
    // Appends a wide text of that many units, terminated and otherwise without a value yet.
    std::uint8_t* AppendUnits(std::uint32_t id, std::size_t units);
    void CountRecords();
    bool IsHidden(const ParamIndexEntry& entry) const;
    bool Find(std::uint32_t id, std::uint32_t index, ParamIndexEntry& entry) const;

    // Most messages of one command fit in here without a block of their own.
    static constexpr std::size_t kOwnRoom = 896;

    std::uint8_t m_OwnRoom[kOwnRoom];
    CImageBytes m_Image;
    // Payload offsets of appended records of tag 0, which are in the image and cannot be read.
    std::vector<std::uint32_t> m_vecHidden;
};

// A MsgBuffer whose operations turn a failed allocation into 0xe0ff001e.
class CRpcMsgBuffer {
public:
    explicit CRpcMsgBuffer(std::uint32_t id = 0) : m_Message(id) {}
    CRpcMsgBuffer(std::uint32_t id, std::span<std::uint8_t> room) : m_Message(id, room) {}
    virtual ~CRpcMsgBuffer() = default;

    std::uint32_t Reset(std::uint32_t id);
    std::uint32_t AddInt(std::uint32_t id, std::int32_t value);
    std::uint32_t AddUInt(std::uint32_t id, std::uint32_t value);
    std::uint32_t AddStringA(std::uint32_t id, const char* text, std::uint32_t chars);
    std::uint32_t AddStringW(std::uint32_t id, const wchar_t* text, std::uint32_t chars);
    std::uint32_t AddStringUtf8(std::uint32_t id, std::string_view text);
    std::uint32_t AddMessage(const CRpcMsgBuffer& child);
    void Reserve(std::uint32_t size);
    std::uint32_t OpenMessage(std::uint32_t id, std::uint32_t* opened);
    void CloseMessage(std::uint32_t opened);
    // Reports nothing, not even a failed allocation: the message is then empty.
    void Load(const std::uint8_t* image, std::uint32_t size);
    std::uint32_t GetUInt(std::uint32_t id, std::uint32_t index, std::uint32_t* out) const;
    std::uint32_t GetStringA(std::uint32_t id, std::uint32_t index, char* buffer,
                             std::uint32_t capacity, std::uint32_t* outChars) const;
    std::uint32_t GetStringW(std::uint32_t id, std::uint32_t index, wchar_t* buffer,
                             std::uint32_t capacity, std::uint32_t* outChars) const;
    std::uint32_t GetStringUtf8(std::uint32_t id, std::uint32_t index, std::string& out) const;
    std::uint32_t GetPrefixA(std::uint32_t id, char* to, std::uint32_t limit) const {
        return m_Message.GetPrefixA(id, to, limit);
    }
    std::uint32_t GetMessage(std::uint32_t id, std::uint32_t index, CRpcMsgBuffer* child) const;
    std::uint32_t GetId() const { return m_Message.GetId(); }
    const std::uint8_t* GetData() const { return m_Message.GetData(); }
    std::uint32_t GetSize() const { return m_Message.GetSize(); }
    const MsgBuffer& Message() const { return m_Message; }

private:
    MsgBuffer m_Message;
};
