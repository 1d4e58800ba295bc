#pragma once

// JSON documents where a lack of memory must come out as std::bad_alloc.

#include <new>
#include <string>

#include "lib/wycommon/WyCommon_JsonDocument.h"

// Raises what a document could only note.
inline void RequireMemory(const JsonDocument& document) {
    if (document.Status() == JsonDocument::kOutOfMemory)
        throw std::bad_alloc();
}

// A member, made as null when it is missing.
inline JsonDocument MemberOf(JsonDocument& document, const std::wstring& key) {
    JsonDocument member = document[key];
    RequireMemory(member);
    return member;
}
