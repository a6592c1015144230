#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace host {

/// Shows a person at a terminal that a slow call is running: one line with a turning mark and the seconds, drawn after
/// `delay` and erased by the destructor. Writes nothing when it is not enabled.
class Spinner {
public:
    using Write = std::function<void(std::string_view)>;

    static constexpr std::chrono::milliseconds kDelay{500};

    Spinner(std::string label, bool enabled, Write write, std::chrono::milliseconds delay = kDelay);
    Spinner(const Spinner&) = delete;
    Spinner& operator=(const Spinner&) = delete;
    ~Spinner();

private:
    void turn(std::chrono::milliseconds delay);

    std::string m_label;
    Write m_write;
    std::mutex m_mutex;
    std::condition_variable m_stop;
    bool m_stopped = false;
    std::thread m_thread;
};

} // namespace host
