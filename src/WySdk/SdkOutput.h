#pragma once

// Memory that is handed to the application for good.

#include <cstddef>
#include <string_view>

// A block that the application releases with LocalFree (LocalAlloc with flags 0); null without
// memory. A native build takes it from malloc.
void* AllocateOutput(std::size_t size) noexcept;

// A copy of the text with a terminator behind it, in a block of exactly that size; null for an
// empty text and without memory. NULs inside the text are copied like any other character.
wchar_t* AllocateOutputText(std::wstring_view text) noexcept;
