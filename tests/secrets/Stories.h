#pragma once

#include "tests/secrets/Needles.h"

#include <string>
#include <vector>

// What the scripts are asked to do, with secrets that are easy to tell from anything else in memory. All of it stands
// in blocks that no scan looks at.

namespace Secrets {

/// A parameter as a host gives it.
struct Given {
    std::wstring id;
    int encoding;
    int type;
    std::wstring value;
};

struct Step {
    std::wstring script;
    std::vector<Given> params;
};

/// A life of an executor: it is initialised with access parameters, told its reader, runs what comes before, and then
/// the script under test.
struct Story {
    std::string name;
    std::vector<Given> access;
    std::vector<Step> before;
    Step last;
    bool hasKey = false; ///< a private key of the story's identifier is on the token
};

/// The secrets of a set of stories, and the stories.
struct Book {
    std::string userPin;
    std::string officerPin;
    std::string keyId;
    std::vector<Secret> secrets;
    std::vector<Story> stories;
};

/// Short PINs find room inside a text object, long ones do not.
enum class Pins { Short, Long };

/// Lives to the end of the program.
[[nodiscard]] const Book& book(Pins pins);

} // namespace Secrets
