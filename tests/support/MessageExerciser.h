#pragma once

// Reads everything that can be read of a parameter message: what a receiver of a foreign image
// might do with it. Tests of hostile input and the fuzz targets run it; a sanitizer judges.

#include <cstdint>
#include <string>
#include <vector>

#include "Framework/utilIPC/ipc_data_handle.h"

namespace test_support {

// The invariants that hold for any message whatever its bytes were. Returns what is broken, or
// null.
inline const char* CheckMessage(const CRpcDataHandleWrapper& message) {
    RpcDataHandle copy;
    if (message.CloneTo(&copy) != 0x20ff0000U) {
        return "a message cannot be cloned";
    }
    const CRpcDataHandleWrapper clone(copy);
    RpcDataDestroy(&copy);
    if (clone.GetSize() != message.GetSize() || clone.GetMsgId() != message.GetMsgId()) {
        return "a clone differs from its source";
    }
    return nullptr;
}

namespace detail {

inline const char* Exercise(const CRpcDataHandleWrapper& message, int depth, int& budget) {
    if (const char* broken = CheckMessage(message)) {
        return broken;
    }
    CRpcMsgBuffer parsed;
    parsed.Load(message.GetData(), message.GetSize());
    for (const auto& [id, entries] : parsed.Message().Index()) {
        const auto count = static_cast<std::uint32_t>(entries.size());
        for (std::uint32_t index = 0; index <= count && index < 4; ++index) {
            if (--budget < 0) {
                return nullptr;
            }
            std::uint32_t number = 0;
            std::string narrow = "before";
            std::wstring wide = L"before";
            CRpcDataHandleWrapper child;
            const std::uint32_t code = message.Get(id, index, &number);
            message.Get(id, index, narrow);
            message.Get(id, index, wide);
            if (index == count && (code != 0xe0ff000eU || !narrow.empty() || !wide.empty())) {
                return "an absent record was read";
            }
            if (index < count && narrow.size() > entries[index].uiLength) {
                return "narrow text is longer than its record";
            }
            if (index < count && wide.size() > entries[index].uiLength / 2) {
                return "wide text is longer than its record";
            }
            if (message.Get(id, index, &child) != 0x20ff0000U || depth == 0) {
                continue;
            }
            if (child.GetSize() > message.GetSize()) {
                return "a child is larger than its parent";
            }
            if (const char* broken = Exercise(child, depth - 1, budget)) {
                return broken;
            }
        }
    }
    return nullptr;
}

}  // namespace detail

// The ids of the image are asked for with every read, at their indexes and behind them; nested
// messages are entered. Stops after a number of reads, since each walks the image and nested
// messages can repeat what holds them. Returns what is broken, or null.
inline const char* ExerciseMessage(const CRpcDataHandleWrapper& message) {
    int budget = 200;
    return detail::Exercise(message, 8, budget);
}

}  // namespace test_support
