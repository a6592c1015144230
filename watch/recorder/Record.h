#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/AppendedFile.h"

namespace watch {

/// The file that P11WATCH_FILE names, opened with the first line and closed when the module is finalised. With
/// P11WATCH_LIMIT (bytes) it becomes FILE.1 when it is full. When it cannot be written, lines are dropped and standard
/// error says so once.
class Record {
public:
    /// Returns false when no file is named, or it could not be opened: nothing needs to be written down then.
    [[nodiscard]] bool isWanted() noexcept;
    /// Appends a line with its line end, in one write.
    void append(std::string_view line) noexcept;
    /// Until the next line comes.
    void close() noexcept;

    // Around a fork, so that no other thread holds the child's lock.
    void lock() noexcept { m_mutex.lock(); }
    void unlock() noexcept { m_mutex.unlock(); }

private:
    enum class State { Unknown, Closed, Open, Off };

    void readEnvironment();
    /// Holds neither the file nor memory: the library may be unloaded next.
    void forget() noexcept;
    void open();
    void complain(const std::string& reason);
    void rotate();
    void write(std::string_view line);

    std::mutex m_mutex;
    State m_state = State::Unknown;
    platform::AppendedFile m_file;
    std::string m_path;
    std::string m_older;
    std::uint64_t m_limit = 0;
    bool m_hasComplained = false;
    bool m_isTorn = false; ///< the last line was written in part
};

} // namespace watch
