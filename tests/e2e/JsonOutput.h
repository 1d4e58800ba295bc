#pragma once

#include <json/value.h>

#include <string>
#include <vector>

// The values of a program's output, one per line. A line that is no JSON is a test failure and
// gives null.
std::vector<Json::Value> JsonLines(const std::string& text);

// The one value of an output that must be exactly one line.
Json::Value OneJsonLine(const std::string& text);
