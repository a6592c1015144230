#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace host {

/// Tells a person at a terminal that something slow is going on: one line that turns and counts the seconds, drawn only
/// after `delay`, and gone without a trace when the object goes. Writes nothing at all when it is not enabled.
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
