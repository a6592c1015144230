#pragma once

#include <optional>
#include <string>

#include "host/plugin/FailureNotes.h"

namespace host {

/// Under which circumstances a script failed.
struct Circumstances {
    std::string where = {}; ///< the text before the script's name in a message: "step 3: "
    std::string script;     ///< "signData"
    bool isInJob = false;   ///< earlier and later steps may use the same executor
    Failures failures = {}; ///< failures in the plug-in's trace
};

/// What a failure means to a person.
struct Advice {
    std::string result;  ///< PKCS #11 result behind it, "CKR_PIN_INCORRECT"; empty when the trace names no result
    std::string meaning; ///< what happened
    std::string remedy;  ///< what can be done about it
};

/// What the client error code `code` means under these circumstances.
[[nodiscard]] Advice adviceFor(unsigned int code, const Circumstances& circumstances);

/// As adviceFor, for a script that reported success and gave no result: by the last call that failed.
[[nodiscard]] Advice adviceForSilence(const Circumstances& circumstances);

} // namespace host
