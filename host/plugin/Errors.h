#pragma once

#include <stdexcept>
#include <string>

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

/// Something was not done for safety, before anything was sent to the token.
class RefusedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The program was asked to end, for example by Ctrl-C. The script under way has ended, and no other one begins. The
/// message says so, and what state the token is in as far as that is known.
class Interrupted : public std::runtime_error {
public:
    Interrupted() : std::runtime_error("interrupted; what was under way has ended, and nothing more was begun") {}
    explicit Interrupted(const std::string& state) : std::runtime_error("interrupted" + state) {}
};

/// Throws Interrupted when an interruption was noted.
void endIfInterrupted();

} // namespace host
