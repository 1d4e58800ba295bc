#pragma once

// The commands that set what product and service need to know, and show what of it can be read
// back. Each writes its result and returns, or raises one of Errors.h.
//
// What lies on this machine is shown from where it lies. What the service keeps cannot be read
// back: no function of the library asks for it.

#include <optional>
#include <string>

#include "wyctl/Context.h"

namespace WyCtl {

struct ProxyOptions {
    std::string host;
    std::string port;
    std::string user;          // empty: none, and no password
    std::string passwordFile;  // "-": standard input; empty: a person is asked
    bool enable = true;
};

// Stores the proxy server; all arguments are judged before a password is asked for.
void RunProxySet(Context& context, const ProxyOptions& options);
// Stores that there is none: empty texts, switched off.
void RunProxyClear(Context& context);
// Shows what is stored, of the password only whether there is one.
void RunProxyShow(Context& context);

struct IdentifierOptions {
    std::string first;
    std::string second;
    std::optional<std::string> third;
    std::optional<std::string> fourth;
};

// Stores identifiers: three by WySetIdentifier, two or four by WySetIdentifierEx.
void RunIdentifierSet(Context& context, const IdentifierOptions& options);
void RunIdentifierShow(Context& context);

void RunReamerSet(Context& context, const std::string& status);
void RunReamerShow(Context& context);

// Switches the debug log of the installed product; an empty level stays as it is.
void RunDebugLogSet(Context& context, bool enable, const std::string& level);
// Shows switch, level and folder.
void RunDebugLogShow(Context& context);

void RunLanguageSet(Context& context, const std::string& language);
void RunScheduleSet(Context& context, const std::string& day, const std::string& hour);
void RunUrlsSet(Context& context, const std::string& feedback, const std::string& reamer);

}  // namespace WyCtl
