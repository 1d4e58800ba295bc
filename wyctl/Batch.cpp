#include "wyctl/Batch.h"

#include <sstream>

#include "wyctl/CommandText.h"
#include "wyctl/Errors.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

std::string Trimmed(const std::string& line) {
    constexpr const char* kBlanks = " \t\r";
    const std::size_t begin = line.find_first_not_of(kBlanks);
    return begin == std::string::npos
               ? std::string()
               : line.substr(begin, line.find_last_not_of(kBlanks) - begin + 1);
}

// Between commands, for a person who follows the output.
void Note(Context& context, const std::string& text) {
    if (!context.Options().json) {
        context.Screen().Out(text + "\n");
    }
}

}  // namespace

int RunBatch(Context& context, const std::string& text, const CommandRunner& run) {
    SessionScope session(context);
    Note(context, "session opened");
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        line = Trimmed(line);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        Note(context, "\n> wyctl " + Printable(line));
        const int status = run(context, SplitCommandLine(line));
        if (status != kExitSuccess) {
            return status;
        }
    }
    session.Close();
    Note(context, "\nsession closed");
    return kExitSuccess;
}

}  // namespace WyCtl
