#pragma once

#include <cstdint>

#include "zel/Export.h"

// For hosts that promise a complete trace. Code that only writes messages does not need this header.

extern "C" {

/// What went wrong with the file that the log goes to.
enum class RylogFault : std::uint32_t {
    None = 0,
    NotOpened = 1,  ///< it cannot be opened, or is refused; the log is silent
    Incomplete = 2, ///< something could not be written: the disk is full
    TakenAway = 3,  ///< a library of this process has closed the file's descriptor; what came later is lost
};

/// Ask before and after the work. Reports faults since rylogSetUp or since the environment was read; reads the
/// environment now if that has not happened yet.
RYLOG_API RylogFault rylogFault() noexcept;

} // extern "C"
