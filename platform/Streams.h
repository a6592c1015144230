#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace platform {

/// Bytes from a file or from a descriptor that is already open. Nothing is read ahead or kept, so that no copy of a
/// secret stays behind. Move-only; closes what it opened.
class InputStream {
public:
    /// Opens the file with this UTF-8 name. nullopt on failure; see lastError.
    [[nodiscard]] static std::optional<InputStream> open(const std::string& path);
    /// Reads from descriptor `number`, which the caller keeps. A closed descriptor fails at the first read.
    [[nodiscard]] static InputStream descriptor(int number) noexcept;

    /// Reads from descriptor `number`, which is closed with this object.
    [[nodiscard]] static InputStream adopt(int number) noexcept { return InputStream(number, true); }

    /// Takes standard input for the caller alone: from now on descriptor 0 is the null device, so that no library reads
    /// what is not meant for it, and `descriptor` does not return this stream. Call it once.
    [[nodiscard]] static std::optional<InputStream> takeStandardInput() noexcept;

    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;
    InputStream(InputStream&& other) noexcept;
    InputStream& operator=(InputStream&& other) noexcept;
    ~InputStream();

    /// Waits for bytes, copies at most `room` of them and returns their number, 0 at the end. nullopt on failure (see
    /// lastError) and after an interruption.
    [[nodiscard]] std::optional<std::size_t> read(char* target, std::size_t room) noexcept;

    /// Waits until a pipe has bytes, has ended or has failed, so that `read` does not wait; what is no pipe on Windows
    /// does not wait at all. Returns false when `limit` has passed, and after an interruption.
    [[nodiscard]] bool waitFor(std::chrono::milliseconds limit) const noexcept;

    /// Returns true when others than the owner have any right to the file that is open here. Always false on Windows.
    [[nodiscard]] bool isOpenToOthers() const noexcept;

    /// Returns true when this is the file or pipe that descriptor 0 reads, opened by a name such as "/dev/stdin".
    /// Always false on Windows.
    [[nodiscard]] bool isStandardInput() const noexcept;

    /// Goes back to the beginning. Returns false where there is no way back: in a pipe, at a terminal.
    [[nodiscard]] bool rewind() noexcept;

    /// The system's message for this thread's last failure.
    [[nodiscard]] static std::string lastError();

private:
    InputStream(int descriptor, bool owned) noexcept : m_descriptor(descriptor), m_owned(owned) {}
    void close() noexcept;

    int m_descriptor;
    bool m_owned;
};

/// Keeps standard output for writeResult alone and points descriptor 1 at standard error, so that what a library prints
/// cannot damage a result. Call it once, before any library is loaded. Closed standard descriptors are first opened on
/// the null device, so that no later file gets their numbers.
void keepStandardOutput() noexcept;

/// Writes UTF-8 text to the kept standard output, at once. Returns false when that fails (a closed pipe, a full disk),
/// when a library has closed the descriptor and its own file has the number, and before keepStandardOutput.
[[nodiscard]] bool writeResult(const char* text, std::size_t length) noexcept;

/// The window of a terminal, in characters.
struct TerminalWindow {
    std::size_t columns = 0;
    std::size_t lines = 0;
};

/// The window of the terminal to which writeResult writes, as it is now, made ready for the escape sequences that move
/// the cursor. nullopt when writeResult does not write to a terminal, or when it takes no such sequences.
[[nodiscard]] std::optional<TerminalWindow> resultWindow() noexcept;

/// Writes UTF-8 text to the standard error that keepStandardOutput found, at once. Failures are ignored, because no
/// other place is left to report them.
void writeMessage(const char* text, std::size_t length) noexcept;

} // namespace platform
