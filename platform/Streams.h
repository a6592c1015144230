#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace platform {

/// Bytes from a file or from a descriptor that is already open. Nothing is read ahead or kept, so that no copy of a
/// secret stays behind. Move-only; closes what it opened.
class InputStream {
public:
    /// Opens the file with this UTF-8 name. Nothing on failure, see lastError.
    [[nodiscard]] static std::optional<InputStream> open(const std::string& path);
    /// Descriptor `number`, which stays the caller's. Whether it is open shows at the first read.
    [[nodiscard]] static InputStream descriptor(int number) noexcept;

    /// Takes standard input for the caller alone: descriptor 0 is the null device from now on, for whoever else reads
    /// there would take what is not meant for them, and `descriptor` does not give out this stream. Call it once.
    [[nodiscard]] static std::optional<InputStream> takeStandardInput() noexcept;

    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;
    InputStream(InputStream&& other) noexcept;
    InputStream& operator=(InputStream&& other) noexcept;
    ~InputStream();

    /// Waits for bytes and copies at most `room` of them. 0 at the end; nothing on failure, see lastError, or when an
    /// interruption came first.
    [[nodiscard]] std::optional<std::size_t> read(char* target, std::size_t room) noexcept;

    /// Goes back to the beginning. Returns false where there is no way back: in a pipe, at a terminal.
    [[nodiscard]] bool rewind() noexcept;

    /// What the system says about this thread's last failure, as text for a person.
    [[nodiscard]] static std::string lastError();

private:
    InputStream(int descriptor, bool owned) noexcept : m_descriptor(descriptor), m_owned(owned) {}
    void close() noexcept;

    int m_descriptor;
    bool m_owned;
};

/// Keeps what was standard output for writeResult alone, and points descriptor 1 at standard error, so that whatever
/// else prints to it cannot damage a result. Call it once, before any library is loaded. Standard descriptors that are
/// closed are opened on the null device first, so that no file takes their number by chance.
void keepStandardOutput() noexcept;

/// Writes UTF-8 text to what was standard output, at once. False when it cannot take it (a closed pipe, a full disk)
/// when a library has closed it and opened a file of its own in its place, or when keepStandardOutput has not been
/// called.
[[nodiscard]] bool writeResult(const char* text, std::size_t length) noexcept;

/// Writes UTF-8 text to what keepStandardOutput found as standard error, at once. Failures are ignored: there is
/// nowhere left to tell them.
void writeMessage(const char* text, std::size_t length) noexcept;

} // namespace platform
