#include "tests/watch/WatchTest.h"

#include <fstream>
#include <random>
#include <sstream>

#include "platform/Process.h"
#include "text/Utf8.h"

namespace tests {

namespace {

platform::DynamicLibrary loaded(const std::string& file) {
    platform::DynamicLibrary library = platform::DynamicLibrary::load(text::toWide(file).c_str());
    EXPECT_TRUE(library.isLoaded()) << file << ": " << platform::DynamicLibrary::lastError();
    return library;
}

} // namespace

Folder::Folder()
    : m_path(std::filesystem::temp_directory_path() / ("watch-test-" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directory(m_path);
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string Folder::file(const std::string& name) const {
    return (m_path / name).string();
}

std::string contentOf(const std::string& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

std::vector<Json> linesOf(const std::string& file) {
    std::vector<Json> lines;
    std::istringstream content(contentOf(file));
    for (std::string line; std::getline(content, line);) {
        lines.push_back(Json::parse(line));
    }
    return lines;
}

WatchTest::WatchTest() : m_module(loaded(LOUD_MODULE)) {
    loud = reinterpret_cast<Loud::ControlFunction>(m_module.symbol("loudControl"))();
    *loud = {};
    platform::setEnvironmentVariable("P11WATCH_MODULE", LOUD_MODULE);
    platform::setEnvironmentVariable("P11WATCH_FILE", record);
    for (const char* const name : {"P11WATCH_LIMIT", "P11REPLAY_MODE", "P11REPLAY_PROCESS", "P11REPLAY_DELAYS"}) {
        platform::removeEnvironmentVariable(name);
    }
}

WatchTest::~WatchTest() {
    // Closes the record, which Windows does not remove while it is open.
    if (m_watch.isLoaded()) {
        *loud = {};
        CK_FUNCTION_LIST* list = nullptr;
        reinterpret_cast<CK_C_GetFunctionList>(symbol("C_GetFunctionList"))(&list);
        if (list != nullptr) {
            list->C_Finalize(nullptr);
        }
    }
}

CK_FUNCTION_LIST& WatchTest::load() {
    m_watch = loaded(WATCH_MODULE);
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(reinterpret_cast<CK_C_GetFunctionList>(symbol("C_GetFunctionList"))(&list), CKR_OK);
    return *list;
}

Json WatchTest::line() const {
    const std::vector<Json> all = lines();
    return all.empty() ? Json() : all.back();
}

} // namespace tests
