#include "tests/host/Child.h"

#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/posix/Become.h"

namespace tests {

struct Child::System {
    pid_t process = -1;
    int input = -1;
    int output = -1;
    int errors = -1;
};

namespace {

int unnamedFile() {
    char name[] = "host-test-XXXXXX";
    const int file = ::mkostemp(name, 0);
    ::unlink(name);
    return file;
}

void closeOne(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

} // namespace

Child::Child(const Words& arguments, const Environment& environment, Console) : m_system(std::make_unique<System>()) {
    ::signal(SIGPIPE, SIG_IGN);
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_system->errors = unnamedFile();
    m_system->process = ::fork();
    if (m_system->process == 0) {
        ::dup2(input[0], 0);
        ::dup2(output[1], 1);
        ::dup2(m_system->errors, 2);
        become(arguments, environment);
    }
    ::close(input[0]);
    ::close(output[1]);
    m_system->input = input[1];
    m_system->output = output[0];
}

Child::~Child() {
    closeInput();
    closeOutput();
    closeOne(m_system->errors);
    if (m_system->process > 0) {
        ::kill(m_system->process, SIGKILL);
        ::waitpid(m_system->process, nullptr, 0);
    }
}

void Child::write(const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(m_system->input, text.data() + written, text.size() - written);
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

void Child::closeInput() {
    closeOne(m_system->input);
}

void Child::closeOutput() {
    closeOne(m_system->output);
}

bool Child::interrupt(int signal) {
    return ::kill(m_system->process, signal) == 0;
}

std::string Child::readLine() {
    std::string line;
    char byte = 0;
    while (::read(m_system->output, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

std::string Child::readAll() {
    std::string text;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(m_system->output, bytes, sizeof bytes)) > 0;) {
        text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
}

int Child::wait() {
    closeInput();
    int status = 0;
    ::waitpid(m_system->process, &status, 0);
    m_system->process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

long Child::process() const {
    return m_system->process;
}

std::string Child::errors() const {
    std::string text;
    char bytes[4096];
    off_t position = 0;
    for (ssize_t count = 0; (count = ::pread(m_system->errors, bytes, sizeof bytes, position)) > 0; position += count) {
        text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace tests
