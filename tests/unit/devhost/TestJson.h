#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <sstream>
#include <stdexcept>
#include <string>

// JSON text as a value; raises on bad text, so that a test's own mistake shows.
inline Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::istringstream in(text);
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), in, &value, &errors)) {
        throw std::invalid_argument(errors);
    }
    return value;
}
