// What a long list costs: work is counted, by SQLite's own steps and by allocations, and no time is measured.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/desk/journal/Journal.h"
#include "host/desk/list/PersonList.h"
#include "tests/heap/Heap.h"
#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;
namespace fs = std::filesystem;

long g_steps = 0;

int countStep(void* /*nothing*/) {
    ++g_steps;
    return 0;
}

/// Called by SQLite for each database that is opened.
int countStepsOf(sqlite3* database, char** /*message*/, const void* /*functions*/) {
    sqlite3_progress_handler(database, 1, countStep, nullptr);
    return SQLITE_OK;
}

void (*counter())() {
    return reinterpret_cast<void (*)()>(&countStepsOf);
}

/// A desk whose first row has an interrupted card.
class LongDesk {
public:
    explicit LongDesk(int rows) : m_file(fs::temp_directory_path() / ("desk growth " + std::to_string(rows) + ".db")) {
        remove();
        sqlite3_auto_extension(counter());
        m_journal.emplace(m_file.string(), IfMissing::Make);
        for (int i = 1; i <= rows; ++i) {
            m_rows.push_back({i, "Person " + std::to_string(i), "AB"});
        }
    }
    LongDesk(const LongDesk&) = delete;
    LongDesk& operator=(const LongDesk&) = delete;
    ~LongDesk() {
        m_journal.reset();
        sqlite3_cancel_auto_extension(counter());
        remove();
    }

    template <class Work>
    long stepsOf(Work&& work) {
        const long before = g_steps;
        work(*m_journal);
        return g_steps - before;
    }

    void setUp(Journal& journal) const { journal.setUp({"card", "AB", {"init-token", "check"}}, m_rows); }
    static Claim begin(Journal& journal) { return journal.claimBlank("a", "Reader", Journal::Pinned::Leave).value(); }
    static void interruptOne(Journal& journal) {
        const Claim claim = begin(journal);
        journal.beginStep(claim, 1, "init-token");
        journal.setSerial(claim, "S");
        journal.fail(claim, {AttemptState::Interrupted, RowState::Waiting, "pulled out", ""});
    }

private:
    void remove() const {
        for (const char* const end : {"", "-wal", "-shm"}) {
            std::error_code ignored;
            fs::remove(m_file.string() + end, ignored);
        }
    }

    fs::path m_file;
    std::vector<DeskRow> m_rows;
    std::optional<Journal> m_journal;
};

/// The steps of everything that a run does again and again.
std::vector<long> costsOfWork(int rows) {
    LongDesk desk(rows);
    desk.stepsOf([&](Journal& journal) { desk.setUp(journal); });
    desk.stepsOf(LongDesk::interruptOne);
    Claim claim;
    return {desk.stepsOf([](Journal& journal) { EXPECT_TRUE(journal.findCard("S")); }),
            desk.stepsOf([](Journal& journal) { EXPECT_FALSE(journal.claimToErase("a", "Reader", "unknown")); }),
            desk.stepsOf([&](Journal& journal) { claim = journal.claimToResume("a", "Reader", "S").value(); }),
            desk.stepsOf([&](Journal& journal) { journal.beginStep(claim, 2, "check"); }),
            desk.stepsOf([&](Journal& journal) { journal.finish(claim); }),
            desk.stepsOf([&](Journal& journal) { claim = LongDesk::begin(journal); }),
            desk.stepsOf([](Journal& journal) { journal.renewLeases("a"); }),
            desk.stepsOf([](Journal& journal) { EXPECT_EQ(journal.expireLeases(), 0); }),
            desk.stepsOf([](Journal& journal) { EXPECT_TRUE(journal.hasOpenRows()); })};
}

TEST(DeskGrowth, whatEachCardCostsDoesNotDependOnTheLengthOfTheList) {
    const std::vector<long> few = costsOfWork(500);
    const std::vector<long> many = costsOfWork(1000);
    ASSERT_EQ(few.size(), many.size());
    for (std::size_t i = 0; i < few.size(); ++i) {
        EXPECT_GT(few[i], 0) << "the count sees nothing";
        EXPECT_LE(many[i], few[i] + 20) << "operation " << i;
    }
}

TEST(DeskGrowth, theStartGrowsAsTheListDoes) {
    const auto stepsOfStart = [](int rows) {
        LongDesk desk(rows);
        return desk.stepsOf([&](Journal& journal) { desk.setUp(journal); }) +
               desk.stepsOf([&](Journal& journal) { desk.setUp(journal); });
    };
    const long few = stepsOfStart(500);
    EXPECT_GT(few, 500) << "the count sees nothing";
    EXPECT_LE(stepsOfStart(1000) * 10, few * 21);
}

TEST(DeskGrowth, readingTheListGrowsAsTheListDoes) {
    const Plan plan = readPlan(tests::kPlan, "plan.json");
    const auto blocksOf = [&](int rows) {
        std::string csv = "number,name\n";
        for (int i = 1; i <= rows; ++i) {
            csv += std::to_string(i) + ",Somebody with a long name " + std::to_string(i) + "\n";
        }
        const std::size_t before = TestHeap::blocksTaken();
        const std::vector<ListedPerson> persons = readPersonList(csv, "people.csv", plan.columns);
        checkPersons(persons, "people.csv", plan);
        EXPECT_EQ(persons.size(), static_cast<std::size_t>(rows));
        return TestHeap::blocksTaken() - before;
    };
    const std::size_t few = blocksOf(500);
    EXPECT_GT(few, 500U) << "the count sees nothing";
    EXPECT_LE(blocksOf(1000) * 10, few * 21);
}

} // namespace
