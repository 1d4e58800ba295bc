#include "devhost/FaultFile.h"

#include <gtest/gtest.h>

#include "devhost/FaultScript.h"

namespace {

using DevHost::FaultFileToScript;
using DevHost::FaultScript;

// The script that a file becomes, in the form in which a host keeps it.
std::string ScriptOf(const std::string& file) {
    std::string translated;
    std::string error;
    FaultScript script;
    if (!FaultFileToScript(file, translated, error) || !script.Parse(translated, error))
        return "mistake: " + error;
    return script.Remaining();
}

std::string ScriptOfFault(const std::string& members) {
    return ScriptOf("{\"faults\": [{" + members + "}]}");
}

std::string MistakeOf(const std::string& file) {
    std::string script = "untouched";
    std::string error;
    if (FaultFileToScript(file, script, error))
        return "no mistake: " + script;
    EXPECT_EQ(script, "untouched") << file;
    return error;
}

TEST(FaultFile, every_member_says_what_a_script_says) {
    const std::pair<const char*, const char*> members[] = {
        {R"("api": 400013001, "failure": 5)", "api:400013001 fail 5"},
        {R"("mail": 35870, "failure": 5)", "mail:35870 fail 5"},
        {R"("command": "0x2052", "failure": 5)", "cmd:0x2052 fail 5"},
        {R"("any": true, "failure": 5)", "any fail 5"},
        {R"("any": true, "failure": 5, "always": true)", "any x* fail 5"},
        {R"("any": true, "failure": 5, "count": 3)", "any x3 fail 5"},
        {R"("any": true, "failure": 5, "skip": 2)", "any skip 2 fail 5"},
        {R"("any": true, "failure": 5, "skip": 0)", "any fail 5"},
        {R"("any": true, "failure": 5, "nth": 1)", "any nth 1 fail 5"},
        {R"("any": true, "failure": 5, "nth": 4)", "any nth 4 fail 5"},
        {R"("any": true, "failure": 5, "nth": 4, "count": "2")", "any x2 nth 4 fail 5"},
        {R"("any": true, "failure": 5, "nth": 4, "always": true)", "any x* nth 4 fail 5"},
        {R"("any": true, "unknownClient": true)", "any unknown-client"},
        {R"("any": true, "empty": true)", "any bytes -"},
        {R"("any": true, "bytes": "")", "any bytes -"},
        {R"("any": true, "bytes": "cA00ff")", "any bytes cA00ff"},
        {R"("any": true, "cut": 9)", "any truncate 9"},
        {R"("any": true, "delay": 250)", "any delay 250"},
        {R"("any": true, "size": 65536)", "any size 65536"},
        {R"("any": true, "mailResult": 1)", "any mailresult 1"},
        {R"("any": true, "resultCode": 1)", "any resultcode 1"},
        {R"("any": true, "retCode": 1)", "any retcode 1"},
        {R"("any": true, "omit": ["json", "retcode"])", "any omit json, omit retcode"},
        {R"("any": true, "mistype": ["packer", "data"])", "any mistype packer, mistype data"},
        {R"("any": true, "text": "no json")", "any texthex 6e6f206a736f6e"},
        {R"("any": true, "text": "")", "any texthex -"},
        {R"("any": true, "text": "\u00e4\u0000;#\n")", "any texthex c3a4003b230a"},
        {R"("any": true, "crash": true)", "any crash"},
        {R"("any": true, "restart": true)", "any restart"},
        {R"("any": true, "comeBackAfter": 0)", "any crash-restart 0"},
        {R"("any": true, "comeBackAfter": 750)", "any crash-restart 750"},
        {R"("any": true, "delay": 5, "mailResult": 6, "omit": ["json"])",
         "any delay 5, mailresult 6, omit json"},
    };
    for (const auto& [fault, text] : members) {
        FaultScript script;
        std::string error;
        ASSERT_TRUE(script.Parse(text, error)) << text << ": " << error;
        EXPECT_EQ(ScriptOfFault(fault), script.Remaining()) << fault;
    }
}

TEST(FaultFile, fields_to_omit_and_to_mistype_are_those_of_scripts) {
    for (const std::string verb : {"omit", "mistype"}) {
        for (const std::string field : {"mailresult", "packer", "child", "json", "body", "bodyid",
                                        "resultcode", "retcode", "data"}) {
            EXPECT_EQ(ScriptOfFault("\"any\": true, \"" + verb + "\": [\"" + field + "\"]"),
                      "any x1 " + verb + " " + field);
        }
    }
}

TEST(FaultFile, faults_keep_their_order) {
    EXPECT_EQ(ScriptOf(R"({"faults": [{"api": 2, "failure": 1}, {"api": 1, "crash": true},
                                      {"any": true, "always": true, "delay": 3}]})"),
              "api:2 x1 fail 1; api:1 x1 crash; any x* delay 3");
}

TEST(FaultFile, file_without_faults_is_a_script_without_statements) {
    EXPECT_EQ(ScriptOf(R"({"faults": []})"), "");
    EXPECT_EQ(ScriptOf("\xef\xbb\xbf{\"faults\": []}\r\n"), "");
}

TEST(FaultFile, numbers_may_be_texts) {
    const std::pair<const char*, const char*> numbers[] = {
        {R"("api": "0x17D78FC9", "failure": "0x803")", "api:0x17D78FC9 x1 fail 0x803"},
        {R"("api": "5", "retCode": "0XE0FF0001")", "api:5 x1 retcode 0XE0FF0001"},
        {R"("any": true, "delay": "0x10", "skip": "0x2")", "any x1 skip 2 delay 0x10"},
        {R"("any": true, "size": 16.0)", "any x1 size 16"},
    };
    for (const auto& [fault, script] : numbers)
        EXPECT_EQ(ScriptOfFault(fault), script) << fault;
}

TEST(FaultFile, codes_may_be_negative) {
    for (const auto& [member, action] : {std::pair("failure", "fail"),
                                         {"mailResult", "mailresult"},
                                         {"resultCode", "resultcode"},
                                         {"retCode", "retcode"}}) {
        // -520159231 is 0xe0ff0001.
        EXPECT_EQ(ScriptOfFault("\"any\": true, \"" + std::string(member) + "\": -520159231"),
                  "any x1 " + std::string(action) + " 3774808065")
            << member;
    }
}

TEST(FaultFile, mistakes_in_a_fault_are_told_with_its_place) {
    const std::pair<const char*, const char*> mistakes[] = {
        {R"("failure": 5)", R"(a target is missing: "api", "mail", "command" or "any")"},
        {R"("api": 5)", "what is to happen is missing"},
        {R"("api": 5, "explode": true)", R"("explode" is not known)"},
        {R"("api": 5, "Failure": 1)", R"("Failure" is not known)"},
        {R"("api": 5, "mail": 5, "failure": 1)", R"("api" and "mail" exclude each other)"},
        {R"("any": true, "command": 5, "failure": 1)", R"("command" and "any" exclude each other)"},
        {R"("any": true, "count": 2, "always": true, "failure": 1)",
         R"("count" and "always" exclude each other)"},
        {R"("any": true, "nth": 2, "skip": 2, "failure": 1)",
         R"("nth" and "skip" exclude each other)"},
        {R"("any": true, "unknownClient": true, "failure": 1)",
         R"("failure" and "unknownClient" exclude each other)"},
        {R"("any": true, "empty": true, "bytes": "00")",
         R"("bytes" and "empty" exclude each other)"},
        {R"("any": true, "crash": true, "comeBackAfter": 5)",
         R"("crash" and "comeBackAfter" exclude each other)"},
        {R"("any": true, "crash": true, "restart": true)",
         R"("crash" and "restart" exclude each other)"},
        {R"("any": true, "restart": true, "comeBackAfter": 5)",
         R"("comeBackAfter" and "restart" exclude each other)"},
        {R"("any": false, "failure": 1)", R"("any" can only be true)"},
        {R"("any": 1, "failure": 1)", R"("any" can only be true)"},
        {R"("any": true, "always": false, "failure": 1)", R"("always" can only be true)"},
        {R"("any": true, "unknownClient": false)", R"("unknownClient" can only be true)"},
        {R"("any": true, "empty": "yes")", R"("empty" can only be true)"},
        {R"("any": true, "crash": 86)", R"("crash" can only be true)"},
        {R"("any": true, "restart": null)", R"("restart" can only be true)"},
        {R"("api": -1, "failure": 1)", R"("api" must be a number from 0 on)"},
        {R"("api": "", "failure": 1)", R"("api" must be a number from 0 on)"},
        {R"("mail": "0x", "failure": 1)", R"("mail" must be a number from 0 on)"},
        {R"("command": "2a", "failure": 1)", R"("command" must be a number from 0 on)"},
        {R"("command": "5 crash", "failure": 1)", R"("command" must be a number from 0 on)"},
        {R"("any": true, "count": -1, "failure": 1)", R"("count" must be a number from 0 on)"},
        {R"("any": true, "count": "*", "failure": 1)", R"("count" must be a number from 0 on)"},
        {R"("any": true, "skip": 1.5, "failure": 1)", R"("skip" must be a number from 0 on)"},
        {R"("any": true, "nth": "second", "failure": 1)", R"("nth" must be a number from 0 on)"},
        {R"("any": true, "nth": -2, "failure": 1)", R"("nth" must be a number from 0 on)"},
        {R"("any": true, "failure": true)", R"("failure" must be a number)"},
        {R"("any": true, "failure": -2147483649)", R"("failure" must be a number)"},
        {R"("any": true, "retCode": "0xg")", R"("retCode" must be a number)"},
        {R"("any": true, "mailResult": [1])", R"("mailResult" must be a number)"},
        {R"("any": true, "resultCode": "-1")", R"("resultCode" must be a number)"},
        {R"("any": true, "delay": -1)", R"("delay" must be a number from 0 on)"},
        {R"("any": true, "cut": -1)", R"("cut" must be a number from 0 on)"},
        {R"("any": true, "size": -1)", R"("size" must be a number from 0 on)"},
        {R"("any": true, "comeBackAfter": -1)", R"("comeBackAfter" must be a number from 0 on)"},
        {R"("any": true, "comeBackAfter": true)", R"("comeBackAfter" must be a number from 0 on)"},
        {R"("any": true, "bytes": 5)", R"("bytes" must be a text)"},
        {R"("any": true, "bytes": "-")", R"("bytes" must be hexadecimal digits)"},
        {R"("any": true, "bytes": "00, crash")", R"("bytes" must be hexadecimal digits)"},
        {R"("any": true, "text": {"retCode": 1})", R"("text" must be a text)"},
        {R"("any": true, "omit": "json")", R"("omit" must be a list of fields)"},
        {R"("any": true, "omit": [])", R"("omit" must be a list of fields)"},
        {R"("any": true, "omit": [1])", R"("omit" must be a list of fields)"},
        {R"("any": true, "mistype": ["json, crash"])", R"("mistype" must be a list of fields)"},
        {R"("any": true, "mistype": ["json;any"])", R"("mistype" must be a list of fields)"},
    };
    for (const auto& [fault, reason] : mistakes) {
        EXPECT_EQ(MistakeOf(R"({"faults": [{"any": true, "crash": true}, {)" + std::string(fault) +
                            "}]}"),
                  "fault 2: " + std::string(reason))
            << fault;
    }
}

TEST(FaultFile, what_the_script_would_refuse_is_refused_with_the_place) {
    const std::pair<const char*, const char*> mistakes[] = {
        {R"("any": true, "failure": 4294967296)", "32 bits"},
        {R"("api": 4294967296, "crash": true)", "no number behind"},
        {R"("any": true, "count": 0, "crash": true)", "above 0"},
        {R"("any": true, "nth": 0, "crash": true)", "above 0"},
        {R"("any": true, "delay": 600001)", "at most 600000"},
        {R"("any": true, "comeBackAfter": 600001)", "at most 600000"},
        {R"("any": true, "size": 268435457)", "at most 256 MiB"},
        {R"("any": true, "bytes": "abc")", "pairs of hexadecimal digits"},
        {R"("any": true, "omit": ["everything"])", "does not know this field"},
        {R"("any": true, "omit": [""])", "does not know this field"},
        {R"("any": true, "mistype": ["Json"])", "does not know this field"},
    };
    for (const auto& [fault, reason] : mistakes) {
        const std::string error = MistakeOf("{\"faults\": [{" + std::string(fault) + "}]}");
        EXPECT_TRUE(error.starts_with("fault 1: ")) << error;
        EXPECT_NE(error.find(reason), std::string::npos) << error;
    }
}

TEST(FaultFile, other_files_are_no_fault_files) {
    for (const char* file :
         {"", " ", "{", R"({"faults": [})", R"({"faults": [],})", R"({"faults": [], "faults": []})",
          "{'faults': []}", R"({"faults": []} {})", "\"faults\""}) {
        EXPECT_TRUE(MistakeOf(file).starts_with("no JSON: ")) << file << MistakeOf(file);
    }
    for (const char* file :
         {"{}", "[]", R"({"faults": {}})", R"({"fault": []})", R"({"faults": [], "version": 1})"}) {
        EXPECT_EQ(MistakeOf(file),
                  "a fault file is an object with the list \"faults\" and nothing else")
            << file;
    }
    for (const char* file :
         {R"({"faults": [5]})", R"({"faults": [[]]})", R"({"faults": ["any crash"]})"}) {
        EXPECT_EQ(MistakeOf(file), "fault 1: a fault must be an object") << file;
    }
}

TEST(FaultFile, nesting_without_end_is_a_mistake) {
    const std::string deep = "{\"faults\": " + std::string(100'000, '[');
    EXPECT_TRUE(MistakeOf(deep).starts_with("no JSON: ")) << MistakeOf(deep);
}

}  // namespace
