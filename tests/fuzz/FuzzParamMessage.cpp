// Parameter messages: an image of any bytes is loaded, read in every way, nested, extended and
// loaded again.
//
// Input: the image.

#include <string_view>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "FuzzInput.h"
#include "support/MessageExerciser.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;

std::string_view Image(const CRpcDataHandleWrapper& message) {
    return {reinterpret_cast<const char*>(message.GetData()), message.GetSize()};
}

// What is set on a message comes back, whatever the message was loaded from.
void Extend(CRpcDataHandleWrapper& message, const CRpcDataHandleWrapper& child) {
    std::uint32_t number = 0;
    std::uint32_t count = 0;
    while (message.Get(0xfeed, count, &number) != 0xe0ff000eU) {
        ++count;
    }
    fuzz::Require(message.Set(0xfeed, std::uint32_t{42}) == kSuccess, "a number is not taken");
    fuzz::Require(message.Get(0xfeed, count, &number) == kSuccess && number == 42,
                  "a number is lost");
    fuzz::Require(message.Set(child) == kSuccess, "a child is not taken");
    fuzz::Require(message.Set(message) == kSuccess, "a message does not take itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> image = fuzz::Input(data, size).Rest();
    CRpcDataHandleWrapper message(0x42U);
    message.Load(image.data(), static_cast<std::uint32_t>(image.size()));
    const bool taken = message.GetSize() == image.size();
    fuzz::Require(image.empty() || taken || message.GetSize() == 12, "neither taken nor refused");
    fuzz::Require(test_support::ExerciseMessage(message));

    CRpcDataHandleWrapper again;
    again.Load(message.GetData(), message.GetSize());
    fuzz::Require(Image(again) == Image(message), "a loaded image does not load again");

    CRpcDataHandleWrapper parent(1U);
    fuzz::Require(parent.Set(message) == kSuccess, "a loaded message cannot be nested");
    fuzz::Require(test_support::ExerciseMessage(parent));
    if (message.GetSize() < 4096) {
        Extend(again, message);
        fuzz::Require(test_support::ExerciseMessage(again));
    }
    return 0;
}
