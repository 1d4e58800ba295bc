#pragma once

// Fault scripts as JSON files, for tests and for people who keep them.
//
//     {"faults": [{"api": 400013001, "nth": 3, "failure": "0x803"}, ...]}
//
// Each fault names one target, how often it acts, and what happens; docs/devhost.md has all
// members. The file says the same as a script in text form, and becomes one.

#include <string>

namespace DevHost {

// Turns the text of a fault file (UTF-8) into a script that FaultScript::Parse takes. False on a
// mistake, with the place and the reason in `error`: text that is no JSON, a member that is not
// known, of a wrong type or out of range, members that exclude each other, a fault without a target
// or without an action.
bool FaultFileToScript(const std::string& text, std::string& script, std::string& error);

}  // namespace DevHost
