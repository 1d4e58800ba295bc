#include "lib/wycommon/WyCommon_JsonText.h"

namespace JsonText {

namespace {

// A set of characters: a text has many characters, and one look-up for each is quick.
class CharacterSet {
public:
    explicit constexpr CharacterSet(std::string_view members) {
        for (const char member : members) {
            m_Contains[static_cast<unsigned char>(member)] = true;
        }
    }
    constexpr bool Contains(char c) const { return m_Contains[static_cast<unsigned char>(c)]; }

private:
    bool m_Contains[256] = {};
};

constexpr CharacterSet kBlanks(" \t\r\n");
constexpr CharacterSet kNumberParts("0123456789.-+eE");
constexpr CharacterSet kStringMarks("\"\\");

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
        m_Position = EndOf(kNumberParts, true);
        if (m_Position == start) {
            ++m_Position;  // a separator, or a letter of a word
        }
        return m_Position - start <= kMaxNumberSize;
    }

    // Leaves the position on the closing quote.
    void SkipString() noexcept {
        for (++m_Position;; m_Position += 2) {
            m_Position = EndOf(kStringMarks, false);
            if (m_Position >= m_Text.size() || m_Text[m_Position] == '"') {
                return;
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

    void SkipBlanks() noexcept { m_Position = EndOf(kBlanks, true); }

    // Where the characters that are in the set, or those that are not, end.
    std::size_t EndOf(const CharacterSet& set, bool inside) const noexcept {
        const std::size_t size = m_Text.size();
        std::size_t position = m_Position;
        while (position < size && set.Contains(m_Text[position]) == inside) {
            ++position;
        }
        return position;
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
