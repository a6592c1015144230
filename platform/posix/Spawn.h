#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace platform {

/// The standard streams of a new program. -1: the null device as input, our own as an output.
struct SpawnStreams {
    int input = -1;
    int output = -1;
    int errors = -1;
};

enum class SpawnSession { Ours, Own };

/// Starts the first of `arguments`, which is found along PATH, with the signals as every program expects them: ours are
/// blocked or ignored. In a session of its own it has no terminal and leads a process group. Returns 0 or an errno.
[[nodiscard]] int spawn(pid_t& process, const std::vector<std::string>& arguments, const SpawnStreams& streams,
                        SpawnSession session);

/// The exit status that waitpid has given; 128 + the number of the signal that ended the process.
[[nodiscard]] int exitStatus(int waited) noexcept;

} // namespace platform
