#pragma once

// Passwords, which no command line should hold.

#include <string>
#include <utility>

#include "wyctl/Context.h"

namespace WyCtl {

// Text that is wiped when it goes.
class Secret {
public:
    explicit Secret(std::wstring text) : m_strText(std::move(text)) {}
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret();

    const std::wstring& Text() const { return m_strText; }

private:
    std::wstring m_strText;
};

// A password: the first line of a file in UTF-8 ("-": of standard input), or what a person types
// at the terminal behind a prompt, without echo, when `file` is empty.
//
// Raises Failure when the file cannot be read or the line holds a NUL, UsageError when there is
// neither a file nor a terminal.
Secret ReadPassword(Context& context, const std::string& file, const std::string& prompt);

}  // namespace WyCtl
