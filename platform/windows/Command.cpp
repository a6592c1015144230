#include "platform/Command.h"

#include <algorithm>
#include <array>
#include <new>
#include <system_error>
#include <thread>
#include <windows.h>

#include "platform/windows/Spawn.h"
#include "text/Utf8.h"

namespace platform {

namespace {

using End = CommandResult::End;

constexpr std::size_t kPiece = 65536;
constexpr std::size_t kTail = 4096;

std::string messageOf(DWORD error) {
    return std::system_category().message(static_cast<int>(error));
}

/// A handle that is closed with the object.
class Handle {
public:
    explicit Handle(HANDLE handle = nullptr) noexcept : m_handle(handle) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(); }

    void close() noexcept {
        if (m_handle != nullptr) {
            CloseHandle(m_handle);
            m_handle = nullptr;
        }
    }
    [[nodiscard]] HANDLE get() const noexcept { return m_handle; }
    [[nodiscard]] HANDLE& place() noexcept { return m_handle; }

private:
    HANDLE m_handle;
};

/// A pipe to or from the command, and the thread that waits at it.
class Pipe {
public:
    Pipe() noexcept = default;
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    /// The thread ends when the command's end of the pipe is closed.
    ~Pipe() { join(); }

    [[nodiscard]] bool open(OurEnd end) noexcept { return openPipe(end, m_ours.place(), m_theirs.place()); }
    [[nodiscard]] HANDLE theirs() const noexcept { return m_theirs.get(); }
    void closeTheirs() noexcept { m_theirs.close(); }

    void startWriting(std::string_view text) {
        m_thread = std::thread([this, text] {
            write(text);
            m_ours.close();
        });
    }

    /// `take` gets each piece that is read, and returns false when it wants no more.
    template <class Take>
    void startReading(Take take) {
        m_piece.resize(kPiece);
        m_thread = std::thread([this, take] {
            DWORD count = 0;
            while (ReadFile(m_ours.get(), m_piece.data(), kPiece, &count, nullptr) != 0 &&
                   take(m_piece.data(), std::size_t{count})) {
            }
        });
    }

    void join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    /// A command that has closed its input wants no more of it.
    void write(std::string_view text) const noexcept {
        DWORD written = 0;
        while (!text.empty() && WriteFile(m_ours.get(), text.data(), static_cast<DWORD>(std::min(text.size(), kPiece)),
                                          &written, nullptr) != 0) {
            text.remove_prefix(written);
        }
    }

    Handle m_ours;
    Handle m_theirs;
    WipedBytes m_piece;
    std::thread m_thread;
};

/// The processes of a command: they end when the object does, and when this process ends.
class Job {
public:
    Job() noexcept : m_job(CreateJobObjectW(nullptr, nullptr)) {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(m_job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    ~Job() { kill(); }

    [[nodiscard]] bool add(HANDLE process) const noexcept {
        return AssignProcessToJobObject(m_job.get(), process) != 0;
    }
    void kill() const noexcept { TerminateJobObject(m_job.get(), 1); }

private:
    Handle m_job;
};

/// A command with its pipes. What is declared last ends first: the processes, then the threads at the pipes.
class Running {
public:
    Running(const CommandLimits& limits, CommandResult& result) noexcept : m_limits(limits), m_result(result) {}

    /// Returns ERROR_SUCCESS or what the system says.
    [[nodiscard]] DWORD start(const std::vector<std::string>& arguments) {
        if (!m_input.open(OurEnd::Writes) || !m_output.open(OurEnd::Reads) || !m_errors.open(OurEnd::Reads)) {
            return GetLastError();
        }
        // Begins when it is in the job, so that no process of its own is outside. Without a console it gets no Ctrl-C.
        PROCESS_INFORMATION process = {};
        if (!spawn(process, arguments, m_input.theirs(), m_output.theirs(), m_errors.theirs(),
                   CREATE_SUSPENDED | CREATE_NO_WINDOW)) {
            return GetLastError();
        }
        const Handle thread(process.hThread);
        m_process.place() = process.hProcess;
        if (!m_job.add(process.hProcess)) {
            const DWORD error = GetLastError();
            TerminateProcess(process.hProcess, 1);
            return error;
        }
        ResumeThread(process.hThread);
        return ERROR_SUCCESS;
    }

    [[nodiscard]] End carry(std::string_view input) {
        for (Pipe* const pipe : {&m_input, &m_output, &m_errors}) {
            pipe->closeTheirs();
        }
        m_result.errors.reserve(kTail + kPiece);
        m_input.startWriting(input);
        m_output.startReading([this](const char* piece, std::size_t count) { return takeOutput(piece, count); });
        m_errors.startReading([this](const char* piece, std::size_t count) { return takeErrors(piece, count); });
        const std::array<HANDLE, 2> ends = {m_process.get(), m_tooMuch.get()};
        const DWORD waited = WaitForMultipleObjects(2, ends.data(), FALSE, longestWait());
        m_job.kill();
        for (Pipe* const pipe : {&m_input, &m_output, &m_errors}) {
            pipe->join();
        }
        const bool isTooMuch = WaitForSingleObject(m_tooMuch.get(), 0) == WAIT_OBJECT_0;
        return isTooMuch ? End::TooMuch : waited == WAIT_OBJECT_0 ? End::Ended : End::TimedOut;
    }

    [[nodiscard]] int status() const noexcept {
        DWORD status = 0;
        GetExitCodeProcess(m_process.get(), &status);
        return static_cast<int>(status);
    }

private:
    [[nodiscard]] DWORD longestWait() const noexcept {
        return static_cast<DWORD>(std::clamp<std::chrono::milliseconds::rep>(m_limits.time.count(), 0, INFINITE - 1));
    }

    /// Called on the thread of the pipe, as takeErrors is.
    bool takeOutput(const char* piece, std::size_t count) {
        try {
            if (count <= m_limits.output - m_result.output.size()) {
                m_result.output.insert(m_result.output.end(), piece, piece + count);
                return true;
            }
        } catch (const std::bad_alloc&) {
            // More than memory holds is too much, too.
        }
        SetEvent(m_tooMuch.get());
        return false;
    }

    /// There is room for a piece beside the tail.
    bool takeErrors(const char* piece, std::size_t count) {
        WipedBytes& errors = m_result.errors;
        errors.insert(errors.end(), piece, piece + count);
        if (errors.size() > kTail) {
            errors.erase(errors.begin(), errors.end() - kTail);
        }
        return true;
    }

    CommandLimits m_limits;
    CommandResult& m_result;
    Handle m_tooMuch{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    Pipe m_input;
    Pipe m_output;
    Pipe m_errors;
    Handle m_process;
    Job m_job;
};

/// Windows runs these in a shell, which would take what is in an argument for a command.
bool isBatchFile(std::string name) {
    name.erase(name.find_last_not_of(" .") + 1);
    std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    });
    return name.ends_with(".bat") || name.ends_with(".cmd");
}

/// Why these arguments cannot be a command; empty when they can.
std::string faultOf(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return "no program is named";
    }
    for (const std::string& argument : arguments) {
        if (argument.find('\0') != std::string::npos) {
            return "an argument holds a zero byte";
        }
    }
    return isBatchFile(arguments[0])
               ? "a batch file is run by a shell, which may take its arguments for commands; name "
                 "the program itself"
               : "";
}

} // namespace

CommandResult runCommand(const std::vector<std::string>& arguments, std::string_view input,
                         const CommandLimits& limits) {
    CommandResult result;
    result.reason = faultOf(arguments);
    if (!result.reason.empty()) {
        return result;
    }
    Running running(limits, result);
    if (const DWORD error = running.start(arguments); error != ERROR_SUCCESS) {
        result.reason = messageOf(error);
        return result;
    }
    result.end = running.carry(input);
    if (result.end == End::Ended) {
        result.status = running.status();
    }
    return result;
}

bool isStartable(const std::string& program) {
    const DWORD attributes = GetFileAttributesW(text::toWide(program).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

} // namespace platform
