#pragma once

// The record of the trace module, filled by tests.

#include <algorithm>
#include <cstddef>
#include <string>

#include "Common/KrCommon/KrComn_LogContract.h"

namespace test_support {

template <std::size_t size>
void Fill(char16_t (&field)[size], const std::wstring& text) {
    std::fill(std::begin(field), std::end(field), u'\0');
    for (std::size_t i = 0; i < std::min(text.size(), size); ++i) {
        field[i] = static_cast<char16_t>(text[i]);
    }
}

inline KrDbgConfig Record(const std::wstring& folder, const std::wstring& module = L"WySdk") {
    KrDbgConfig config = {};
    Fill(config.szModuleName, module);
    Fill(config.szLogFolder, folder);
    Fill(config.szLogPrefix, L"qrn");
    Fill(config.szLogExtension, L"log");
    return config;
}

}  // namespace test_support
