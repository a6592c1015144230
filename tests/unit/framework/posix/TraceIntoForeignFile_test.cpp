// A trace tells what the plug-in works with: nobody may choose for somebody else where it is written, nor read it
// there.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ry/rylog.h"
#include "ry/rylogFault.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

class TraceIntoForeignFile : public testing::Test {
protected:
    TraceIntoForeignFile() {
        char name[] = "/tmp/trace-file-XXXXXX";
        m_folder = ::mkdtemp(name);
    }
    ~TraceIntoForeignFile() override {
        EXPECT_TRUE(rylogSetUp(nullptr, 0, RylogFormat::Text));
        fs::remove_all(m_folder);
    }

    [[nodiscard]] std::string path(const char* name) const { return m_folder + "/" + name; }
    static bool setUp(const std::string& file) { return rylogSetUp(file.c_str(), 31, RylogFormat::Json); }
    static mode_t modeOf(const std::string& file) {
        struct stat status = {};
        return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
    }

private:
    std::string m_folder;
};

} // namespace

TEST_F(TraceIntoForeignFile, ThroughALinkIsRefused) {
    std::ofstream(path("target")) << "mine";
    fs::create_symlink("target", path("link"));
    fs::create_symlink("nothing", path("dangling"));
    EXPECT_FALSE(setUp(path("link")));
    EXPECT_EQ(rylogFault(), RylogFault::NotOpened);
    EXPECT_FALSE(rylogIsEnabled(1));
    EXPECT_FALSE(setUp(path("dangling")));
    EXPECT_FALSE(fs::exists(path("nothing")));
    EXPECT_EQ(fs::file_size(path("target")), 4U);
}

TEST_F(TraceIntoForeignFile, ThatIsAPipeIsRefusedAndNotWaitedFor) {
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(setUp(path("pipe")));
    const int reader = ::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_FALSE(setUp(path("pipe")));
    ::close(reader);
    EXPECT_FALSE(setUp(path("."))) << "a folder";
}

TEST_F(TraceIntoForeignFile, OfAnotherUserIsRefused) {
    if (::geteuid() != 0) {
        EXPECT_FALSE(setUp("/dev/full")) << "which everybody may write, and root owns";
        return;
    }
    std::ofstream(path("theirs")) << "theirs";
    ASSERT_EQ(::chown(path("theirs").c_str(), kNobody, kNobody), 0);
    EXPECT_FALSE(setUp(path("theirs")));
    EXPECT_EQ(fs::file_size(path("theirs")), 6U);
}

TEST_F(TraceIntoForeignFile, OfOnesOwnIsClosedToOthers) {
    std::ofstream(path("own")) << "mine";
    ASSERT_EQ(::chmod(path("own").c_str(), 0664), 0);
    EXPECT_TRUE(setUp(path("own")));
    EXPECT_EQ(modeOf(path("own")), 0600U);
    const mode_t before = ::umask(0);
    EXPECT_TRUE(setUp(path("new")));
    ::umask(before);
    EXPECT_EQ(modeOf(path("new")), 0600U);
}

TEST_F(TraceIntoForeignFile, StandardErrorAndTheNullDeviceAreNoForeignFiles) {
    EXPECT_TRUE(setUp("/dev/null"));
    rylogLog(L"MODULE", 1, L"to nowhere");
    EXPECT_EQ(rylogFault(), RylogFault::None);
    testing::internal::CaptureStderr(); // first: lines go only into what standard error is when the trace is set up
    EXPECT_TRUE(setUp("/dev/stderr"));
    rylogLog(L"MODULE", 1, L"shown");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("\"text\":\"shown\""), std::string::npos);
}

namespace {

/// Runs the program, with RYLOG_FILE set; true when it wrote the file.
bool logs(const std::string& program, const std::string& file) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("RYLOG_FILE", file.c_str(), 1);
        ::execl(program.c_str(), program.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return fs::exists(file) && fs::file_size(file) > 0;
}

/// Gives the program's file more rights than this process has: another user's, or a group's that is not the first.
bool raiseRights(const std::string& program) {
    if (::geteuid() == 0) {
        return ::chown(program.c_str(), kNobody, kNobody) == 0 && ::chmod(program.c_str(), 04755) == 0;
    }
    gid_t groups[64];
    const int count = ::getgroups(64, groups);
    for (int i = 0; i < count; ++i) {
        if (groups[i] != ::getegid() && ::chown(program.c_str(), static_cast<uid_t>(-1), groups[i]) == 0) {
            return ::chmod(program.c_str(), 02755) == 0;
        }
    }
    return false;
}

} // namespace

TEST_F(TraceIntoForeignFile, IsNotWhatTheEnvironmentOfAPrivilegedProcessSays) {
    const std::string program = path("program");
    fs::copy_file(fs::read_symlink("/proc/self/exe").parent_path() / LOG_PROGRAM, program);
    ASSERT_EQ(::chmod(path(".").c_str(), 0777), 0);
    ASSERT_TRUE(logs(program, path("trace"))) << "without more rights it does";
    if (!raiseRights(program)) {
        GTEST_SKIP() << "this user belongs to no second group";
    }
    EXPECT_FALSE(logs(program, path("privileged-trace")));
}
