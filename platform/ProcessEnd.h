#pragma once

namespace platform {

/// While this object lives, a library cannot end the process as a success: when one calls exit or quick_exit (on
/// Windows ExitProcess too), `message` goes to standard error and the exit status is `status`. _exit, TerminateProcess
/// and signals cannot be caught. Make one object, before libraries are loaded.
class OwnProcessEnd {
public:
    /// `message` (UTF-8) must live as long as the object.
    OwnProcessEnd(const char* message, int status) noexcept;
    OwnProcessEnd(const OwnProcessEnd&) = delete;
    OwnProcessEnd& operator=(const OwnProcessEnd&) = delete;
    ~OwnProcessEnd();
};

} // namespace platform
