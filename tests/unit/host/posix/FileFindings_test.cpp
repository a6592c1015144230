// What the doctor says of the rights of a module's file and of its configuration.
#include "host/view/FileFindings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <stdlib.h>
#include <sys/stat.h>

#include "host/plugin/Paths.h"
#include "host/view/LibraryHeader.h"
#include "platform/Process.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

/// A folder of this user's alone, which goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "p11host-test-XXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    [[nodiscard]] const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

std::string findingsOf(const fs::path& file) {
    Findings findings;
    addFileFindings(utf8Of(file), findings);
    std::string text;
    for (const Finding& finding : findings) {
        text += finding.text + "\n";
    }
    return text;
}

fs::path folderIn(const fs::path& parent, const char* name, fs::perms rights) {
    fs::create_directory(parent / name);
    fs::permissions(parent / name, rights);
    return fs::canonical(parent / name);
}

TEST(FileFindings, looksAtWhatALinkLeadsTo) {
    const TemporaryFolder folder;
    const fs::path own = folderIn(folder.path(), "own", fs::perms::owner_all);
    const fs::path middle = folderIn(folder.path(), "middle", fs::perms::all);
    const fs::path last = folderIn(folder.path(), "last", fs::perms::all);
    std::ofstream(last / "module.so") << "module";
    fs::permissions(last / "module.so", fs::perms::all);
    fs::create_symlink("../last/module.so", middle / "module.so");
    fs::create_symlink(middle / "module.so", own / "module.so");
    const std::string text = findingsOf(own / "module.so");
    EXPECT_THAT(text, HasSubstr("others may change the module's folder " + middle.string() + "\n"));
    EXPECT_THAT(text, HasSubstr("others may change the module's folder " + last.string() + "\n"));
    EXPECT_THAT(text, HasSubstr("others may change the module's file "));
    EXPECT_THAT(text, Not(HasSubstr(own.string())));
}

/// A pipe that nobody writes to.
fs::path pipeIn(const TemporaryFolder& folder) {
    const fs::path pipe = folder.path() / "pipe";
    EXPECT_EQ(::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    return pipe;
}

TEST(FileFindings, doNotWaitForAPipe) {
    const TemporaryFolder folder;
    const fs::path pipe = pipeIn(folder);
    platform::setEnvironmentVariable("SOFTHSM2_CONF", pipe.string());
    EXPECT_EQ(findingsOf("libsofthsm2.so"), "the module's configuration " + pipe.string() + " cannot be read\n");
    platform::removeEnvironmentVariable("SOFTHSM2_CONF");
}

TEST(FileFindings, readSettingsAsTheModuleDoes) {
    const TemporaryFolder folder;
    const fs::path file = folder.path() / "conf";
    std::ofstream(file) << "# directories.tokendir = /a\n  directories.tokendir =\t/no-such-folder \n";
    platform::setEnvironmentVariable("SOFTHSM2_CONF", file.string());
    EXPECT_EQ(findingsOf("libsofthsm2.so"), "the folder of the tokens, /no-such-folder, cannot be read\n");
    platform::removeEnvironmentVariable("SOFTHSM2_CONF");
}

TEST(LibraryHeader, doesNotWaitForAPipe) {
    const TemporaryFolder folder;
    EXPECT_EQ(describe(libraryHeaderOf(pipeIn(folder).string()).value()), "pipe or device");
}

} // namespace
} // namespace host
