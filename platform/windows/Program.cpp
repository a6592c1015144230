#include "platform/Program.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <string>
#include <system_error>
#include <windows.h>

#include "platform/Interruption.h"
#include "platform/windows/Spawn.h"

namespace platform {

namespace {

HANDLE openNull() noexcept {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const HANDLE null =
        CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0, nullptr);
    return null == INVALID_HANDLE_VALUE ? nullptr : null;
}

/// Our standard error as a handle that a program inherits; null when we have no standard error.
HANDLE ownErrors() noexcept {
    const HANDLE process = GetCurrentProcess();
    HANDLE errors = nullptr;
    DuplicateHandle(process, GetStdHandle(STD_ERROR_HANDLE), process, &errors, 0, TRUE, DUPLICATE_SAME_ACCESS);
    return errors;
}

} // namespace

std::optional<Program> Program::start(const std::vector<std::string>& arguments) {
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (arguments.empty() || !openPipe(OurEnd::Reads, readEnd, writeEnd)) {
        return std::nullopt;
    }
    const HANDLE null = openNull();
    const HANDLE errors = ownErrors();
    PROCESS_INFORMATION process = {};
    const bool isStarted = spawn(process, arguments, null, writeEnd, errors, 0);
    const DWORD error = GetLastError();
    for (const HANDLE handle : {writeEnd, null, errors}) {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
    }
    if (!isStarted) {
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
