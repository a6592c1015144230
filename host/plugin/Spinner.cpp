#include "host/plugin/Spinner.h"

#include <utility>

#include "host/plugin/Texts.h"
#include "text/Wiped.h"

namespace host {

Spinner::Spinner(std::string label, bool enabled, Write write, std::chrono::milliseconds delay)
    : m_label(std::move(label)), m_write(std::move(write)) {
    if (enabled) {
        m_thread = std::thread([this, delay] {
            turn(delay);
            // A new thread has its creator's vector registers, and the loader saves them on the stack.
            wipeUnusedStack();
        });
    }
}

Spinner::~Spinner() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
    }
    m_stop.notify_one();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void Spinner::turn(std::chrono::milliseconds delay) {
    constexpr std::string_view kPhases = "|/-\\";
    constexpr std::chrono::milliseconds kPause(125);
    const auto start = std::chrono::steady_clock::now();
    std::size_t width = 0;
    std::unique_lock<std::mutex> lock(m_mutex);
    bool stopped = m_stop.wait_for(lock, delay, [this] { return m_stopped; });
    for (std::size_t phase = 0; !stopped; ++phase) {
        const auto seconds =
            std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
        std::string line = "\r";
        line += kPhases[phase % kPhases.size()];
        line.append(" ").append(m_label).append(", ").append(std::to_string(seconds)).append(" s");
        width = columns(line) - 1;
        m_write(line);
        stopped = m_stop.wait_for(lock, kPause, [this] { return m_stopped; });
    }
    if (width > 0) {
        m_write(std::string("\r").append(width, ' ').append("\r"));
    }
}

} // namespace host
