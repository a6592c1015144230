// SQLite through SOCI, as the issuing desk uses it: the properties on which a journal relies when a process is killed
// or several processes share one file.

#include <gtest/gtest.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

constexpr int kFullySynchronous = 2;
constexpr int kBusy = 5;
constexpr int kNoDatabase = 26;

class Database : public testing::Test {
protected:
    Database() : m_folder(std::filesystem::temp_directory_path() / ("zel-database-" + std::to_string(m_random()))) {
        std::filesystem::create_directory(m_folder);
    }
    ~Database() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    /// With a blank, a percent sign and a letter beyond ASCII in its name.
    [[nodiscard]] std::filesystem::path file() const { return m_folder / u8"desk 100% f\u00FCr alle.db"; }

    /// Connection text for the file: a URI, because SOCI takes blanks and quotes for the end of a name.
    [[nodiscard]] std::string connection() const {
        static const std::string kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._~-:";
        const std::u8string name = file().generic_u8string();
        std::string uri = name.starts_with(u8'/') ? "file:" : "file:///";
        for (const char8_t byte : name) {
            const char character = static_cast<char>(byte);
            const char* const digits = "0123456789ABCDEF";
            if (kPlain.find(character) != std::string::npos) {
                uri += character;
            } else {
                uri += {'%', digits[byte >> 4], digits[byte & 15]};
            }
        }
        return "db=" + uri + " timeout=0";
    }

    static int number(soci::session& sql, const std::string& question) {
        int answer = -1;
        sql << question, soci::into(answer);
        return answer;
    }

    static std::string text(soci::session& sql, const std::string& question) {
        std::string answer;
        sql << question, soci::into(answer);
        return answer;
    }

    /// The result code with which the statement fails; 0 when it does not.
    static int resultOf(soci::session& sql, const std::string& statement) {
        try {
            sql << statement;
            return 0;
        } catch (const soci::sqlite3_soci_error& error) {
            return error.result();
        }
    }

private:
    std::random_device m_random;
    std::filesystem::path m_folder;
};

TEST_F(Database, keepsAJournalBesideTheFileAndWaitsForTheDisk) {
    soci::session sql(soci::sqlite3, connection());
    EXPECT_EQ(text(sql, "PRAGMA journal_mode=WAL"), "wal");
    sql << "PRAGMA synchronous=FULL";
    EXPECT_EQ(number(sql, "PRAGMA synchronous"), kFullySynchronous);
    sql << "CREATE TABLE person (name TEXT NOT NULL)";
    EXPECT_TRUE(std::filesystem::exists(file()));
    EXPECT_TRUE(std::filesystem::exists(file() += "-wal"));
}

TEST_F(Database, givesBackTextsOfAnyLanguageAndNumbersOf64Bits) {
    const std::string name = "Zo\xC3\xAB 'O''Brien'; \xE2\x82\xAC\xF0\x9F\x98\x80";
    const long long moment = 1'795'000'000'123'456;
    {
        soci::session sql(soci::sqlite3, connection());
        sql << "CREATE TABLE person (name TEXT NOT NULL, moment INTEGER NOT NULL)";
        sql << "INSERT INTO person VALUES (:name, :moment)", soci::use(name), soci::use(moment);
    }
    soci::session sql(soci::sqlite3, connection());
    std::string readName;
    long long readMoment = 0;
    sql << "SELECT name, moment FROM person", soci::into(readName), soci::into(readMoment);
    EXPECT_EQ(readName, name);
    EXPECT_EQ(readMoment, moment);
}

TEST_F(Database, showsReadersOnlyWhatIsCommitted) {
    soci::session writer(soci::sqlite3, connection());
    EXPECT_EQ(text(writer, "PRAGMA journal_mode=WAL"), "wal");
    writer << "CREATE TABLE person (name TEXT NOT NULL)";
    soci::session reader(soci::sqlite3, connection());
    {
        const soci::transaction uncommitted(writer);
        writer << "INSERT INTO person VALUES ('Ada')";
        EXPECT_EQ(number(reader, "SELECT COUNT(*) FROM person"), 0);
    }
    EXPECT_EQ(number(reader, "SELECT COUNT(*) FROM person"), 0);
    soci::transaction committed(writer);
    writer << "INSERT INTO person VALUES ('Ada')";
    committed.commit();
    EXPECT_EQ(number(reader, "SELECT COUNT(*) FROM person"), 1);
}

TEST_F(Database, letsOneWriteAtATime) {
    soci::session first(soci::sqlite3, connection());
    EXPECT_EQ(text(first, "PRAGMA journal_mode=WAL"), "wal");
    soci::session second(soci::sqlite3, connection());
    EXPECT_EQ(resultOf(first, "BEGIN IMMEDIATE"), 0);
    EXPECT_EQ(resultOf(second, "BEGIN IMMEDIATE"), kBusy);
    EXPECT_EQ(resultOf(first, "COMMIT"), 0);
    EXPECT_EQ(resultOf(second, "BEGIN IMMEDIATE"), 0);
    EXPECT_EQ(resultOf(second, "COMMIT"), 0);
}

TEST_F(Database, refusesAFileThatIsNoDatabase) {
    std::ofstream(file(), std::ios::binary) << std::string(5000, 'x');
    // A statement finds out. An option of the connection would, too, and SOCI would lose the connection's memory.
    soci::session sql(soci::sqlite3, connection());
    EXPECT_EQ(resultOf(sql, "PRAGMA synchronous=FULL"), kNoDatabase);
    EXPECT_EQ(std::filesystem::file_size(file()), 5000U);
}

} // namespace
