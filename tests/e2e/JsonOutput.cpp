#include "e2e/JsonOutput.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <memory>
#include <sstream>

std::vector<Json::Value> JsonLines(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::vector<Json::Value> values;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        Json::Value value;
        std::string errors;
        const bool good = reader->parse(line.data(), line.data() + line.size(), &value, &errors);
        EXPECT_TRUE(good) << errors << line;
        values.push_back(good ? value : Json::Value());
    }
    return values;
}

Json::Value OneJsonLine(const std::string& text) {
    const std::vector<Json::Value> values = JsonLines(text);
    EXPECT_EQ(values.size(), 1U) << text;
    return values.empty() ? Json::Value() : values.front();
}
