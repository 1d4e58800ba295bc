#pragma once

// Takes a captured request, reply or parameter message apart.
//
// Any bytes are safe: every length is checked against what is there, nesting and the number of
// fields are limited. What is malformed is reported with its place, and whatever can be read
// around it is shown all the same.

#include <json/value.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "wyctl/Commands.h"

namespace WyCtl {

// One item of the capture.
struct WireField {
    std::size_t offset = 0;  // of its first byte, in the capture
    std::size_t length = 0;  // in bytes, its header included
    std::string name;
    std::string type;     // "uint32", "int32", "string", "wide string", "message", "bytes"
    Json::Value value;    // number or text; null for a message
    std::string meaning;  // of a number; may be empty
    std::vector<WireField> fields;
};

struct WireProblem {
    std::size_t offset = 0;
    std::string text;
};

struct WireCapture {
    CaptureKind kind = CaptureKind::Auto;  // what the capture was taken for; never Auto
    std::vector<WireField> fields;
    std::vector<WireProblem> problems;  // in the order in which they were met
};

// Nesting and number of fields beyond which the decoder stops.
constexpr std::size_t kMaxWireDepth = 32;
constexpr std::size_t kMaxWireFields = 100000;

// `kind` says what the bytes are; Auto judges by the first words.
WireCapture DecodeCapture(std::span<const std::uint8_t> bytes, CaptureKind kind);

}  // namespace WyCtl
