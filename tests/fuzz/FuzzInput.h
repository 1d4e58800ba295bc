#pragma once

// What the fuzz targets share: a reader of the input, and a check that stops the run.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

// Ends the process, so that the fuzzer keeps the input, unless `what` is null.
inline void Require(const char* what) {
    if (what != nullptr) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

inline void Require(bool holds, const char* what) {
    Require(holds ? nullptr : what);
}

// Takes the input apart from its front; past its end everything is zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_pData(data), m_uiSize(size) {}

    std::uint8_t Byte() {
        if (m_uiSize == 0) {
            return 0;
        }
        --m_uiSize;
        return *m_pData++;
    }
    std::uint32_t Word() {
        std::uint32_t word = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            word |= static_cast<std::uint32_t>(Byte()) << shift;
        }
        return word;
    }
    // So many bytes, or as many as there are, in a block of exactly their size.
    std::vector<std::uint8_t> Take(std::size_t size) {
        const std::size_t taken = std::min(size, m_uiSize);
        std::vector<std::uint8_t> bytes(m_pData, m_pData + taken);
        m_pData += taken;
        m_uiSize -= taken;
        return bytes;
    }
    bool IsEmpty() const { return m_uiSize == 0; }

    // A copy of the rest in a block of exactly its size, so that a sanitizer sees the first byte
    // behind it.
    std::vector<std::uint8_t> Rest() const {
        std::vector<std::uint8_t> rest(m_pData, m_pData + m_uiSize);
        rest.shrink_to_fit();
        return rest;
    }

    // The rest as wide text of UTF-16 units, so that surrogates come unpaired too.
    std::wstring RestAsUnits() const {
        std::wstring text;
        for (std::size_t i = 0; i + 1 < m_uiSize; i += 2) {
            text += static_cast<wchar_t>(m_pData[i] | m_pData[i + 1] << 8);
        }
        return text;
    }

    // The rest as wide text, one character for each byte: the form in which the fuzzer finds the
    // tokens of a text grammar.
    std::wstring RestAsText() const { return std::wstring(m_pData, m_pData + m_uiSize); }

private:
    const std::uint8_t* m_pData;
    std::size_t m_uiSize;
};

// The logs of the code under test go nowhere, its text is built all the same.
void LogIntoNothing();

}  // namespace fuzz
