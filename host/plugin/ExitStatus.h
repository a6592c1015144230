#pragma once

namespace host {

/// What the process ends with, so that a shell script can decide. For a job: that of its first failure.
enum class ExitStatus : int {
    Success = 0,
    Failed = 1,   ///< an operation failed in another way than those below, or threw
    Usage = 2,    ///< wrong usage, or a malformed job
    NoPlugin = 3, ///< the plug-in could not be loaded, or gave no usable executor
    NotFound = 4, ///< object or key not found
    PinWrong = 5,
    PinLocked = 6,    ///< PIN locked or expired
    NoToken = 7,      ///< token absent, removed or not recognised
    BadParameter = 8, ///< a parameter is missing or bad
    Refused = 9,      ///< refused for safety before anything was sent to the token
};

} // namespace host
