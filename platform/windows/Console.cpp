#include "platform/Console.h"

#include <cstring>
#include <windows.h>

#include "platform/Interruption.h"
#include "platform/windows/InterruptibleWait.h"
#include "text/SecureZero.h"
#include "text/Utf8.h"

namespace platform {

namespace {

HANDLE g_console = INVALID_HANDLE_VALUE;
DWORD g_modeBefore = 0;

/// Windows calls it on a thread of its own after Ctrl-C; the usual end of the process follows.
BOOL WINAPI restoreEcho(DWORD) {
    SetConsoleMode(g_console, g_modeBefore);
    return FALSE;
}

HANDLE openConsole(const wchar_t* name) noexcept {
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       0, nullptr);
}

void show(const char* text) noexcept {
    const HANDLE output = openConsole(L"CONOUT$");
    if (output == INVALID_HANDLE_VALUE) {
        return;
    }
    wchar_t wide[512];
    const std::size_t length = text::utf8ToWide(text, std::strlen(text), wide, 512);
    DWORD written = 0;
    WriteConsoleW(output, wide, static_cast<DWORD>(length), &written, nullptr);
    CloseHandle(output);
}

std::optional<std::size_t> readLine(HANDLE console, char* line, std::size_t room) noexcept {
    constexpr DWORD kRoom = 1024;
    wchar_t wide[kRoom];
    DWORD length = 0;
    std::optional<std::size_t> result;
    // The end-of-file key (Ctrl+Z) arrives as an ordinary character. A line without a line end is not an answer.
    const InterruptibleWait wait;
    if (interruption() == 0 && ReadConsoleW(console, wide, kRoom, &length, nullptr) != 0 && length > 0) {
        while (length > 0 && (wide[length - 1] == L'\n' || wide[length - 1] == L'\r')) {
            --length;
        }
        result = text::wideToUtf8(wide, length, line, room);
    }
    text::secureZero(wide, sizeof wide);
    return result;
}

std::optional<std::size_t> askConsole(DWORD echo, const char* prompt, char* line, std::size_t room) noexcept {
    const HANDLE console = openConsole(L"CONIN$");
    DWORD mode = 0;
    if (console == INVALID_HANDLE_VALUE || GetConsoleMode(console, &mode) == 0) {
        return std::nullopt;
    }
    g_console = console;
    g_modeBefore = mode;
    SetConsoleCtrlHandler(restoreEcho, TRUE);
    std::optional<std::size_t> length;
    constexpr DWORD kLines = ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT;
    if (SetConsoleMode(console, (mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) | kLines | echo) != 0) {
        show(prompt);
        length = readLine(console, line, room);
        SetConsoleMode(console, mode);
        if (echo == 0) {
            show("\r\n");
        }
    }
    SetConsoleCtrlHandler(restoreEcho, FALSE);
    CloseHandle(console);
    return length;
}

} // namespace

std::size_t terminalColumns() noexcept {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    const bool isKnown = ::GetConsoleScreenBufferInfo(::GetStdHandle(STD_ERROR_HANDLE), &info) != FALSE;
    return isKnown && info.srWindow.Right >= info.srWindow.Left
               ? static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1)
               : 0;
}

bool errorsGoToTerminal() noexcept {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

std::optional<std::size_t> readLineWithoutEcho(const char* prompt, char* line, std::size_t room) noexcept {
    return askConsole(0, prompt, line, room);
}

std::optional<std::size_t> readLineWithEcho(const char* prompt, char* line, std::size_t room) noexcept {
    return askConsole(ENABLE_ECHO_INPUT, prompt, line, room);
}

} // namespace platform
