#pragma once

#include "tests/conformance/Params.h"

#include <string>

// Requests that say a keyword again and again, and the templates that come of it.

namespace Conformance {

/// The same plain parameter so many times.
[[nodiscard]] inline Params repeated(int times, const std::string& id, const std::string& value) {
    Params params;
    for (int i = 0; i < times; ++i) {
        params.plain(id, value);
    }
    return params;
}

/// So many times a blank and the entry: " CKA_ID=01 CKA_ID=01".
[[nodiscard]] inline std::string repeatedEntry(int times, const std::string& entryText) {
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += " " + entryText;
    }
    return text;
}

} // namespace Conformance
