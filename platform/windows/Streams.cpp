#include "platform/Streams.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <system_error>
#include <vector>
#include <windows.h>

#include "platform/Interruption.h"
#include "platform/windows/InterruptibleWait.h"
#include "text/Utf8.h"

namespace platform {

namespace {

constexpr unsigned int kLargestTransfer = 1U << 20;

HANDLE g_results = INVALID_HANDLE_VALUE;
int g_input = -1;

bool isConsole(HANDLE handle) noexcept {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0;
}

bool writeConsole(HANDLE handle, const char* text, std::size_t length) {
    const std::wstring wide = text::toWide({text, length});
    std::size_t left = wide.size();
    const wchar_t* next = wide.data();
    while (left > 0) {
        DWORD written = 0;
        const DWORD part = static_cast<DWORD>(left < 8192 ? left : 8192);
        if (WriteConsoleW(handle, next, part, &written, nullptr) == 0 || written == 0) {
            return false;
        }
        next += written;
        left -= written;
    }
    return true;
}

bool writeBytes(HANDLE handle, const char* text, std::size_t length) noexcept {
    while (length > 0) {
        DWORD written = 0;
        const DWORD part = static_cast<DWORD>(length < kLargestTransfer ? length : kLargestTransfer);
        if (WriteFile(handle, text, part, &written, nullptr) == 0 || written == 0) {
            return false;
        }
        text += written;
        length -= written;
    }
    return true;
}

bool writeAll(HANDLE handle, const char* text, std::size_t length) noexcept {
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr) {
        return false;
    }
    try {
        return isConsole(handle) ? writeConsole(handle, text, length) : writeBytes(handle, text, length);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

std::optional<InputStream> InputStream::open(const std::string& path) {
    const int descriptor = _wopen(text::toWide(path).c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
    if (descriptor < 0) {
        return std::nullopt;
    }
    return InputStream(descriptor, true);
}

bool InputStream::rewind() noexcept {
    // Seeking in a pipe is undefined.
    const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(m_descriptor));
    return ::GetFileType(file) == FILE_TYPE_DISK && _lseeki64(m_descriptor, 0, SEEK_SET) == 0;
}

InputStream InputStream::descriptor(int number) noexcept {
    _setmode(number, _O_BINARY);
    return InputStream(number == g_input ? -1 : number, false);
}

std::optional<InputStream> InputStream::takeStandardInput() noexcept {
    const int null = _open("NUL", _O_RDONLY | _O_BINARY | _O_NOINHERIT);
    g_input = _dup(0);
    const bool isTaken = null >= 0 && g_input >= 0 && _dup2(null, 0) == 0;
    _close(null);
    if (!isTaken) {
        return std::nullopt;
    }
    _setmode(g_input, _O_BINARY);
    // Libraries with a runtime of their own use the handle.
    SetStdHandle(STD_INPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(0)));
    return InputStream(g_input, true);
}

void InputStream::close() noexcept {
    if (m_owned) {
        _close(m_descriptor);
        m_owned = false;
    }
}

std::optional<std::size_t> InputStream::read(char* target, std::size_t room) noexcept {
    const unsigned int wanted = room < kLargestTransfer ? static_cast<unsigned int>(room) : kLargestTransfer;
    const InterruptibleWait wait;
    const int count = interruption() == 0 ? _read(m_descriptor, target, wanted) : -1;
    if (count < 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(count);
}

bool InputStream::waitFor(std::chrono::milliseconds limit) const noexcept {
    using Clock = std::chrono::steady_clock;
    constexpr DWORD kPause = 10;
    const auto pipe = reinterpret_cast<HANDLE>(_get_osfhandle(m_descriptor));
    const Clock::time_point begin = Clock::now();
    while (interruption() == 0) {
        DWORD available = 0;
        // Fails at the end of a pipe, and for what is no pipe.
        if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == 0 || available > 0) {
            return true;
        }
        if (Clock::now() - begin >= limit) {
            return false;
        }
        Sleep(kPause);
    }
    return false;
}

bool InputStream::isOpenToOthers() const noexcept {
    return false;
}

bool InputStream::isStandardInput() const noexcept {
    return false;
}

std::string InputStream::lastError() {
    return std::generic_category().message(errno);
}

void keepStandardOutput() noexcept {
    const HANDLE process = GetCurrentProcess();
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (output != INVALID_HANDLE_VALUE && output != nullptr) {
        DuplicateHandle(process, output, process, &g_results, 0, FALSE, DUPLICATE_SAME_ACCESS);
    }
    // Both ways to standard output are redirected: the C runtime's descriptor, and the handle that a library with a
    // runtime of its own uses.
    const HANDLE errors = GetStdHandle(STD_ERROR_HANDLE);
    if (errors == INVALID_HANDLE_VALUE || errors == nullptr || _dup2(2, 1) != 0) {
        const int null = _open("NUL", _O_WRONLY);
        _dup2(null, 1);
    }
    SetStdHandle(STD_OUTPUT_HANDLE, errors);
}

bool writeResult(const char* text, std::size_t length) noexcept {
    return writeAll(g_results, text, length);
}

std::optional<TerminalWindow> resultWindow() noexcept {
    DWORD mode = 0;
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (GetConsoleMode(g_results, &mode) == 0 || GetConsoleScreenBufferInfo(g_results, &info) == 0) {
        return std::nullopt;
    }
    constexpr DWORD kSequences = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
    if ((mode & kSequences) != kSequences && SetConsoleMode(g_results, mode | kSequences) == 0) {
        return std::nullopt; // Windows before 10
    }
    const SMALL_RECT& window = info.srWindow;
    return TerminalWindow{static_cast<std::size_t>(window.Right - window.Left + 1),
                          static_cast<std::size_t>(window.Bottom - window.Top + 1)};
}

void writeMessage(const char* text, std::size_t length) noexcept {
    [[maybe_unused]] const bool written = writeAll(GetStdHandle(STD_ERROR_HANDLE), text, length);
}

} // namespace platform
