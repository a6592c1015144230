#pragma once

#include <string>
#include <vector>

#include "tests/host/Child.h"

namespace tests {

/// What appears on a terminal, and what is then typed.
struct Turn {
    std::string question;
    std::string answer;
    bool isResized = false; ///< the terminal gets another size before the answer
};

/// What a program showed on a terminal of its own.
struct TerminalOutcome {
    std::string shown;        ///< ends with "status N"
    std::vector<bool> echoes; ///< of each question: whether the terminal shows what is typed
    bool isRestored = false;  ///< the terminal stands at the end as it stood at the start
};

/// Returns true when this machine gives us pseudo-terminals.
[[nodiscard]] bool hasTerminals();

/// Runs a program with a terminal as its controlling one and as all three standard streams. Every question has to
/// appear.
[[nodiscard]] TerminalOutcome runOnTerminal(const Words& arguments, const std::vector<Turn>& turns = {},
                                            const Environment& environment = {});

} // namespace tests
