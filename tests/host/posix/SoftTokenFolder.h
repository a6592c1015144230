#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/host/Child.h"

namespace tests {

/// SoftHSM2 with a folder of its own for each test, and the host on it.
class SoftTokenFolder : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(SOFTHSM_MODULE).empty()) {
            GTEST_SKIP() << "SoftHSM2 was not found when the tests were configured";
        }
        m_folder = std::filesystem::absolute(m_name.path() + ".d").string();
        std::filesystem::create_directories(m_folder + "/tokens");
        std::ofstream(configuration()) << "directories.tokendir = " << m_folder
                                       << "/tokens\nlog.level = ERROR\nslots.removable = false\n";
    }

    void TearDown() override {
        if (!m_folder.empty()) {
            std::filesystem::remove_all(m_folder);
        }
    }

    [[nodiscard]] const std::string& folder() const { return m_folder; }
    [[nodiscard]] std::string configuration() const { return m_folder + "/softhsm2.conf"; }
    [[nodiscard]] Words command(const Words& words) const {
        Words arguments = {hostProgram(), "--module", SOFTHSM_MODULE};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return arguments;
    }
    [[nodiscard]] Outcome host(const Words& words, Environment environment = {}, const std::string& input = "") const {
        environment["SOFTHSM2_CONF"] = configuration();
        return run(command(words), input, environment);
    }
    /// A file that its owner alone may read; its path.
    [[nodiscard]] std::string secretFile(const std::string& name, const std::string& content) const {
        const std::string path = m_folder + "/" + name;
        std::ofstream(path) << content << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return path;
    }

private:
    File m_name{""};
    std::string m_folder;
};

} // namespace tests
