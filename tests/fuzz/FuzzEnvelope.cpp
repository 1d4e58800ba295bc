// The envelope reader: a sequence of reads, chosen by the input, over bytes of the input.
//
// Input: number of reads, one byte for each (low bits: its kind), the envelope.

#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "FuzzInput.h"
#include "support/MessageExerciser.h"

namespace {

constexpr std::uint8_t kMaxReads = 15;

void ReadOnce(CIPCMsgBuffer& envelope, std::uint8_t kind) {
    const std::uint32_t position = envelope.GetReadPosition();
    const std::uint32_t remaining = envelope.GetRemaining();
    try {
        switch (kind & 3) {
            case 0: {
                std::uint32_t value = 0;
                envelope >> value;
                fuzz::Require(envelope.GetReadPosition() == position + 4, "an integer is 4 bytes");
                break;
            }
            case 1: {
                CRpcDataHandleWrapper message;
                envelope >> message;
                fuzz::Require(test_support::ExerciseMessage(message));
                break;
            }
            case 2: {
                // A length from the wire, as a reader of a foreign format would pass it on.
                std::uint32_t size = 0;
                envelope >> size;
                void* bytes = nullptr;
                envelope.ReadBytes(&bytes, size);
                CIPCMsgBuffer::FreeBytes(bytes);
                break;
            }
            default: {
                void* bytes = nullptr;
                envelope.ReadBytes(&bytes, kind >> 2);
                CIPCMsgBuffer::FreeBytes(bytes);
                break;
            }
        }
        fuzz::Require(envelope.GetReadPosition() >= position, "the cursor went back");
        fuzz::Require(envelope.GetLastReadPosition() >= position, "the last place is too early");
    } catch (const CIPCMsgBufferException& error) {
        fuzz::Require(
            error.GetCode() == CIPCMsgBufferException::kOutOfRange || envelope.GetData() == nullptr,
            "bytes that are there are no invalid buffer");
        fuzz::Require(envelope.GetReadPosition() - position <= 4, "a failed read took bytes");
    }
    fuzz::Require(envelope.GetRemaining() <= remaining, "the rest has grown");
    fuzz::Require(envelope.GetReadPosition() + envelope.GetRemaining() == envelope.GetLength(),
                  "cursor and rest do not add up");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    std::vector<std::uint8_t> kinds(input.Byte() & kMaxReads);
    for (std::uint8_t& kind : kinds) {
        kind = input.Byte();
    }
    const std::vector<std::uint8_t> bytes = input.Rest();
    CIPCMsgBuffer envelope(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    for (const std::uint8_t kind : kinds) {
        ReadOnce(envelope, kind);
    }
    return 0;
}
