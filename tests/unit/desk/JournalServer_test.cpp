// A desk whose server goes away. tests/desk/journal runs these.

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "host/desk/journal/Journal.h"
#include "tests/unit/desk/Desks.h"
#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;

const DeskPlan kServersDesk = {"employee card", "AB", {"init-token", "certify"}};
/// Those of the server's own processes, which look after tables, are left out.
const std::string kWaiting = " FROM pg_stat_activity WHERE wait_event = 'SyncRep' AND backend_type = 'client backend'";

class JournalServerTest : public ::testing::TestWithParam<const char*> {
protected:
    JournalServerTest() : m_desk(tests::makeDesk(GetParam())) {
        m_journal.emplace(m_desk->name(), IfMissing::Make, access());
    }
    ~JournalServerTest() override { m_desk->sql() << "SELECT pg_reload_conf()"; }
    JournalServerTest(const JournalServerTest&) = delete;
    JournalServerTest& operator=(const JournalServerTest&) = delete;

    void setUp() {
        m_journal->holdStation("north");
        m_journal->setUp(kServersDesk, {{1, "Jane", "01"}, {2, "Joe", "02"}});
    }
    ServerAccess access() {
        ServerAccess access;
        access.patience = std::chrono::seconds(20);
        access.tell = [this](const std::string& text) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_told += text + "\n";
        };
        return access;
    }
    void terminateConnections() {
        m_desk->sql()
            << "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() AND "
               "pid <> pg_backend_pid()";
    }
    /// As when the network breaks.
    void endConnections() {
        terminateConnections();
        waitFor("SELECT COUNT(*) FROM pg_stat_activity WHERE datname = current_database() AND pid <> pg_backend_pid() "
                "AND backend_type = 'client backend'",
                0);
    }
    [[nodiscard]] int number(const std::string& question) {
        int answer = -1;
        m_desk->sql() << question, soci::into(answer);
        return answer;
    }
    void waitFor(const std::string& question, int answer) {
        for (int i = 0; i < 2000 && number(question) != answer; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_EQ(answer, number(question)) << question;
    }
    /// From now on a commit waits for a second server that is not there: it is on disk, and its answer does not come.
    /// The server reads its settings some time after it was asked to: commits of the test's own show when it has. Ends
    /// all connections.
    void haveCommitsWait() {
        m_desk->sql() << "ALTER SYSTEM SET synchronous_standby_names = 'nobody'";
        m_desk->sql() << "SELECT pg_reload_conf()";
        std::thread commits([] {
            try {
                soci::session session("postgresql", tests::serverUrl());
                for (;;) {
                    session << "SELECT txid_current()";
                }
            } catch (const soci::soci_error&) { // the connection was ended
            }
        });
        waitFor("SELECT COUNT(*)" + kWaiting, 1);
        endConnections();
        commits.join();
    }
    [[nodiscard]] Claim blank() { return m_journal->claimBlank("north", "Reader", Journal::Pinned::Leave).value(); }

    std::mutex m_mutex;
    std::string m_told;
    std::unique_ptr<tests::Desk> m_desk;
    std::optional<Journal> m_journal;
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(JournalServerTest);
INSTANTIATE_TEST_SUITE_P(Servers, JournalServerTest, ::testing::ValuesIn(tests::servers()), tests::nameOfDatabase);

TEST_P(JournalServerTest, GoesOnWhenTheConnectionWasLost) {
    setUp();
    const Claim claim = blank();
    endConnections();
    m_journal->beginStep(claim, 1, "init-token");
    endConnections();
    m_journal->renewLeases("north");
    endConnections();
    EXPECT_EQ(2, m_journal->totals().total());
    endConnections();
    EXPECT_EQ(2, blank().row);
    EXPECT_EQ(2U, m_journal->read().attempts.size());
    EXPECT_EQ(1U, m_journal->read().attempts[0].steps.size());
    EXPECT_EQ("the server of the desk went away; work waits for it up to 20 s\n"
              "the server of the desk is back, and work goes on\n",
              m_told.substr(0, m_told.size() / 4));
}

TEST_P(JournalServerTest, HoldsTheStationsNameAgain) {
    setUp();
    endConnections();
    EXPECT_EQ(2, m_journal->totals().waiting);
    Journal other(m_desk->name(), IfMissing::Refuse);
    EXPECT_NE("", tests::refusal([&] { other.holdStation("north"); }));
}

TEST_P(JournalServerTest, StopsWhenAnotherProcessHasTakenTheName) {
    setUp();
    endConnections();
    Journal other(m_desk->name(), IfMissing::Refuse);
    other.holdStation("north");
    for (int i = 0; i < 2; ++i) { // it stays so
        try {
            [[maybe_unused]] const Claim claim = blank();
            FAIL() << "it went on";
        } catch (const JournalError& error) {
            EXPECT_STREQ("another process has taken the station's name \"north\" while the server of the desk was away",
                         error.what());
        }
    }
}

TEST_P(JournalServerTest, DoesNothingTwiceWhenTheAnswerToACommitIsLost) {
    setUp();
    soci::session& sql = m_desk->sql();
    haveCommitsWait();
    std::optional<Claim> claim;
    std::thread station([&] { claim = blank(); });
    waitFor("SELECT COUNT(*)" + kWaiting, 1);
    const int waiting = number("SELECT pid" + kWaiting);
    sql << "ALTER SYSTEM RESET synchronous_standby_names"; // the server reads it later
    terminateConnections();
    // The station connects again at once.
    waitFor("SELECT COUNT(*) FROM pg_stat_activity WHERE pid = " + std::to_string(waiting), 0);
    sql << "SELECT pg_reload_conf()";
    station.join();
    ASSERT_TRUE(claim.has_value());
    EXPECT_EQ(1, claim->row);
    EXPECT_EQ(1, number("SELECT COUNT(*) FROM attempt"));
    EXPECT_EQ(1, number("SELECT attempts FROM desk"));
    m_journal->beginStep(*claim, 1, "init-token");
}

TEST_P(JournalServerTest, DoesItAgainWhenTheConnectionEndsAtACommit) {
    setUp();
    soci::session& sql = m_desk->sql();
    sql << "CREATE FUNCTION away() RETURNS TRIGGER AS $$ BEGIN IF nextval('times') = 1 THEN PERFORM "
           "pg_terminate_backend(pg_backend_pid()); END IF; RETURN NULL; END $$ LANGUAGE plpgsql";
    sql << "CREATE SEQUENCE times";
    sql << "CREATE CONSTRAINT TRIGGER away AFTER INSERT ON attempt DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE "
           "FUNCTION away()";
    EXPECT_EQ(1, blank().row);
    EXPECT_EQ(2, number("SELECT last_value FROM times")) << "it was tried once, and once again";
    EXPECT_EQ(1, number("SELECT COUNT(*) FROM attempt"));
}

TEST_P(JournalServerTest, MakesNoDeskInADatabaseThatCannotHoldEveryName) {
    m_desk->sql() << "DROP DATABASE IF EXISTS latin";
    m_desk->sql() << "CREATE DATABASE latin ENCODING 'LATIN1' LC_COLLATE 'C' LC_CTYPE 'C' TEMPLATE template0";
    std::string url = tests::serverUrl();
    url.replace(url.find("/desk?"), 6, "/latin?");
    EXPECT_EQ(
        "--desk: the database is encoded in LATIN1; make one with ENCODING 'UTF8', so that it can hold every name",
        tests::refusal([&] { Journal(url, IfMissing::Make); }));
}

TEST_P(JournalServerTest, TakesNoMoreRightsThanItNeeds) {
    setUp();
    soci::session& sql = m_desk->sql();
    sql << "GRANT USAGE ON SCHEMA test TO station";
    sql << "GRANT SELECT, INSERT, UPDATE ON ALL TABLES IN SCHEMA test TO station";
    std::string url = m_desk->name();
    url.replace(url.find("user=desk"), 9, "user=station");
    ServerAccess access;
    const std::string password = tests::stationPassword();
    access.password.assign(password.begin(), password.end());
    Journal station(url, IfMissing::Refuse, access);
    station.holdStation("south");
    station.setUp(kServersDesk, {{1, "Jane", "01"}, {2, "Joe", "02"}, {3, "Max", "03"}});
    station.recover("south");
    const Claim claim = station.claimBlank("south", "Reader", Journal::Pinned::Leave).value();
    station.beginStep(claim, 2, "certify");
    station.setCertificate(claim, "PEM");
    station.fail(claim, {AttemptState::Failed, RowState::Failed, "no", ""});
    station.retryFailed();
    EXPECT_EQ(3, station.totals().waiting);
    access.password.back() = access.password.back() == 'x' ? 'y' : 'x';
    try {
        Journal(url, IfMissing::Refuse, access);
        FAIL() << "a wrong password was taken";
    } catch (const JournalError& error) {
        const std::string text = error.what();
        EXPECT_NE(std::string::npos, text.find("password authentication failed")) << text;
        EXPECT_EQ(std::string::npos, text.find(password.substr(0, password.size() - 1))) << text;
    }
}

TEST_P(JournalServerTest, GivesUpWhenTheServerStaysAway) {
    ServerAccess access;
    access.patience = std::chrono::milliseconds(600);
    Journal station(m_desk->name(), IfMissing::Make, access);
    station.setUp(kServersDesk, {{1, "Jane", "01"}});
    std::string url = tests::serverUrl();
    soci::session beside("postgresql", url.replace(url.find("/desk?"), 6, "/postgres?"));
    beside << "ALTER DATABASE desk ALLOW_CONNECTIONS false";
    endConnections();
    std::string first;
    try {
        station.expireLeases();
    } catch (const JournalError& error) {
        first = error.what();
    }
    beside << "ALTER DATABASE desk ALLOW_CONNECTIONS true";
    EXPECT_EQ(0U, first.find("the server of the desk was away for more than 1 s: the desk \"postgresql://")) << first;
    EXPECT_THROW(station.expireLeases(), JournalError) << "it does not begin again in the middle";
}

} // namespace
