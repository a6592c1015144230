#pragma once

#include <version>

#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

namespace platform {

/// The exception that unwinds a thread which is cancelled or ends itself. A handler of all exceptions has to rethrow
/// it, because glibc ends the process otherwise. Other systems never throw it.
#if defined(__GLIBCXX__)
using ForcedUnwind = abi::__forced_unwind;
#else
class ForcedUnwind {
    ForcedUnwind() = delete;
};
#endif

} // namespace platform
