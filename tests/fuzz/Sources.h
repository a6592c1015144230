#pragma once

#include <string_view>

namespace Fuzz {

/// Whether a kind of parameter takes its value from somewhere else.
inline bool isSource(std::string_view kind) {
    return kind == "file" || kind == "secret" || kind == "env" || kind == "prompt" || kind == "fd";
}

/// Whether reading the parameter would wait for a person, or reach something outside the working folder: a fuzzer stays
/// away from both.
inline bool readsElsewhere(std::string_view kind, std::string_view value) {
    const bool isPath = kind == "file" || kind == "secret";
    return kind == "prompt" || kind == "fd" || (isPath && value.find_first_of("/\\:") != std::string_view::npos);
}

} // namespace Fuzz
