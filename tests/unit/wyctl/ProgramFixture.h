#pragma once

#include <gtest/gtest.h>
#include <json/value.h>

#include <sstream>
#include <string>
#include <vector>

#include "FakeSdk.h"
#include "FakeTerminal.h"
#include "wyctl/JsonText.h"
#include "wyctl/Program.h"

// Whole command lines, on a library that records its calls.
class ProgramFixture : public ::testing::Test {
protected:
    int Run(std::vector<std::string> arguments) {
        m_Terminal.out.clear();
        m_Terminal.err.clear();
        FakeSdk::Get().calls.clear();
        return WyCtl::RunProgram(arguments, m_Terminal, m_Loader);
    }

    // The JSON object on each line of stdout.
    std::vector<Json::Value> JsonLines() const {
        std::vector<Json::Value> lines;
        std::istringstream text(m_Terminal.out);
        std::string line;
        while (std::getline(text, line)) {
            const auto value = WyCtl::ParseJson(line);
            EXPECT_TRUE(value.has_value()) << line;
            lines.push_back(value.value_or(Json::Value()));
        }
        return lines;
    }

    Json::Value OneJson() const {
        const auto lines = JsonLines();
        EXPECT_EQ(lines.size(), 1U) << m_Terminal.out;
        return lines.empty() ? Json::Value() : lines[0];
    }

    WyCtl::LibraryLoader m_Loader = FakeSdk::Reset();
    FakeTerminal m_Terminal;
};
