#include "platform/Program.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <string>
#include <system_error>
#include <windows.h>

#include "platform/Interruption.h"
#include "text/Utf8.h"

namespace platform {

namespace {

/// One argument as the C runtime of the other program reads it: in quotes, with what would end them escaped.
std::wstring quoted(const std::string& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : text::toWide(argument)) {
        if (character == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

std::wstring commandLine(const std::vector<std::string>& arguments) {
    std::wstring line;
    for (const std::string& argument : arguments) {
        line += (line.empty() ? L"" : L" ") + quoted(argument);
    }
    return line;
}

HANDLE openNull() noexcept {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0, nullptr);
}

} // namespace

std::optional<Program> Program::start(const std::vector<std::string>& arguments) {
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    if (arguments.empty() || CreatePipe(&readEnd, &writeEnd, &inherited, 0) == 0) {
        return std::nullopt;
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    const HANDLE null = openNull();
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = null;
    start.hStdOutput = writeEnd;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process = {};
    std::wstring line = commandLine(arguments);
    const BOOL isStarted = CreateProcessW(text::toWide(arguments[0]).c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                          nullptr, nullptr, &start, &process);
    const DWORD error = GetLastError();
    CloseHandle(writeEnd);
    CloseHandle(null);
    if (isStarted == 0) {
        CloseHandle(readEnd);
        SetLastError(error);
        return std::nullopt;
    }
    CloseHandle(process.hThread);
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(readEnd), _O_RDONLY | _O_BINARY);
    return Program(process.hProcess, InputStream::adopt(descriptor));
}

Program::Program(Program&& other) noexcept : m_process(other.m_process), m_output(std::move(other.m_output)) {
    other.m_process = nullptr;
}

Program::~Program() {
    [[maybe_unused]] const int status = wait();
}

bool Program::waitFor(std::chrono::milliseconds limit) const noexcept {
    using Clock = std::chrono::steady_clock;
    constexpr DWORD kPause = 10; // milliseconds between two looks for an interruption
    const Clock::time_point begin = Clock::now();
    while (interruption() == 0) {
        if (WaitForSingleObject(m_process, kPause) != WAIT_TIMEOUT) {
            return true;
        }
        if (Clock::now() - begin >= limit) {
            return false;
        }
    }
    return false;
}

void Program::end() noexcept {
    if (m_process != nullptr) {
        TerminateProcess(m_process, 1);
    }
}

int Program::wait() noexcept {
    if (m_process == nullptr) {
        return 0;
    }
    if (interruption() != 0) {
        end();
    }
    WaitForSingleObject(m_process, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(m_process, &status);
    CloseHandle(m_process);
    m_process = nullptr;
    return static_cast<int>(status);
}

std::string Program::describeEnd(int status) {
    const auto code = static_cast<DWORD>(status);
    if (code < 0x80000000U) {
        return "";
    }
    std::array<char, 16> digits = {};
    std::snprintf(digits.data(), digits.size(), "0x%08lX", code);
    const char* const meaning = code == EXCEPTION_ACCESS_VIOLATION      ? ", access violation"
                                : code == EXCEPTION_STACK_OVERFLOW      ? ", stack overflow"
                                : code == EXCEPTION_ILLEGAL_INSTRUCTION ? ", illegal instruction"
                                                                        : "";
    return std::string("exception ") + digits.data() + meaning;
}

std::string Program::lastError() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

} // namespace platform
