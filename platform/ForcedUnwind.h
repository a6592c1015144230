#pragma once

#include <version>

#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

namespace platform {

/// What passes through the frames of a thread that is cancelled or ends itself. A handler of all exceptions has to let
/// it pass: glibc ends the process otherwise. Where threads do not end so, nothing ever throws it.
#if defined(__GLIBCXX__)
using ForcedUnwind = abi::__forced_unwind;
#else
class ForcedUnwind {
    ForcedUnwind() = delete;
};
#endif

} // namespace platform
