#pragma once

// Names for the numbers of the wire.

#include <cstdint>
#include <string>

namespace WyCtl {

// What an envelope's message id, which is also a command id, asks for; empty for an unknown one.
std::string CommandName(std::uint32_t command);

// "RPC_MSG_MAIN" and so on; empty for an unknown id.
std::string MessageName(std::uint32_t messageId);

// "ID_DATA_TRACKING_ID" and so on; empty for an unknown id.
std::string ParameterName(std::uint32_t parameterId);

// What the value of a number parameter means: a result code in words, the name of a command, of a
// message, of a function or of a destination; empty for a parameter that is just a number.
std::string ValueMeaning(std::uint32_t parameterId, std::uint32_t value);

}  // namespace WyCtl
