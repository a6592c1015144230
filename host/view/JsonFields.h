#pragma once

#include <string>

#include "host/plugin/Answers.h"

// Fields of a report, which a module's answers fill: one that is missing or of another type is empty.

namespace host {

[[nodiscard]] inline std::string textIn(const Json& object, const char* key) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

[[nodiscard]] inline Json listIn(const Json& object, const char* key) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_array() ? *found : Json::array();
}

[[nodiscard]] inline bool holds(const Json& object, const char* key) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

} // namespace host
