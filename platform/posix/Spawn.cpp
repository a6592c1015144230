#include "platform/posix/Spawn.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// NOLINTNEXTLINE(readability-redundant-declaration): POSIX leaves it to the program to declare it
extern "C" char** environ;

namespace platform {

namespace {

/// What a new process begins with.
class Beginning {
public:
    Beginning(const SpawnStreams& streams, SpawnSession session) noexcept {
        ::posix_spawn_file_actions_init(&m_files);
        ::posix_spawnattr_init(&m_attributes);
        setStreams(streams);
        setSignals();
        const short own = session == SpawnSession::Own ? POSIX_SPAWN_SETSID : 0;
        ::posix_spawnattr_setflags(&m_attributes,
                                   static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | own));
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;
    ~Beginning() {
        ::posix_spawn_file_actions_destroy(&m_files);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    [[nodiscard]] int start(pid_t& process, char* const* arguments) const noexcept {
        return ::posix_spawnp(&process, arguments[0], &m_files, &m_attributes, arguments, environ);
    }

private:
    void setStreams(const SpawnStreams& streams) noexcept {
        if (streams.input < 0) {
            ::posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        } else {
            ::posix_spawn_file_actions_adddup2(&m_files, streams.input, STDIN_FILENO);
        }
        if (streams.output >= 0) {
            ::posix_spawn_file_actions_adddup2(&m_files, streams.output, STDOUT_FILENO);
        }
        if (streams.errors >= 0) {
            ::posix_spawn_file_actions_adddup2(&m_files, streams.errors, STDERR_FILENO);
        }
    }

    void setSignals() noexcept {
        sigset_t none;
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        sigset_t usual = none;
        for (const int number : {SIGPIPE, SIGXFSZ}) {
            ::sigaddset(&usual, number);
        }
        ::posix_spawnattr_setsigdefault(&m_attributes, &usual);
    }

    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

int spawn(pid_t& process, const std::vector<std::string>& arguments, const SpawnStreams& streams,
          SpawnSession session) {
    std::vector<char*> words;
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    return Beginning(streams, session).start(process, words.data());
}

int exitStatus(int waited) noexcept {
    return WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
}

} // namespace platform
