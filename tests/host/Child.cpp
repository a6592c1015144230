#include "tests/host/Child.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "platform/Process.h"

namespace tests {

namespace fs = std::filesystem;

namespace {

fs::path utf8Path(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string freshName() {
    static std::atomic<int> number = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return "host-test-" + std::to_string(now) + "-" + std::to_string(number++);
}

} // namespace

Outcome run(const Words& arguments, const std::string& input, const Environment& environment) {
    Child child(arguments, environment);
    child.write(input);
    child.closeInput();
    Outcome result;
    result.output = child.readAll();
    result.status = child.wait();
    result.errors = child.errors();
    return result;
}

Words with(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

File::File(const std::string& content, const std::string& name) : m_path(freshName() + name) {
    std::ofstream(utf8Path(m_path), std::ios::binary) << content;
}

File::~File() {
    std::error_code ignored;
    fs::remove(utf8Path(m_path), ignored);
}

std::string File::content() const {
    return contentOf(utf8Path(m_path));
}

void File::append(const std::string& text) const {
    std::ofstream(utf8Path(m_path), std::ios::binary | std::ios::app) << text;
}

bool waitFor(const File& file, const std::string& text) {
    for (int i = 0; i < 6000; ++i) {
        if (file.content().find(text) != std::string::npos) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string beside(const std::string& name) {
    const std::u8string path = (utf8Path(platform::executablePath()).parent_path() / name).u8string();
    return {path.begin(), path.end()};
}

std::string hostProgram() {
    return beside(HOST_PROGRAM);
}

std::string doublePlugin() {
    return beside(DOUBLE_PLUGIN);
}

} // namespace tests
