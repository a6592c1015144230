#include "tests/fuzz/Targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The inputs that are kept (where fuzzing begins, and what it has found) through the same functions, with every
// compiler and on every system.

namespace {

struct Replay {
    const char* name;
    Fuzz::Target* target;
};

constexpr Replay kReplays[] = {
    {"argument", Fuzz::argument},
    {"base64", Fuzz::base64},
    {"batch", Fuzz::batch},
    {"format", Fuzz::format},
    {"hexadecimal", Fuzz::hexadecimal},
    {"job", Fuzz::job},
    {"library", Fuzz::library},
    {"log", Fuzz::log},
    {"parametervalue", Fuzz::parametervalue},
    {"pkcs8", Fuzz::pkcs8},
    {"play", Fuzz::play},
    {"record", Fuzz::record},
    {"replay", Fuzz::replay},
    {"timeline", Fuzz::timeline},
    {"trace", Fuzz::trace},
    {"tstring", Fuzz::tstring},
    {"uri", Fuzz::uri},
    {"utf8", Fuzz::utf8},
    {"vector", Fuzz::vector},
    {"x509", Fuzz::x509},
#if defined(__linux__)
    {"version", Fuzz::version},
#endif
};

std::vector<std::filesystem::path> seedsOf(const char* name) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(FUZZ_SEEDS) / name)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

class Seeds : public ::testing::TestWithParam<Replay> {};

// A target ends the process when something does not hold; the file's name is the last that was printed.
TEST_P(Seeds, hold) {
    const std::vector<std::filesystem::path> files = seedsOf(GetParam().name);
    ASSERT_FALSE(files.empty());
    for (const std::filesystem::path& file : files) {
        std::printf("%s\n", file.filename().string().c_str());
        std::fflush(stdout);
        const std::string contents = contentsOf(file);
        EXPECT_EQ(contents.size(), std::filesystem::file_size(file));
        GetParam().target(reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size());
    }
    GetParam().target(nullptr, 0);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Seeds, ::testing::ValuesIn(kReplays),
                         [](const ::testing::TestParamInfo<Replay>& replay) { return replay.param.name; });

} // namespace
