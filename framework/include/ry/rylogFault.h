#pragma once

#include <cstdint>

#include "zel/Export.h"

// For a host that promises a whole trace; those who only write messages need it not.

extern "C" {

/// What went wrong with the file that the log goes to.
enum class RylogFault : std::uint32_t {
    None = 0,
    NotOpened = 1,  ///< it cannot be opened, or is refused; the log is silent
    Incomplete = 2, ///< something could not be written: the disk is full
};

/// To be asked before the work and after it. Counts since rylogSetUp, or since the environment was read, which happens
/// now if it has not yet.
RYLOG_API RylogFault rylogFault() noexcept;

} // extern "C"
