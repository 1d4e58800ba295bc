#pragma once

// Output texts of the library, owned by the test as an application owns them.

#include <string>

namespace test_support {

// Gives a block of an output text back as an application does: LocalFree, free in a native build.
void FreeOutput(void* block);

// Receives one output text and releases it.
class OutputText {
public:
    OutputText() = default;
    OutputText(const OutputText&) = delete;
    OutputText& operator=(const OutputText&) = delete;
    ~OutputText() { FreeOutput(m_pText); }

    wchar_t** Out() { return &m_pText; }
    const wchar_t* Get() const { return m_pText; }
    bool IsNull() const { return m_pText == nullptr; }
    std::wstring Text() const { return m_pText != nullptr ? m_pText : L"(null)"; }
    // For texts with NULs inside.
    std::wstring Text(std::size_t length) const { return std::wstring(m_pText, length); }

private:
    wchar_t* m_pText = nullptr;
};

}  // namespace test_support
