#include "host/cli/desk/TerminalProgress.h"

#include <chrono>
#include <utility>

#include "host/cli/desk/ProgressLines.h"
#include "text/Wiped.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kPause{150}; ///< between two frames at least
constexpr std::chrono::seconds kTick{1};

// The sequences of ECMA-48 and of the VT100 that all terminals of today know.
constexpr const char* kEraseBelow = "\x1B[J";
constexpr const char* kWrapOff = "\x1B[?7l"; ///< a terminal may find a character wider than we do
constexpr const char* kWrapOn = "\x1B[?7h";

bool stays(desk::Event::Kind kind) {
    switch (kind) {
    case desk::Event::Kind::Begun:
    case desk::Event::Kind::Resumed:
    case desk::Event::Kind::Step:
    case desk::Event::Kind::Done:
        return false;
    default:
        return true;
    }
}

} // namespace

TerminalProgress::TerminalProgress(const Output& output, std::function<platform::TerminalWindow()> window)
    : m_output(output), m_window(std::move(window)), m_thread([this] {
          redraw();
          // A new thread has its creator's vector registers, and the loader saves them on the stack.
          wipeUnusedStack();
      }) {}

TerminalProgress::~TerminalProgress() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
    }
    m_change.notify_one();
    m_thread.join();
}

void TerminalProgress::tell(const desk::Event& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_block.take(event, ProgressBlock::Clock::now());
    std::string& target = event.kind == desk::Event::Kind::End ? m_below : m_above;
    target += stays(event.kind) ? linesOf(event) : "";
    m_hasChanged = true;
    m_change.notify_one();
}

void TerminalProgress::tellStand(const desk::Stand& stand) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_block.take(stand, ProgressBlock::Clock::now());
    m_hasChanged = true;
    m_change.notify_one();
}

void TerminalProgress::redraw() {
    std::unique_lock<std::mutex> lock(m_mutex);
    bool isLast = false;
    while (!isLast) {
        m_change.wait_for(lock, kTick, [this] { return m_hasChanged || m_isEnding; });
        isLast = m_isEnding;
        const std::string frame = nextFrame(isLast);
        lock.unlock();
        if (!frame.empty()) {
            // Whoever has closed the terminal does not end the batch.
            [[maybe_unused]] const bool isWritten = m_output.result(frame);
        }
        lock.lock();
        m_change.wait_for(lock, kPause, [this] { return m_isEnding; });
    }
}

std::string TerminalProgress::nextFrame(bool isLast) {
    m_hasChanged = false;
    const platform::TerminalWindow window = m_window();
    std::vector<std::string> lines =
        isLast ? m_block.lastLines(window) : m_block.lines(window, ProgressBlock::Clock::now());
    const bool hasText = !m_above.empty() || (isLast && !m_below.empty());
    if (lines == m_drawn && !hasText) {
        return "";
    }
    std::string frame = "\r";
    if (!m_drawn.empty()) {
        frame += "\x1B[" + std::to_string(m_drawn.size()) + "A";
    }
    frame += kEraseBelow;
    frame += std::exchange(m_above, "") + kWrapOff;
    for (const std::string& line : lines) {
        frame += line + "\n";
    }
    frame += kWrapOn;
    frame += isLast ? m_below : "";
    m_drawn = std::move(lines);
    return frame;
}

} // namespace host
