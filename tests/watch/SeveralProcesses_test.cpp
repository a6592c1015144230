#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "platform/Process.h"
#include "platform/Program.h"
#include "tests/watch/WatchTest.h"

// Programs that are started on their own write into one record, on both systems. This program is those programs, too.

using namespace tests;

namespace {

constexpr std::size_t kWriters = 3;
constexpr CK_ULONG kCallsEach = 2000;

constexpr const char* kIsWriter = "WATCH_TEST_IS_WRITER";

/// Makes the calls of one process, into the record that the environment names when SeveralProcesses runs it.
TEST(SeveralProcessesWriter, MakesCalls) {
    const Folder folder;
    if (platform::environmentText(kIsWriter).empty()) {
        platform::setEnvironmentVariable("P11WATCH_MODULE", LOUD_MODULE);
        platform::setEnvironmentVariable("P11WATCH_FILE", folder.file("record.jsonl"));
    }
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    ASSERT_TRUE(watch.isLoaded());
    CK_FUNCTION_LIST* list = nullptr;
    ASSERT_EQ(reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"))(&list), CKR_OK);
    for (CK_ULONG i = 0; i < kCallsEach; ++i) {
        EXPECT_EQ(list->C_CloseSession(i), CKR_OK);
    }
    EXPECT_EQ(list->C_Finalize(nullptr), CKR_OK);
}

class SeveralProcesses : public WatchTest {
protected:
    void runWriters() const {
        platform::setEnvironmentVariable(kIsWriter, "1");
        std::vector<platform::Program> writers;
        for (std::size_t i = 0; i < kWriters; ++i) {
            std::optional<platform::Program> writer =
                platform::Program::start({platform::executablePath(), "--gtest_filter=SeveralProcessesWriter.*",
                                          "--gtest_output=json:" + folder.file("results") + std::to_string(i)});
            ASSERT_TRUE(writer) << platform::Program::lastError();
            writers.push_back(std::move(*writer));
        }
        for (platform::Program& writer : writers) {
            char text[1024];
            while (writer.output().read(text, sizeof text).value_or(0) > 0) {
            }
            EXPECT_EQ(writer.wait(), 0);
        }
        platform::removeEnvironmentVariable(kIsWriter);
    }
    /// Each process has written each of its calls once.
    void expectAllCalls(const std::vector<Json>& all) const {
        std::map<std::uint64_t, std::multiset<std::uint64_t>> numbers;
        for (const Json& line : all) {
            numbers[line["process"].get<std::uint64_t>()].insert(line["n"].get<std::uint64_t>());
        }
        std::multiset<std::uint64_t> wanted;
        for (std::uint64_t n = 1; n <= kCallsEach + 2; ++n) {
            wanted.insert(n);
        }
        EXPECT_EQ(numbers.size(), kWriters);
        for (const auto& [process, found] : numbers) {
            EXPECT_EQ(found, wanted) << process;
        }
    }
};

TEST_F(SeveralProcesses, LoseAndMixNoLine) {
    runWriters();
    expectAllCalls(lines());
}

TEST_F(SeveralProcesses, LoseNoLineWhenTheRecordBecomesAnother) {
    runWriters();
    const auto whole = std::filesystem::file_size(record);
    std::filesystem::remove(record);
    // It is full once.
    platform::setEnvironmentVariable("P11WATCH_LIMIT", std::to_string(whole * 2 / 3));
    runWriters();
    std::vector<Json> all = linesOf(record + ".1");
    EXPECT_FALSE(all.empty());
    const std::vector<Json> newer = lines();
    EXPECT_FALSE(newer.empty());
    all.insert(all.end(), newer.begin(), newer.end());
    expectAllCalls(all);
}

} // namespace
