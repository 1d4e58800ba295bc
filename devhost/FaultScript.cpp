#include "devhost/FaultScript.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "devhost/NumberText.h"

namespace DevHost {

namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::uint32_t kLongestDelayMs = 10 * 60 * 1000;
constexpr std::uint32_t kLargestReply = 256U << 20U;  // bytes

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Cuts the first word off; a comma is a word of its own.
std::string_view TakeWord(std::string_view& rest) {
    rest = Trim(rest);
    if (rest.empty())
        return {};
    const std::size_t end = rest.front() == ',' ? 1 : rest.find_first_of(" \t\r,");
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(word.size());
    rest = Trim(rest);
    return word;
}

bool ParseHex(std::string_view text, std::vector<std::uint8_t>& bytes) {
    if (text == "-")
        return true;
    if (text.empty() || text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        std::uint8_t byte = 0;
        const char* const end = text.data() + i + 2;
        const auto [stop, error] = std::from_chars(text.data() + i, end, byte, 16);
        if (error != std::errc() || stop != end)
            return false;
        bytes.push_back(byte);
    }
    return true;
}

// Chooses a field of the reply, or of the answer in it.
bool ChooseField(std::string_view field, ReplyPieces& pieces, bool& retCode, bool& data) {
    const std::pair<std::string_view, bool*> fields[] = {{"mailresult", &pieces.mailResult},
                                                         {"packer", &pieces.packer},
                                                         {"child", &pieces.child},
                                                         {"json", &pieces.json},
                                                         {"body", &pieces.report},
                                                         {"bodyid", &pieces.bodyId},
                                                         {"resultcode", &pieces.resultCode},
                                                         {"retcode", &retCode},
                                                         {"data", &data}};
    const auto* const found =
        std::find_if(std::begin(fields), std::end(fields),
                     [&](const auto& candidate) { return candidate.first == field; });
    if (found == std::end(fields))
        return false;
    *found->second = true;
    return true;
}

}  // namespace

// Reads one statement. Each step gives false and leaves the reason in Reason().
class FaultScript::Parser {
public:
    bool Read(std::string_view text, Statement& statement) {
        std::string_view rest = text;
        if (!ReadTarget(TakeWord(rest), statement))
            return false;
        for (std::string_view word = TakeWord(rest);; word = TakeWord(rest)) {
            if (IsOption(word)) {
                if (!ReadOption(word, rest, statement))
                    return false;
                continue;
            }
            statement.actionsText = std::string(word) + (rest.empty() ? "" : " ");
            statement.actionsText += rest;
            return ReadActions(word, rest, statement.plan);
        }
    }

    const std::string& Reason() const { return m_strReason; }

private:
    bool Fail(std::string reason) {
        m_strReason = std::move(reason);
        return false;
    }

    bool ReadTarget(std::string_view word, Statement& statement) {
        statement.targetText = word;
        if (word == "any")
            return true;
        const std::pair<std::string_view, Target> kinds[] = {
            {"api:", Target::kApi}, {"mail:", Target::kMail}, {"cmd:", Target::kCommand}};
        for (const auto& [prefix, target] : kinds) {
            if (!word.starts_with(prefix))
                continue;
            statement.target = target;
            if (ParseNumber(word.substr(prefix.size()), statement.number))
                return true;
            return Fail("no number behind \"" + std::string(prefix) + "\"");
        }
        return Fail("a statement begins with api:NUMBER, mail:NUMBER, cmd:NUMBER or any");
    }

    static bool IsOption(std::string_view word) {
        return word == "skip" || word == "nth" || word == "x*" ||
               (word.size() > 1 && word[0] == 'x' && word[1] >= '0' && word[1] <= '9');
    }

    bool ReadOption(std::string_view word, std::string_view& rest, Statement& statement) {
        if (word == "x*") {
            statement.count.reset();
            return true;
        }
        if (word == "skip") {
            if (ParseNumber(TakeWord(rest), statement.skip))
                return true;
            return Fail("\"skip\" needs a number");
        }
        if (word == "nth") {
            std::uint64_t number = 0;
            if (!ParseNumber(TakeWord(rest), number) || number == 0)
                return Fail("\"nth\" needs a number above 0");
            statement.ahead = number - 1;
            return true;
        }
        std::uint64_t count = 0;
        if (!ParseNumber(word.substr(1), count) || count == 0) {
            return Fail("\"x\" needs a number above 0");
        }
        statement.count = count;
        return true;
    }

    bool ReadActions(std::string_view word, std::string_view rest, FaultPlan& plan) {
        for (;;) {
            if (word.empty() || word == ",")
                return Fail("an action is missing");
            if (word == "text") {
                if (rest.empty())
                    return Fail("\"text\" needs a text");
                plan.text = std::string(rest);
                return true;
            }
            if (!ReadAction(word, rest, plan))
                return false;
            const std::string_view comma = TakeWord(rest);
            if (comma.empty())
                return true;
            if (comma != ",")
                return Fail("\"" + std::string(comma) + "\" is not expected");
            word = TakeWord(rest);
        }
    }

    bool ReadAction(std::string_view word, std::string_view& rest, FaultPlan& plan) {
        if (word == "unknown-client") {
            plan.failure = RemoteError::kUnknownClient;
            return true;
        }
        if (ReadEnd(word, plan))
            return plan.end != FaultPlan::End::kCrashRestart || ReadAbsence(rest, plan);
        if (word == "bytes") {
            plan.bytes.emplace();
            if (ParseHex(TakeWord(rest), *plan.bytes))
                return true;
            return Fail("\"bytes\" needs pairs of hexadecimal digits, or -");
        }
        if (word == "omit") {
            if (ChooseField(TakeWord(rest), plan.omit, plan.omitRetCode, plan.omitData))
                return true;
            return Fail("\"omit\" does not know this field");
        }
        if (word == "mistype") {
            if (ChooseField(TakeWord(rest), plan.mistype, plan.mistypeRetCode, plan.mistypeData))
                return true;
            return Fail("\"mistype\" does not know this field");
        }
        if (word == "texthex") {
            std::vector<std::uint8_t> bytes;
            if (!ParseHex(TakeWord(rest), bytes))
                return Fail("\"texthex\" needs pairs of hexadecimal digits, or -");
            plan.text.emplace(bytes.begin(), bytes.end());
            return true;
        }
        return ReadNumberAction(word, rest, plan);
    }

    static bool ReadEnd(std::string_view word, FaultPlan& plan) {
        const std::pair<std::string_view, FaultPlan::End> ends[] = {
            {"crash", FaultPlan::End::kCrash},
            {"crash-restart", FaultPlan::End::kCrashRestart},
            {"restart", FaultPlan::End::kRestart}};
        for (const auto& [name, end] : ends) {
            if (word != name)
                continue;
            plan.end = end;
            return true;
        }
        return false;
    }

    bool ReadAbsence(std::string_view& rest, FaultPlan& plan) {
        if (rest.empty() || rest.front() == ',')
            return true;
        if (ParseNumber(TakeWord(rest), plan.absenceMs) && plan.absenceMs <= kLongestDelayMs)
            return true;
        return Fail("\"crash-restart\" takes at most 600000 milliseconds");
    }

    bool ReadNumberAction(std::string_view word, std::string_view& rest, FaultPlan& plan) {
        std::optional<std::uint32_t>* target = nullptr;
        if (word == "fail")
            target = &plan.failure;
        if (word == "truncate")
            target = &plan.truncate;
        if (word == "size")
            target = &plan.size;
        if (word == "mailresult")
            target = &plan.mailResult;
        if (word == "resultcode")
            target = &plan.resultCode;
        if (word == "retcode")
            target = &plan.retCode;
        if (target == nullptr && word != "delay") {
            return Fail("unknown action \"" + std::string(word) + "\"");
        }
        std::uint32_t number = 0;
        if (!ParseNumber(TakeWord(rest), number)) {
            return Fail("\"" + std::string(word) + "\" needs a number of 32 bits");
        }
        if (word == "size" && number > kLargestReply)
            return Fail("a reply is stretched to at most 256 MiB");
        if (target != nullptr) {
            *target = number;
            return true;
        }
        if (number > kLongestDelayMs)
            return Fail("a delay is at most 600000 milliseconds");
        plan.delayMs = number;
        return true;
    }

    std::string m_strReason;
};

bool FaultScript::Parse(const std::string& script, std::string& error) {
    std::vector<Statement> parsed;
    std::string_view rest = script;
    while (!rest.empty()) {
        const std::size_t lineEnd = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, lineEnd);
        rest.remove_prefix(std::min(lineEnd + 1, rest.size()));
        line = line.substr(0, line.find('#'));
        while (!line.empty()) {
            const std::size_t end = std::min(line.find(';'), line.size());
            const std::string_view text = Trim(line.substr(0, end));
            line.remove_prefix(std::min(end + 1, line.size()));
            if (text.empty())
                continue;
            Statement statement;
            Parser parser;
            if (!parser.Read(text, statement)) {
                error = "\"" + std::string(text) + "\": " + parser.Reason();
                return false;
            }
            parsed.push_back(std::move(statement));
        }
    }
    const std::scoped_lock lock(m_Mutex);
    std::move(parsed.begin(), parsed.end(), std::back_inserter(m_vecStatement));
    return true;
}

bool FaultScript::Matches(const Statement& statement, const FaultSubject& subject) {
    switch (statement.target) {
        case Target::kApi:
            return subject.isApi && subject.mailId == statement.number;
        case Target::kMail:
            return subject.mailId == statement.number;
        case Target::kCommand:
            return subject.commandId == statement.number;
        case Target::kAny:
            return true;
    }
    return false;
}

FaultPlan FaultScript::Match(const FaultSubject& subject) {
    const std::scoped_lock lock(m_Mutex);
    Statement* first = nullptr;
    for (Statement& statement : m_vecStatement) {
        if (statement.count == 0U || !Matches(statement, subject))
            continue;
        if (statement.ahead > 0) {
            --statement.ahead;
        } else if (first == nullptr) {
            first = &statement;
        }
    }
    if (first == nullptr)
        return {};
    if (first->skip > 0) {
        --first->skip;
        return {};
    }
    if (first->count.has_value())
        --*first->count;
    return first->plan;
}

std::string FaultScript::Remaining() const {
    const std::scoped_lock lock(m_Mutex);
    std::string script;
    for (const Statement& statement : m_vecStatement) {
        if (statement.count == 0U)
            continue;
        if (!script.empty())
            script += "; ";
        script += statement.targetText;
        script += statement.count.has_value() ? " x" + std::to_string(*statement.count) : " x*";
        if (statement.skip > 0)
            script += " skip " + std::to_string(statement.skip);
        if (statement.ahead > 0)
            script += " nth " + std::to_string(statement.ahead + 1);
        script += " " + statement.actionsText;
    }
    return script;
}

bool FaultScript::IsEmpty() const {
    const std::scoped_lock lock(m_Mutex);
    return std::none_of(m_vecStatement.begin(), m_vecStatement.end(),
                        [](const Statement& statement) { return statement.count != 0U; });
}

}  // namespace DevHost
