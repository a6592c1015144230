#pragma once

#include <cstddef>

#include "watch/calls/Functions.h"
#include "watch/record/RecordReader.h"
#include "watch/replay/Handles.h"

namespace watch {

struct HandleMaps {
    Handles sessions;
    Handles objects;
};

/// How far a recorded call is from one that the program makes.
struct Distance {
    bool isPossible = false;   ///< session, object, slot and mechanism are the same
    std::size_t different = 0; ///< other arguments that differ
    [[nodiscard]] bool isExact() const noexcept { return isPossible && different == 0; }
};

/// Compares "in" of a recorded call with that of the program's call, which has the program's handles. What is masked in
/// either is equal to everything of its length; the room for outputs does not count, nor do the arguments of
/// C_Initialize and the length of a mechanism's parameter.
[[nodiscard]] Distance distance(const Function& function, const Json& recorded, const Json& made,
                                const HandleMaps& handles);

} // namespace watch
