#include "watch/recorder/Record.h"

#include <charconv>
#include <exception>
#include <limits>
#include <optional>

#include "platform/Process.h"
#include "watch/calls/Messages.h"

namespace watch {

namespace {

/// nullopt for anything but a decimal number above 0.
std::optional<std::uint64_t> numberIn(const std::string& text) noexcept {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number > 0 ? std::optional(number) : std::nullopt;
}

} // namespace

void Record::readEnvironment() {
    m_path = platform::environmentText("P11WATCH_FILE");
    m_older = m_path + ".1";
    m_state = m_path.empty() ? State::Off : State::Closed;
    const std::string limit = platform::environmentText("P11WATCH_LIMIT");
    m_limit = limit.empty() ? std::numeric_limits<std::uint64_t>::max() : numberIn(limit).value_or(0);
    if (m_path.empty()) {
        complain("P11WATCH_FILE names no file");
    } else if (m_limit == 0) {
        m_state = State::Off;
        complain("P11WATCH_LIMIT is not a number of bytes");
    }
}

bool Record::isWanted() noexcept {
    const std::lock_guard lock(m_mutex);
    try {
        if (m_state == State::Unknown) {
            readEnvironment();
        }
    } catch (const std::exception&) {
        m_state = State::Off;
    }
    if (m_state == State::Off) {
        forget();
    }
    return m_state != State::Off;
}

void Record::append(std::string_view line) noexcept {
    const std::lock_guard lock(m_mutex);
    // A call that ends after another thread has finalised the module.
    const bool isLate = m_state == State::Unknown;
    try {
        if (isLate) {
            readEnvironment();
        }
        if (m_state == State::Closed) {
            open();
        }
        if (m_state == State::Open) {
            write(line);
        }
    } catch (const std::exception&) {
        m_hasComplained = true; // memory is short: nothing can be said
    }
    if (isLate || m_state == State::Off) {
        forget();
    }
}

void Record::open() {
    const bool isOpen = m_file.open(m_path.c_str());
    m_state = isOpen ? State::Open : State::Off;
    if (!isOpen) {
        complain("cannot write the record \"" + m_path + "\": " + platform::AppendedFile::lastError());
    }
}

void Record::rotate() {
    if (m_limit == std::numeric_limits<std::uint64_t>::max() ||
        m_file.rotate(m_path.c_str(), m_older.c_str(), m_limit)) {
        return;
    }
    const std::string reason = platform::AppendedFile::lastError();
    if (!m_file.isOpen()) {
        m_state = State::Off;
        complain("cannot write the record \"" + m_path + "\" anew: " + reason);
    } else if (!m_hasComplained) {
        m_hasComplained = true;
        say("p11watch", "cannot rename the record \"" + m_path + "\", which grows over its limit: " + reason);
    }
}

void Record::write(std::string_view line) {
    rotate();
    if (m_state == State::Off) {
        return;
    }
    if (!m_file.isStill()) {
        m_state = State::Off;
        return complain("a library has closed the record \"" + m_path + "\"");
    }
    // Part of a line stays a line of its own, which a reader can leave out.
    if (m_isTorn && m_file.append("\n", 1) != 1) {
        return;
    }
    const std::size_t written = m_file.append(line.data(), line.size());
    m_isTorn = written > 0 && written < line.size();
    if (written != line.size()) {
        complain("cannot write to the record \"" + m_path + "\": " + platform::AppendedFile::lastError());
    }
}

void Record::close() noexcept {
    const std::lock_guard lock(m_mutex);
    forget();
}

void Record::forget() noexcept {
    m_file.close();
    m_state = m_state == State::Off ? State::Off : State::Unknown;
    // Assignment would keep the memory.
    std::string().swap(m_path);
    std::string().swap(m_older);
}

void Record::complain(const std::string& reason) {
    if (!m_hasComplained) {
        m_hasComplained = true;
        say("p11watch", reason + "; calls pass and are not recorded");
    }
}

} // namespace watch
