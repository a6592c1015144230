#pragma once

namespace platform {

/// While it lives, the process ends with the program's own status or with a failure: when a library ends it by exit or
/// quick_exit (on Windows by ExitProcess too), `message` goes to standard error and the status is `status`. _exit,
/// TerminateProcess and signals cannot be caught. Make one, before libraries are loaded.
class OwnProcessEnd {
public:
    /// `message` (UTF-8) must live as long as the object.
    OwnProcessEnd(const char* message, int status) noexcept;
    OwnProcessEnd(const OwnProcessEnd&) = delete;
    OwnProcessEnd& operator=(const OwnProcessEnd&) = delete;
    ~OwnProcessEnd();
};

} // namespace platform
