#pragma once

#if !defined(_WIN32)
#include <cxxabi.h>
#endif

namespace platform {

#if defined(_WIN32)
/// Never thrown: no thread is ended by unwinding here.
class ForcedUnwind {
    ForcedUnwind() = delete;
};
#else
/// What passes through the frames of a thread that is cancelled or that ends itself. A handler of all exceptions has to
/// let it pass: the C library ends the process otherwise.
using ForcedUnwind = abi::__forced_unwind;
#endif

} // namespace platform
