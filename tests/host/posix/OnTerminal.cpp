#include "tests/host/posix/OnTerminal.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "tests/host/posix/Become.h"

namespace tests {

namespace {

termios stateOf(int terminal) {
    termios state = {};
    EXPECT_EQ(::tcgetattr(terminal, &state), 0);
    return state;
}

bool isSame(const termios& a, const termios& b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_lflag == b.c_lflag && a.c_cflag == b.c_cflag;
}

void resize(int terminal) {
    const winsize size = {.ws_row = 12, .ws_col = 40, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(::ioctl(terminal, TIOCSWINSZ, &size), 0);
}

/// Answers questions as they appear.
class Conversation {
public:
    Conversation(int terminal, const std::vector<Turn>& turns) : m_terminal(terminal), m_turns(turns) {}

    void hear(const std::string& shown, TerminalOutcome& outcome) {
        for (; m_next < m_turns.size(); ++m_next) {
            const Turn& turn = m_turns[m_next];
            const std::size_t found = shown.find(turn.question, m_from);
            if (found == std::string::npos) {
                return;
            }
            m_from = found + turn.question.size();
            answer(turn, outcome);
        }
    }

    [[nodiscard]] bool isOver() const { return m_next == m_turns.size(); }

private:
    void answer(const Turn& turn, TerminalOutcome& outcome) const {
        outcome.echoes.push_back((stateOf(m_terminal).c_lflag & ECHO) != 0);
        if (turn.isResized) {
            resize(m_terminal);
        }
        const std::string& typed = turn.answer;
        EXPECT_EQ(::write(m_terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    }

    int m_terminal;
    const std::vector<Turn>& m_turns;
    std::size_t m_next = 0;
    std::size_t m_from = 0;
};

} // namespace

bool hasTerminals() {
    int terminal = -1;
    int program = -1;
    if (::openpty(&terminal, &program, nullptr, nullptr, nullptr) != 0) {
        return false;
    }
    ::close(terminal);
    ::close(program);
    return true;
}

TerminalOutcome runOnTerminal(const Words& arguments, const std::vector<Turn>& turns, const Environment& environment) {
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        become(arguments, environment);
    }
    TerminalOutcome outcome;
    const termios before = stateOf(terminal);
    Conversation conversation(terminal, turns);
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;) {
        outcome.shown.append(bytes, static_cast<std::size_t>(count));
        conversation.hear(outcome.shown, outcome);
    }
    outcome.isRestored = isSame(before, stateOf(terminal));
    ::close(terminal);
    int status = 0;
    ::waitpid(process, &status, 0);
    EXPECT_TRUE(conversation.isOver()) << "not every question came:\n" << outcome.shown;
    outcome.shown += "status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return outcome;
}

} // namespace tests
