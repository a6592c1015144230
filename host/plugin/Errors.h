#pragma once

#include <stdexcept>

namespace host {

/// Something that the person or the program that drives us has to put right: an argument, a file, a step of a job.
/// The message is UTF-8, says what and where, and never holds a value that may be a secret.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The plug-in cannot be loaded, or gives no executor that can be used.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace host
