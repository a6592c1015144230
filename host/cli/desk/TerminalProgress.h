#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/cli/desk/ProgressBlock.h"
#include "host/plugin/Output.h"

namespace host {

/// Progress on a terminal: a block of lines that is redrawn in place by a thread of its own, and above it what has to
/// stay. Between two frames the cursor is visible, on the line below the block, and lines wrap as they did: a process
/// that is killed leaves a terminal that is in order. A terminal that takes nothing holds up no card.
class TerminalProgress final : public desk::Progress {
public:
    /// `window` returns the size of the terminal, each time anew. `output` has to outlive it.
    TerminalProgress(const Output& output, std::function<platform::TerminalWindow()> window);
    TerminalProgress(const TerminalProgress&) = delete;
    TerminalProgress& operator=(const TerminalProgress&) = delete;
    /// Leaves the bar and what was said.
    ~TerminalProgress() override;

    void tell(const desk::Event& event) override;
    void tellStand(const desk::Stand& stand) override;

private:
    void redraw();
    [[nodiscard]] std::string nextFrame(bool isLast);

    const Output& m_output;
    std::function<platform::TerminalWindow()> m_window;
    std::mutex m_mutex; ///< of all that follows
    std::condition_variable m_change;
    ProgressBlock m_block;
    std::string m_above; ///< what is to stay above the block and was not written yet
    std::string m_below; ///< what the run came to
    std::vector<std::string> m_drawn;
    bool m_hasChanged = false;
    bool m_isEnding = false;
    std::thread m_thread; ///< last: it begins when all else is there
};

} // namespace host
