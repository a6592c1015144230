// p11host loads no library from the current directory, where anybody may have put one.
#include <filesystem>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

/// The current directory of each test is an empty folder.
class PlantedLibraries : public ::testing::Test {
protected:
    PlantedLibraries() {
        fs::create_directories(m_folder);
        fs::current_path(m_folder);
        fs::create_directory("vendor's own");
    }
    ~PlantedLibraries() override {
        fs::current_path(m_before);
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    /// Puts the library that the build made under `name` into `place`.
    static void put(const std::string& name, const fs::path& place) {
        const fs::path made = fs::path(hostProgram()).parent_path().parent_path() / "planted";
        fs::copy_file(made / (name + LIBRARY_ENDING), place.string() + LIBRARY_ENDING,
                      fs::copy_options::overwrite_existing);
    }

    /// The libraries of ours that the program loads with these words and this input, in their order.
    static std::string loaded(Words words, const std::string& input = "") {
        words.insert(words.begin(), hostProgram());
        fs::remove("marks");
        const Outcome outcome = run(words, input, {{"P11HOST_TEST_LOADED", "marks"}});
        // None of them is a PKCS#11 module, but a job is content with an executor that has no functions.
        EXPECT_THAT(outcome.status, ::testing::AnyOf(0, 3)) << outcome.errors;
        return contentOf("marks");
    }

    static std::string withModule(const std::string& name) {
        return loaded({"--module", name + LIBRARY_ENDING, "readers"});
    }
    static std::string withPlugin(const std::string& name) {
        return loaded({"--plugin", name + LIBRARY_ENDING, "--module", "m", "readers"});
    }
    static std::string withJob(const std::string& module) {
        std::string name;
        for (const char character : module + LIBRARY_ENDING) {
            name += character == '\\' ? "\\\\" : std::string(1, character);
        }
        return loaded({"run", "-"}, "{\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"" + name + "\"}}\n");
    }

private:
    fs::path m_before = fs::current_path();
    fs::path m_folder = fs::temp_directory_path() / ("planted-" + std::to_string(std::random_device()()));
};

TEST_F(PlantedLibraries, aModuleWithoutAFolderIsNotTheOneInTheCurrentDirectory) {
    put("planted", "plant");
    EXPECT_EQ(withModule("plant"), "");
    EXPECT_EQ(withJob("plant"), "");
    // It could be loaded.
    EXPECT_EQ(withModule("./plant"), "planted ");
}

TEST_F(PlantedLibraries, aPluginWithoutAFolderIsNotTheOneInTheCurrentDirectory) {
    put("planted", "plant");
    EXPECT_EQ(withPlugin("plant"), "");
    EXPECT_EQ(withPlugin("./plant"), "planted ");
}

TEST_F(PlantedLibraries, whatAModuleNeedsIsTakenFromBesideIt) {
    put("vendor", "vendor's own/vendor");
    put("needed", "vendor's own/needed");
    put("planted", "needed");
    EXPECT_EQ(withModule("vendor's own/vendor"), "needed vendor ");
    EXPECT_EQ(withJob(fs::absolute("vendor's own/vendor").string()), "needed vendor ");
    put("planted", "vendor's own/needed");
    EXPECT_EQ(withModule("vendor's own/vendor"), "planted vendor ");
}

TEST_F(PlantedLibraries, whatAModuleNeedsIsNotTakenFromTheCurrentDirectory) {
    put("vendor", "vendor's own/vendor");
    put("planted", "needed");
    EXPECT_EQ(withModule("vendor's own/vendor"), "");
    EXPECT_EQ(withJob(fs::absolute("vendor's own/vendor").string()), "");
}

TEST_F(PlantedLibraries, whatAPluginNeedsIsTakenFromBesideIt) {
    put("vendor", "vendor's own/vendor");
    put("needed", "vendor's own/needed");
    put("planted", "needed");
    EXPECT_EQ(withPlugin("vendor's own/vendor"), "needed vendor ");
}

TEST_F(PlantedLibraries, aNameWithAFolderIsMadeAFullPathForThePlugin) {
    const auto moduleOf = [](const Words& words) {
        const File calls("");
        Words all = {hostProgram(), "--plugin", doublePlugin(), "--module", "vendor's own/m"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = run(all, "{\"call\":\"newInstance\"}\n", {{"P11HOST_TEST_CALLS", calls.path()}});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const std::string text = calls.content();
        return text.substr(0, text.find('\n'));
    };
    const std::string expected = "newInstance DLLNAME=" + fs::absolute("vendor's own/m").string();
    EXPECT_EQ(moduleOf({"getCardState"}), expected);
    EXPECT_EQ(moduleOf({"run", "-"}), expected);
}

} // namespace
} // namespace tests
