#include "lib/wycommon/WyCommon_JsonText.h"

namespace JsonText {

namespace {

constexpr bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

constexpr bool IsNumberPart(char c) {
    return (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
}

// Walks over a text token by token, as the reader does as long as the text is well-formed. From
// the first error on the reader only skips, so that it does not matter where the two part ways.
class Scanner {
public:
    Scanner(std::string_view text, std::uint32_t maxLevels) noexcept
        : m_Text(text), m_uiMaxLevels(maxLevels) {}

    bool Run() noexcept {
        for (;;) {
            SkipBlanks();
            if (m_uiLevels == m_uiMaxLevels) {
                // Looking for anything but the end would take the reader one level deeper.
                if (!AtEndOfInnermost()) {
                    return false;
                }
            } else if (m_Position >= m_Text.size()) {
                return true;
            }
            if (!TakeToken(m_Text[m_Position])) {
                return false;
            }
            if (m_uiLevels == 0 && m_bRootBegan) {
                return true;
            }
        }
    }

private:
    bool AtEndOfInnermost() const noexcept {
        return m_Position < m_Text.size() && m_Text[m_Position] == (m_Innermost == '[' ? ']' : '}');
    }

    // False when the token is a number that is too long.
    bool TakeToken(char first) noexcept {
        switch (first) {
            case '/':
                SkipComment();
                return true;
            case '[':
            case '{':
                ++m_uiLevels;
                m_Innermost = first;
                break;
            case ']':
            case '}':
                m_uiLevels -= m_uiLevels != 0 ? 1 : 0;
                break;
            case '"':
                SkipString();
                break;
            default:
                return TakeNumberOrOther();
        }
        ++m_Position;
        m_bRootBegan = true;
        return true;
    }

    bool TakeNumberOrOther() noexcept {
        m_bRootBegan = true;
        const std::size_t start = m_Position;
        while (m_Position < m_Text.size() && IsNumberPart(m_Text[m_Position])) {
            ++m_Position;
        }
        if (m_Position == start) {
            ++m_Position;  // a separator, or a letter of a word
        }
        return m_Position - start <= kMaxNumberSize;
    }

    // Leaves the position on the closing quote.
    void SkipString() noexcept {
        for (++m_Position; m_Position < m_Text.size(); ++m_Position) {
            const char character = m_Text[m_Position];
            if (character == '"') {
                return;
            }
            if (character == '\\') {
                ++m_Position;
            }
        }
    }

    void SkipComment() noexcept {
        const std::string_view mark = m_Text.substr(m_Position, 2);
        if (mark == "//") {
            SkipTo(m_Text.find_first_of("\r\n", m_Position), 1);
        } else if (mark == "/*") {
            SkipTo(m_Text.find("*/", m_Position + 2), 2);
        } else {
            ++m_Position;
        }
    }

    void SkipTo(std::size_t found, std::size_t length) noexcept {
        m_Position = found == std::string_view::npos ? m_Text.size() : found + length;
    }

    void SkipBlanks() noexcept {
        while (m_Position < m_Text.size() && IsBlank(m_Text[m_Position])) {
            ++m_Position;
        }
    }

    const std::string_view m_Text;
    const std::uint32_t m_uiMaxLevels;
    std::size_t m_Position = 0;
    std::uint32_t m_uiLevels = 0;  // containers that are open
    char m_Innermost = '[';        // how the last one was opened
    bool m_bRootBegan = false;
};

}  // namespace

bool IsReadable(std::string_view text, std::uint32_t maxLevels) noexcept {
    return Scanner(text, maxLevels).Run();
}

}  // namespace JsonText
