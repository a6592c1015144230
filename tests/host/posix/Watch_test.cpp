// The host with --watch on a throw-away token: what it prints and how it ends is the same, whatever becomes of the
// record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::vector<json> recordsOf(const std::string& file) {
    std::vector<json> lines;
    std::istringstream content(contentOf(file));
    for (std::string line; std::getline(content, line);) {
        lines.push_back(json::parse(line));
    }
    return lines;
}

std::set<std::string> callsOf(const std::string& file) {
    std::set<std::string> calls;
    for (const json& line : recordsOf(file)) {
        calls.insert(line.at("call").get<std::string>());
    }
    return calls;
}

unsigned modeOf(const std::string& file) {
    struct stat status = {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
    return status.st_mode & 0777U;
}

constexpr const char* kJob = R"({"call":"newInstance","as":"a","parameters":{"DLLNAME":")" SOFTHSM_MODULE R"("}}
{"call":"initialize","on":"a"}
{"call":"execute","on":"a","operation":{"script":"getReaderList"}}
)";

class Watch : public SoftTokenFolder {
protected:
    [[nodiscard]] std::string record() const { return folder() + "/record.jsonl"; }
    [[nodiscard]] Outcome watched(Words words, const Environment& environment = {}) const {
        words.insert(words.begin(), {"--watch", record()});
        return host(words, environment);
    }
    /// The command succeeds as without a record, and says once that the record is not written.
    void expectNoRecord(const Environment& environment = {}) const {
        const Outcome plain = host({"readers"});
        const Outcome outcome = watched({"readers"}, environment);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output, plain.output);
        EXPECT_THAT(outcome.errors, StartsWith("p11watch: "));
        EXPECT_THAT(outcome.errors, HasSubstr("; calls pass and are not recorded\n"));
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    }
};

TEST_F(Watch, recordsAnyCommandAndChangesNoAnswer) {
    const Outcome plain = host({"readers", "--json"});
    const Outcome outcome = watched({"readers", "--json"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, plain.output);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_TRUE(callsOf(record()).contains("C_GetSlotInfo"));
    EXPECT_EQ(modeOf(record()), 0600U);
    // Another command appends to it.
    const std::size_t lines = recordsOf(record()).size();
    EXPECT_EQ(watched({"getReaderList"}).status, 0);
    EXPECT_GT(recordsOf(record()).size(), lines);
}

TEST_F(Watch, recordsAJob) {
    const std::string job = folder() + "/job.json";
    std::ofstream(job) << kJob;
    const Outcome plain = host({"run", job});
    const Outcome outcome = watched({"run", job});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, plain.output);
    EXPECT_TRUE(callsOf(record()).contains("C_GetSlotList"));
}

TEST_F(Watch, ofAFileThatOthersCouldRead) {
    std::ofstream(record()) << "";
    ASSERT_EQ(::chmod(record().c_str(), 0666), 0);
    EXPECT_EQ(watched({"readers"}).errors, "");
    EXPECT_EQ(modeOf(record()), 0600U);
    EXPECT_FALSE(recordsOf(record()).empty());
}

TEST_F(Watch, intoAFolderThatIsNotThere) {
    Words words = {"--watch", folder() + "/not-there/record.jsonl", "readers"};
    const Outcome outcome = host(words);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, StartsWith("p11watch: cannot write the record \"" + words[1] + "\": "));
}

TEST_F(Watch, intoALink) {
    const std::string target = folder() + "/target";
    std::ofstream(target) << "";
    std::filesystem::create_symlink(target, record());
    expectNoRecord();
    EXPECT_EQ(contentOf(target), "");
}

TEST_F(Watch, intoAPipeAndAFolder) {
    ASSERT_EQ(::mkfifo(record().c_str(), 0600), 0);
    expectNoRecord();
    std::filesystem::remove(record());
    std::filesystem::create_directory(record());
    expectNoRecord();
}

TEST_F(Watch, intoAnotherUsersFile) {
    std::ofstream(record()) << "";
    if (::chown(record().c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    expectNoRecord();
    EXPECT_EQ(contentOf(record()), "");
}

TEST_F(Watch, withALimitThatIsNone) {
    expectNoRecord({{"P11WATCH_LIMIT", "12k"}});
    expectNoRecord({{"P11WATCH_LIMIT", "0"}});
    expectNoRecord({{"P11WATCH_LIMIT", "-5"}});
    EXPECT_FALSE(std::filesystem::exists(record()));
}

TEST_F(Watch, withALimitHasTwoFilesAtMost) {
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(watched({"readers"}, {{"P11WATCH_LIMIT", "3000"}}).errors, "");
    }
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder())) {
        files += entry.path().filename().string().starts_with("record.jsonl") ? 1U : 0U;
    }
    EXPECT_EQ(files, 2U);
    for (const std::string& file : {record(), record() + ".1"}) {
        EXPECT_EQ(modeOf(file), 0600U);
        EXPECT_FALSE(recordsOf(file).empty());
        EXPECT_LT(contentOf(file).size(), 6000U);
    }
}

TEST_F(Watch, withALimitSaysThatItCannotBeKept) {
    std::filesystem::create_directories(record() + ".1/full");
    const Outcome outcome = watched({"readers"}, {{"P11WATCH_LIMIT", "1000"}});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors,
                StartsWith("p11watch: cannot rename the record \"" + record() + "\", which grows over its limit: "));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_TRUE(callsOf(record()).contains("C_Finalize")) << "no call is lost";
}

TEST_F(Watch, ofAKilledHostHasEachCallThatEnded) {
    Environment environment = {{"SOFTHSM2_CONF", configuration()}};
    Child child(command({"--watch", record(), "run", "-"}), environment);
    child.write(kJob);
    for (int i = 0; i < 2; ++i) {
        EXPECT_NE(child.readLine(), "");
    }
    ASSERT_THAT(child.readLine(), HasSubstr("READERS"));
    ASSERT_EQ(::kill(static_cast<pid_t>(child.process()), SIGKILL), 0);
    EXPECT_EQ(child.wait(), -1);
    const std::vector<json> lines = recordsOf(record());
    ASSERT_FALSE(lines.empty());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].at("n"), i + 1);
    }
    EXPECT_TRUE(callsOf(record()).contains("C_GetSlotInfo"));
}

TEST_F(Watch, ofSeveralHostsAtOnce) {
    const std::size_t calls = [&] {
        EXPECT_EQ(watched({"readers"}).status, 0);
        return recordsOf(record()).size();
    }();
    constexpr int kHosts = 4;
    {
        std::vector<std::jthread> hosts;
        for (int i = 0; i < kHosts; ++i) {
            hosts.emplace_back([this] { EXPECT_EQ(watched({"readers"}).errors, ""); });
        }
    }
    std::map<std::uint64_t, std::size_t> processes;
    for (const json& line : recordsOf(record())) {
        ++processes[line.at("process").get<std::uint64_t>()];
    }
    EXPECT_EQ(processes.size(), kHosts + 1U);
    for (const auto& [process, count] : processes) {
        EXPECT_EQ(count, calls) << process;
    }
}

} // namespace
} // namespace tests
