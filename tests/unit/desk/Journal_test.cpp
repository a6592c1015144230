#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <numeric>
#include <thread>

#include "host/desk/journal/Journal.h"
#include "tests/unit/desk/Desks.h"
#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;
namespace fs = std::filesystem;

const DeskPlan kDesk = {"employee card", "AB", {"init-token", "set-pin", "certify", "check"}};
const std::vector<DeskRow> kRows = {{1, "Jane", "01"}, {2, "Joe", "02"}, {3, "Max", "03"}};

/// Each test runs on a desk in a file, whose name no option parser likes, or on a server's: see Desks.h.
class JournalTest : public ::testing::TestWithParam<const char*> {
protected:
    JournalTest() : m_desk(tests::makeDesk(GetParam())) {
        m_journal.emplace(m_desk->name(), IfMissing::Make);
        m_journal->setUp(kDesk, kRows);
    }

    [[nodiscard]] std::string file() const { return m_desk->name(); }
    [[nodiscard]] Claim blank(const std::string& station = "a") {
        return m_journal->claimBlank(station, "Reader", Journal::Pinned::Leave).value();
    }
    void doSteps(const Claim& claim, int first, int last) {
        for (int i = first; i <= last; ++i) {
            m_journal->beginStep(claim, i, kDesk.steps[static_cast<std::size_t>(i) - 1]);
        }
    }
    /// As if the process had been killed and started again.
    void restart() {
        m_journal.reset();
        m_journal.emplace(file(), IfMissing::Refuse);
        m_journal->setUp(kDesk, kRows);
    }

    std::unique_ptr<tests::Desk> m_desk;
    std::optional<Journal> m_journal;
};

class JournalFileTest : public JournalTest {};

INSTANTIATE_TEST_SUITE_P(Databases, JournalTest, ::testing::ValuesIn(tests::databases()), tests::nameOfDatabase);
INSTANTIATE_TEST_SUITE_P(Databases, JournalFileTest, ::testing::Values("file"), tests::nameOfDatabase);

TEST_P(JournalTest, GivesEachRowToOneClaim) {
    EXPECT_EQ(1, blank("a").row);
    EXPECT_EQ(2, blank("b").row);
    EXPECT_EQ(3, blank("a").row);
    EXPECT_FALSE(m_journal->claimBlank("a", "Reader", Journal::Pinned::Take).has_value());
    EXPECT_EQ(3, m_journal->totals().running);
}

TEST_P(JournalTest, KeepsWhatWasDone) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setSerial(claim, "S1");
    doSteps(claim, 2, 4);
    m_journal->finish(claim);
    restart();
    const DeskRecord record = m_journal->read();
    EXPECT_EQ("employee card", record.plan);
    EXPECT_EQ(kDesk.steps, record.steps);
    ASSERT_EQ(1U, record.attempts.size());
    EXPECT_EQ(AttemptState::Done, record.attempts[0].state);
    EXPECT_EQ("S1", record.attempts[0].serial);
    ASSERT_EQ(4U, record.attempts[0].steps.size());
    EXPECT_TRUE(record.attempts[0].steps[3].ended.has_value());
    EXPECT_GE(*record.attempts[0].ended, record.attempts[0].begun);
    EXPECT_GT(record.attempts[0].begun, 1'700'000'000'000'000);
    EXPECT_EQ(RowState::Done, record.rows[0].state);
    EXPECT_EQ(RowState::Waiting, record.rows[1].state);
}

TEST_P(JournalTest, GoesOnWithAnInterruptedCard) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setSerial(claim, "S1");
    doSteps(claim, 2, 2);
    restart();
    EXPECT_EQ(1, m_journal->recover("a"));
    EXPECT_EQ(0, m_journal->recover("a"));
    const KnownCard known = m_journal->findCard("S1").value();
    EXPECT_EQ(AttemptState::Interrupted, known.state);
    EXPECT_EQ(RowState::Waiting, known.rowState);
    EXPECT_TRUE(known.isLatest);
    EXPECT_EQ(2, blank("b").row); // the first row waits for its card
    const Claim again = m_journal->claimToResume("a", "Reader", "S1").value();
    EXPECT_EQ(claim.attempt, again.attempt);
    EXPECT_EQ(1, again.stepsDone);
    EXPECT_TRUE(again.isUnderWay);
}

TEST_P(JournalTest, AUsedCardLeavesARowToItsInterruptedCard) {
    for (const char* const serial : {"S1", "S2", "S3"}) {
        m_journal->setSerial(blank(), serial);
    }
    m_journal->recover("a");
    EXPECT_FALSE(m_journal->claimUsed("a", "Reader", "U", Journal::Pinned::Leave).has_value());
    EXPECT_EQ(1, m_journal->claimUsed("a", "Reader", "U", Journal::Pinned::Take)->row);
}

TEST_P(JournalTest, NotesACertificateOfWhichNobodyKnows) {
    const Claim claim = blank();
    doSteps(claim, 1, 3); // the authority was asked
    restart();
    m_journal->recover("a");
    const DeskRecord record = m_journal->read();
    ASSERT_EQ(1U, record.revocations.size());
    EXPECT_EQ("", record.revocations[0].certificate);
    EXPECT_EQ(1, record.revocations[0].row);
}

TEST_P(JournalTest, NotesTheCertificateOfACardThatIsNotFinished) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setSerial(claim, "S1");
    doSteps(claim, 2, 3);
    m_journal->setCertificate(claim, "PEM");
    doSteps(claim, 4, 4);
    m_journal->recover("a");
    EXPECT_TRUE(m_journal->read().revocations.empty()) << "it may still be finished";
    const Claim anew = m_journal->claimToErase("a", "Reader", "S1").value();
    EXPECT_NE(claim.attempt, anew.attempt);
    EXPECT_EQ(0, anew.stepsDone);
    const DeskRecord record = m_journal->read();
    ASSERT_EQ(1U, record.revocations.size());
    EXPECT_EQ("PEM", record.revocations[0].certificate);
    EXPECT_THROW(m_journal->beginStep(claim, 4, "check"), ClaimLost);
}

TEST_P(JournalTest, GivesAPinnedRowToABlankCardOnlyWhenAsked) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setSerial(claim, "S1");
    m_journal->fail(claim, {AttemptState::Interrupted, RowState::Waiting, "gone", ""});
    EXPECT_EQ(2, blank().row);
    EXPECT_EQ(3, blank().row);
    EXPECT_FALSE(m_journal->claimBlank("a", "Reader", Journal::Pinned::Leave).has_value());
    EXPECT_EQ(1, m_journal->claimBlank("a", "Reader", Journal::Pinned::Take)->row);
    EXPECT_FALSE(m_journal->findCard("S1")->isLatest);
}

TEST_P(JournalTest, AFailedRowWaitsAgainWhenAsked) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setCertificate(claim, "PEM");
    m_journal->fail(claim, {AttemptState::Failed, RowState::Failed, "no key", "try again"});
    EXPECT_EQ(1, m_journal->totals().failed);
    EXPECT_EQ("no key", m_journal->read().rows[0].reason);
    EXPECT_TRUE(m_journal->read().attempts[0].steps[0].ended.has_value());
    EXPECT_EQ(1U, m_journal->read().revocations.size());
    const std::vector<Journal::Person> persons = m_journal->retryFailed();
    ASSERT_EQ(1U, persons.size());
    EXPECT_EQ(1, persons[0].row);
    EXPECT_EQ(m_journal->read().rows[0].who, persons[0].who);
    EXPECT_EQ(0U, m_journal->retryFailed().size());
    const Claim again = blank();
    EXPECT_EQ(1, again.row);
    EXPECT_EQ(1, again.failures);
    EXPECT_EQ(1U, m_journal->read().revocations.size()) << "each certificate stands there once";
}

TEST_P(JournalTest, ALostCardIsIssuedAnew) {
    const Claim claim = blank();
    m_journal->beginStep(claim, 1, "init-token");
    m_journal->setSerial(claim, "S1");
    m_journal->setCertificate(claim, "PEM");
    EXPECT_NE("", tests::refusal([&] { m_journal->redo(1); }));
    m_journal->finish(claim);
    EXPECT_EQ(m_journal->read().rows[0].who, m_journal->redo(1).who);
    EXPECT_EQ(AttemptState::Replaced, m_journal->findCard("S1")->state);
    EXPECT_EQ("PEM", m_journal->read().revocations.at(0).certificate);
    EXPECT_EQ(1, blank().row);
}

TEST_P(JournalTest, ARowCanBeTakenOut) {
    const Claim claim = blank();
    EXPECT_EQ("--row: row 1 is running; wait until its card is done or failed",
              tests::refusal([&] { m_journal->drop(claim.row); }));
    EXPECT_NE("", tests::refusal([&] { m_journal->drop(17); }));
    EXPECT_EQ(2, m_journal->drop(2).row);
    EXPECT_EQ("--row: row 2 is dropped; it is out of the batch already", tests::refusal([&] { m_journal->drop(2); }));
    EXPECT_EQ(1, m_journal->totals().dropped);
    EXPECT_EQ(2, m_journal->totals().total());
    EXPECT_EQ(3, blank().row);
}

TEST_P(JournalTest, RefusesAnotherPlanAndAChangedList) {
    const auto change = [&] { m_journal->setUp({"employee card", "CD", {}}, kRows); };
    EXPECT_EQ(
        "--desk: the plan was changed since the desk was made, and no card was begun with it: remove the desk, and "
        "run the command again",
        tests::refusal(change));
    std::vector<DeskRow> rows = kRows;
    rows[1].digest = "FF";
    EXPECT_EQ("--cards: row 2 of the list, \"Joe\", is not as it was when the desk was made; rows may be added at the "
              "end, and \"issue drop\" takes one out",
              tests::refusal([&] { m_journal->setUp(kDesk, rows); }));
    rows = kRows;
    rows.push_back({4, "Eve", "04"});
    m_journal->setUp(kDesk, rows);
    EXPECT_EQ(4, m_journal->totals().waiting);
    EXPECT_NE("", tests::refusal([&] { m_journal->setUp(kDesk, kRows); })) << "a row is missing";
    [[maybe_unused]] const Claim begun = blank();
    EXPECT_EQ(0U,
              tests::refusal(change).find("--desk: the desk belongs to another plan, \"employee card\", or the plan"));
}

TEST_P(JournalFileTest, LeavesFilesAloneThatAreNoDesk) {
    const std::string other = file() + ".txt";
    std::ofstream(fs::path(std::u8string(other.begin(), other.end()))) << std::string(4096, 'x');
    EXPECT_ANY_THROW(Journal(other, IfMissing::Make));
    std::ifstream stream(fs::path(std::u8string(other.begin(), other.end())));
    EXPECT_EQ(std::string(4096, 'x'), std::string(std::istreambuf_iterator<char>(stream), {}));
    EXPECT_NE("", tests::refusal([&] { Journal(file() + ".none", IfMissing::Refuse); }));
    EXPECT_FALSE(fs::exists(fs::path(file() + ".none")));
}

TEST_P(JournalFileTest, TellsADamagedDesk) {
    const Claim claim = blank();
    m_journal.reset();
    const std::string name = file();
    std::fstream stream(fs::path(std::u8string(name.begin(), name.end())),
                        std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(4096);
    stream << std::string(8192, '\xFF');
    stream.close();
    EXPECT_THROW(Journal(file(), IfMissing::Make), JournalError);
}

TEST_P(JournalTest, AStationsNameIsHeldOnce) {
    m_journal->holdStation("north");
    Journal other(file(), IfMissing::Refuse);
    EXPECT_EQ("--station: another process works at this desk as \"north\"; give each station a name of its own with "
              "--station",
              tests::refusal([&] { other.holdStation("north"); }));
    other.holdStation("south");
    m_journal.reset();
    other.holdStation("north");
}

TEST_P(JournalTest, StationsThatRaceGetEachRowOnce) {
    constexpr int kMany = 40;
    std::vector<DeskRow> rows = kRows;
    while (rows.size() < kMany) {
        rows.push_back({static_cast<std::int64_t>(rows.size()) + 1, "Nobody", "00"});
    }
    std::vector<std::vector<std::int64_t>> taken(4);
    std::vector<std::thread> stations;
    for (std::size_t i = 0; i < taken.size(); ++i) {
        stations.emplace_back([&, i] {
            const std::string name = "station" + std::to_string(i);
            Journal journal(file(), IfMissing::Make);
            journal.holdStation(name);
            journal.setUp(kDesk, rows); // all at once, with rows that are new
            while (const auto claim = journal.claimBlank(name, "Reader", Journal::Pinned::Take)) {
                journal.beginStep(*claim, 1, "init-token");
                journal.setSerial(*claim, "S" + std::to_string(claim->row));
                journal.renewLeases(name);
                journal.expireLeases();
                journal.finish(*claim);
                taken[i].push_back(claim->row);
            }
        });
    }
    std::vector<std::int64_t> all;
    for (std::size_t i = 0; i < taken.size(); ++i) {
        stations[i].join();
        all.insert(all.end(), taken[i].begin(), taken[i].end());
    }
    std::sort(all.begin(), all.end());
    std::vector<std::int64_t> each(kMany);
    std::iota(each.begin(), each.end(), 1);
    EXPECT_EQ(each, all);
    EXPECT_EQ(kMany, m_journal->totals().done);
    EXPECT_EQ(static_cast<std::size_t>(kMany), m_journal->read().attempts.size());
}

TEST_P(JournalTest, TheRowsOfAStationThatNoLongerAnswersGoToOthers) {
    const Claim claim = blank("north");
    m_journal->beginStep(claim, 1, "init-token");
    EXPECT_EQ(0, m_journal->expireLeases());
    m_desk->endLeases();
    EXPECT_EQ(1, m_journal->expireLeases());
    EXPECT_EQ(1, blank("south").row);
    // The first one was only stopped, and goes on.
    m_journal->renewLeases("north");
    EXPECT_THROW(m_journal->beginStep(claim, 2, "set-pin"), ClaimLost);
    EXPECT_THROW(m_journal->setSerial(claim, "S1"), ClaimLost);
    EXPECT_THROW(m_journal->finish(claim), ClaimLost);
    EXPECT_THROW(m_journal->fail(claim, {AttemptState::Failed, RowState::Failed, "late", ""}), ClaimLost);
    m_journal->revoke(claim, "PEM", "its row was lost");
    EXPECT_EQ("PEM", m_journal->read().revocations.at(0).certificate);
}

TEST_P(JournalTest, KeepsTextsAsTheyAre) {
    const std::string text = "Zo\xC3\xAB 'O''Brien'; \\ :row $1 \xE2\x82\xAC\xF0\x9F\x98\x80";
    std::vector<DeskRow> rows = kRows;
    rows.push_back({4, text, "04"});
    m_journal->setUp(kDesk, rows);
    const Claim claim = blank();
    m_journal->setSerial(claim, text);
    m_journal->setCertificate(claim, text);
    m_journal->fail(claim, {AttemptState::Failed, RowState::Failed, text, text});
    const DeskRecord record = m_journal->read();
    EXPECT_EQ(text, record.rows[3].who);
    EXPECT_EQ(text, record.rows[0].remedy);
    EXPECT_EQ(text, record.attempts[0].serial);
    EXPECT_EQ(text, record.revocations[0].certificate);
    EXPECT_TRUE(m_journal->findCard(text).has_value());
}

TEST(Desk, TakesNoPasswordFromTheCommandLine) {
    for (const char* const url :
         {"postgresql://me:secret@db/desk", "postgresql://me:sec/ret@db/desk", "postgresql://me:secret@db",
          "postgres://db/desk?password=secret", "postgresql://db/desk?%70assword=secret",
          "postgresql://db/desk?sslpassword=secret"}) {
        const std::string text = tests::refusal([&] { Journal(url, IfMissing::Make); });
        EXPECT_NE(std::string::npos, text.find("PGPASSFILE")) << url;
        EXPECT_EQ(std::string::npos, text.find("secret"));
    }
}

} // namespace
