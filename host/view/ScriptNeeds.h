#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace host {

/// What a script needs of the token, beside being there.
enum TokenNeed : unsigned int {
    kInitialised = 1U << 0U, ///< it opens a session
    kWritable = 1U << 1U,    ///< the session is a read/write one
    kUserPin = 1U << 2U,     ///< a user PIN that is set and not locked
    kOfficerPin = 1U << 3U,  ///< the security officer's PIN is not locked
    kSomePin = 1U << 4U,     ///< one of the two PINs is not locked
    kMakesRsaKeys = 1U << 5U,
    kSignsWithRsa = 1U << 6U,
};

/// What one kind of object needs beside what its script needs for all of them.
struct ObjectNeeds {
    const char* type; ///< value of OBJ_TYPE
    std::vector<const char*> functions;
};

/// What a script calls when all goes well, alone or behind others of the same executor: without one of these functions
/// it fails, or leaves the card logged in.
struct ScriptNeeds {
    const char* script;
    std::vector<const char*> functions;
    unsigned int token;               ///< sum of TokenNeed
    std::vector<ObjectNeeds> objects; ///< for kinds of objects that need more
};

/// One row for each script, in the order of the scripts' table.
[[nodiscard]] std::span<const ScriptNeeds> scriptNeeds();

} // namespace host
