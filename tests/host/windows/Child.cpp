#include "tests/host/Child.h"

#include <csignal>
#include <stdexcept>
#include <windows.h>

#include "text/Utf8.h"

namespace tests {

namespace {

/// Quoted as the program's own start-up code takes it apart again.
std::wstring quoted(const std::string& argument) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : text::toWide(argument)) {
        if (character == L'"') {
            result.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        result += character;
    }
    return result.append(backslashes, L'\\') + L"\"";
}

void closeOne(HANDLE& handle) {
    if (handle != nullptr) {
        CloseHandle(handle);
        handle = nullptr;
    }
}

std::string readAllOf(HANDLE handle) {
    std::string text;
    char bytes[4096];
    for (DWORD count = 0; ReadFile(handle, bytes, sizeof bytes, &count, nullptr) != 0 && count > 0;) {
        text.append(bytes, count);
    }
    return text;
}

HANDLE unnamedFile() {
    wchar_t name[MAX_PATH];
    GetTempFileNameW(L".", L"p11", 0, name);
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
}

void makePipe(HANDLE& reader, HANDLE& writer, HANDLE& own) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    if (CreatePipe(&reader, &writer, &inherited, 0) == 0) {
        throw std::runtime_error("no pipe");
    }
    SetHandleInformation(own, HANDLE_FLAG_INHERIT, 0);
}

} // namespace

struct Child::System {
    HANDLE process = nullptr;
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    HANDLE errors = nullptr;
};

Child::Child(const Words& arguments, const Environment& environment, Console console)
    : m_system(std::make_unique<System>()) {
    HANDLE childInput = nullptr;
    HANDLE childOutput = nullptr;
    makePipe(childInput, m_system->input, m_system->input);
    makePipe(m_system->output, childOutput, m_system->output);
    m_system->errors = unnamedFile();

    std::wstring line;
    for (const std::string& argument : arguments) {
        line += (line.empty() ? L"" : L" ") + quoted(argument);
    }
    for (const auto& [name, value] : environment) {
        SetEnvironmentVariableW(text::toWide(name).c_str(), text::toWide(value).c_str());
    }
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = childInput;
    start.hStdOutput = childOutput;
    start.hStdError = m_system->errors;
    PROCESS_INFORMATION process = {};
    const DWORD flags = console == Console::Own ? CREATE_NO_WINDOW : CREATE_NEW_PROCESS_GROUP;
    const BOOL started =
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &start, &process);
    const DWORD error = GetLastError();
    for (const auto& [name, value] : environment) {
        SetEnvironmentVariableW(text::toWide(name).c_str(), nullptr);
    }
    CloseHandle(childInput);
    CloseHandle(childOutput);
    if (started == 0) {
        throw std::runtime_error("cannot start " + arguments.front() + ", error " + std::to_string(error));
    }
    CloseHandle(process.hThread);
    m_system->process = process.hProcess;
}

Child::~Child() {
    closeInput();
    closeOutput();
    closeOne(m_system->errors);
    if (m_system->process != nullptr) {
        TerminateProcess(m_system->process, 1);
        closeOne(m_system->process);
    }
}

void Child::write(const std::string& text) {
    DWORD written = 0;
    WriteFile(m_system->input, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void Child::closeInput() {
    closeOne(m_system->input);
}

void Child::closeOutput() {
    closeOne(m_system->output);
}

/// Wine sends an event from a process group of its own to that group alone, whatever console was asked for.
bool Child::interrupt(int signal) {
    Child event({beside(CONSOLE_EVENT), std::to_string(process()), signal == SIGINT ? "c" : "break"}, {}, Console::Own);
    return event.wait() == 0;
}

std::string Child::readLine() {
    std::string line;
    char byte = 0;
    for (DWORD count = 0; ReadFile(m_system->output, &byte, 1, &count, nullptr) != 0 && count == 1 && byte != '\n';) {
        line += byte;
    }
    return line;
}

std::string Child::readAll() {
    return readAllOf(m_system->output);
}

int Child::wait() {
    closeInput();
    WaitForSingleObject(m_system->process, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(m_system->process, &status);
    closeOne(m_system->process);
    return static_cast<int>(status);
}

long Child::process() const {
    return static_cast<long>(GetProcessId(m_system->process));
}

std::string Child::errors() const {
    SetFilePointer(m_system->errors, 0, nullptr, FILE_BEGIN);
    std::string text = readAllOf(m_system->errors);
    // The test's own double prints through the C runtime's text mode.
    for (std::size_t end = 0; (end = text.find("\r\n", end)) != std::string::npos;) {
        text.erase(end, 1);
    }
    return text;
}

} // namespace tests
