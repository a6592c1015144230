#pragma once

#include "tests/secrets/Watch.h"

namespace Secrets {

/// Who listens to the trace.
enum class Listener { Nobody, Receiver, JsonFile };

/// Sets the log up for as long as it lives, with every level on. What the receiver is told is searched at once, a file
/// at the end.
class Tracing {
public:
    Tracing(Watch& watch, Listener listener);
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;
    ~Tracing();

    /// Bytes of trace that were searched in this process.
    [[nodiscard]] static unsigned long searched();

private:
    Watch& m_watch;
    int m_file = -1;
};

} // namespace Secrets
