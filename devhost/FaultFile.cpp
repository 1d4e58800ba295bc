#include "devhost/FaultFile.h"

#include <json/reader.h>
#include <json/value.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "devhost/FaultScript.h"

namespace DevHost {

namespace {

// A mistake in the file; the text says what and, at the border, where.
class Mistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

bool IsNumberText(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex)
        text.remove_prefix(2);
    const std::string_view digits = isHex ? "0123456789abcdefABCDEF" : "0123456789";
    return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

// Numbers are JSON numbers, or texts as scripts have them: "0x803". False for anything else.
bool ReadNumber(const Json::Value& value, std::string& number) {
    if (value.isUInt64()) {
        number = std::to_string(value.asUInt64());
        return true;
    }
    if (!value.isString() || !IsNumberText(value.asString()))
        return false;
    number = value.asString();
    return true;
}

std::string Number(const Json::Value& value, const std::string& name) {
    std::string number;
    if (!ReadNumber(value, number))
        throw Mistake("\"" + name + "\" must be a number from 0 on");
    return number;
}

// Result codes are negative numbers to some.
std::string Code(const Json::Value& value, const std::string& name) {
    if (value.isInt())
        return std::to_string(static_cast<std::uint32_t>(value.asInt()));
    std::string number;
    if (!ReadNumber(value, number))
        throw Mistake("\"" + name + "\" must be a number");
    return number;
}

std::string RequireText(const Json::Value& value, const std::string& name) {
    if (!value.isString())
        throw Mistake("\"" + name + "\" must be a text");
    return value.asString();
}

// Of members that say different things about one matter there can be one.
void RejectContradictions(const Json::Value& fault) {
    constexpr std::array<std::array<const char*, 4>, 6> kGroups{
        {{"api", "mail", "command", "any"},
         {"count", "always"},
         {"nth", "skip"},
         {"failure", "unknownClient"},
         {"bytes", "empty"},
         {"crash", "comeBackAfter", "restart"}}};
    for (const auto& group : kGroups) {
        const char* first = nullptr;
        for (const char* name : group) {
            if (name == nullptr || !fault.isMember(name))
                continue;
            if (first != nullptr) {
                throw Mistake(std::string("\"") + first + "\" and \"" + name +
                              "\" exclude each other");
            }
            first = name;
        }
    }
}

void RequireTrue(const Json::Value& value, const std::string& name) {
    if (!value.isBool() || !value.asBool())
        throw Mistake("\"" + name + "\" can only be true");
}

std::string Hex(std::string_view bytes) {
    if (bytes.empty())
        return "-";
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4U];
        text += kDigits[static_cast<unsigned char>(byte) & 0xfU];
    }
    return text;
}

// One fault on its way to a statement.
class Translator {
public:
    void Take(const std::string& name, const Json::Value& value) {
        if (!TakeTarget(name, value) && !TakeCount(name, value) && !TakeNumber(name, value) &&
            !TakeFields(name, value) && !TakeReply(name, value) && !TakeEnd(name, value)) {
            throw Mistake("\"" + name + "\" is not known");
        }
    }

    std::string Statement() const {
        if (m_strTarget.empty())
            throw Mistake("a target is missing: \"api\", \"mail\", \"command\" or \"any\"");
        if (m_strActions.empty())
            throw Mistake("what is to happen is missing");
        return m_strTarget + m_strCount + " " + m_strActions;
    }

private:
    void Act(const std::string& action) {
        m_strActions += (m_strActions.empty() ? "" : ", ") + action;
    }

    bool TakeTarget(const std::string& name, const Json::Value& value) {
        std::string target;
        if (name == "any") {
            RequireTrue(value, name);
            target = "any";
        } else if (name == "api" || name == "mail") {
            target = name + ":" + Number(value, name);
        } else if (name == "command") {
            target = "cmd:" + Number(value, name);
        } else {
            return false;
        }
        m_strTarget = target;
        return true;
    }

    bool TakeCount(const std::string& name, const Json::Value& value) {
        if (name == "always") {
            RequireTrue(value, name);
            m_strCount += " x*";
        } else if (name == "count") {
            m_strCount += " x" + Number(value, name);
        } else if (name == "skip" || name == "nth") {
            m_strCount += " " + name + " " + Number(value, name);
        } else {
            return false;
        }
        return true;
    }

    bool TakeNumber(const std::string& name, const Json::Value& value) {
        struct Action {
            std::string_view member;
            const char* word;
            bool isCode;
        };
        constexpr std::array<Action, 7> kActions{{{"failure", "fail", true},
                                                  {"delay", "delay", false},
                                                  {"cut", "truncate", false},
                                                  {"mailResult", "mailresult", true},
                                                  {"resultCode", "resultcode", true},
                                                  {"retCode", "retcode", true},
                                                  {"size", "size", false}}};
        for (const Action& action : kActions) {
            if (name != action.member)
                continue;
            const std::string number = action.isCode ? Code(value, name) : Number(value, name);
            Act(std::string(action.word) + " " + number);
            return true;
        }
        return false;
    }

    bool TakeFields(const std::string& name, const Json::Value& value) {
        if (name != "omit" && name != "mistype")
            return false;
        const Json::Value list = value.isArray() ? value : Json::Value(Json::arrayValue);
        if (list.empty())
            throw Mistake("\"" + name + "\" must be a list of fields");
        for (const Json::Value& field : list) {
            if (!field.isString() ||
                field.asString().find_first_of(" \t\r\n,;#") != std::string::npos) {
                throw Mistake("\"" + name + "\" must be a list of fields");
            }
            Act(name + " " + field.asString());
        }
        return true;
    }

    bool TakeReply(const std::string& name, const Json::Value& value) {
        if (name == "unknownClient") {
            RequireTrue(value, name);
            Act("unknown-client");
        } else if (name == "empty") {
            RequireTrue(value, name);
            Act("bytes -");
        } else if (name == "bytes") {
            const std::string digits = RequireText(value, name);
            if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
                throw Mistake("\"bytes\" must be hexadecimal digits");
            Act("bytes " + (digits.empty() ? "-" : digits));
        } else if (name == "text") {
            Act("texthex " + Hex(RequireText(value, name)));
        } else {
            return false;
        }
        return true;
    }

    bool TakeEnd(const std::string& name, const Json::Value& value) {
        if (name == "crash" || name == "restart") {
            RequireTrue(value, name);
            Act(name);
        } else if (name == "comeBackAfter") {
            Act("crash-restart " + Number(value, name));
        } else {
            return false;
        }
        return true;
    }

    std::string m_strTarget;
    std::string m_strCount;
    std::string m_strActions;
};

Json::Value ReadJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    bool read = false;
    try {
        read = reader->parse(text.data(), text.data() + text.size(), &root, &errors);
    } catch (const Json::Exception& error) {
        errors = error.what();
    }
    if (!read)
        throw Mistake("no JSON: " + errors.substr(0, errors.find_last_not_of('\n') + 1));
    if (!root.isObject() || root.size() != 1 || !root["faults"].isArray())
        throw Mistake("a fault file is an object with the list \"faults\" and nothing else");
    return root;
}

// One fault as a statement that FaultScript takes.
std::string Translate(const Json::Value& fault) {
    if (!fault.isObject())
        throw Mistake("a fault must be an object");
    RejectContradictions(fault);
    Translator translator;
    for (const std::string& name : fault.getMemberNames())
        translator.Take(name, fault[name]);
    std::string statement = translator.Statement();
    FaultScript check;
    std::string error;
    if (!check.Parse(statement, error))
        throw Mistake(error);
    return statement;
}

}  // namespace

bool FaultFileToScript(const std::string& text, std::string& script, std::string& error) {
    std::string translated;
    Json::ArrayIndex index = 0;
    try {
        const Json::Value root = ReadJson(text);
        for (index = 1; index <= root["faults"].size(); ++index) {
            const Json::Value& fault = root["faults"][index - 1];
            translated += Translate(fault) + "\n";
        }
    } catch (const Mistake& mistake) {
        error = (index > 0 ? "fault " + std::to_string(index) + ": " : "") + mistake.what();
        return false;
    }
    script = std::move(translated);
    return true;
}

}  // namespace DevHost
