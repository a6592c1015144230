#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using json = nlohmann::json;

const std::string kLogin =
    R"({"n":1,"time":"1795351734000000000","duration":2000000,"process":7,"thread":8,"call":"C_Login",)"
    R"("in":{"session":1,"userType":"CKU_USER","pin":"masked"},"out":{},"result":"CKR_PIN_INCORRECT"})"
    "\n";
const std::string kLogout =
    R"({"n":2,"time":"1795351734005000000","duration":1000,"process":7,"thread":8,"call":"C_Logout",)"
    R"("in":{"session":1},"out":{},"result":"CKR_OK"})"
    "\n";

Outcome timeline(Words words) {
    words.insert(words.begin(), {hostProgram(), "timeline"});
    return run(words);
}

TEST(TimelineCommand, writesOnePageWithItsStyleScriptsAndData) {
    const File record(kLogin + kLogout);
    const File page("something old", "page.html");
    const Outcome made = timeline({record.path(), "--out", page.path()});
    EXPECT_EQ(made.status, 0) << made.errors;
    EXPECT_EQ(made.output + made.errors, "");
    EXPECT_THAT(page.content(), StartsWith("<!DOCTYPE html>"));
    for (const char* part :
         {"class Chart", "@media print", "CKR_PIN_INCORRECT", "Content-Security-Policy", "</html>"}) {
        EXPECT_THAT(page.content(), HasSubstr(part));
    }
    EXPECT_THAT(page.content(), Not(HasSubstr("something old")));
}

TEST(TimelineCommand, printsTablesAPictureOrNumbers) {
    const File record(kLogin + kLogout);
    const Outcome tables = timeline({record.path(), "--text"});
    EXPECT_EQ(tables.status, 0);
    EXPECT_THAT(tables.output, HasSubstr("\nC_Login                   1 2.00 ms 2.00 ms 2.00 ms 2.00 ms\n"));
    EXPECT_THAT(tables.output, HasSubstr("C_Login CKR_PIN_INCORRECT\n    once, first after 0\n"));
    EXPECT_THAT(timeline({record.path(), "--svg"}).output, StartsWith("<svg xmlns="));
    const json answer = json::parse(timeline({record.path(), "--json"}).output);
    EXPECT_EQ(answer.at("calls"), 2);
    EXPECT_EQ(answer.at("failed"), 1);
    EXPECT_EQ(answer.at("functions").at(0),
              json::parse(R"({"function":"C_Login","count":1,"failed":1,"sum":2000000,"median":2000000,
                              "percentile95":2000000,"longest":2000000})"));
}

TEST(TimelineCommand, oneFormIsNamed) {
    const File record(kLogin);
    EXPECT_EQ(timeline({record.path()}).status, 2);
    EXPECT_THAT(timeline({record.path()}).errors, HasSubstr("--out FILE for the page, or --text"));
    EXPECT_EQ(timeline({record.path(), "--text", "--svg"}).status, 2);
    EXPECT_EQ(timeline({}).status, 2);
}

TEST(TimelineCommand, aDamagedRecordIsRefusedAndTheOldResultKept) {
    const File record(kLogin + "{\"n\":2}\n" + kLogout);
    const File page("something old", "page.html");
    const Outcome refused = timeline({record.path(), "--out", page.path()});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("line 2: \"time\" is missing"));
    EXPECT_THAT(refused.errors, HasSubstr("Remove such lines"));
    EXPECT_EQ(page.content(), "something old");
    EXPECT_EQ(json::parse(timeline({record.path(), "--json"}).output).at("ok"), false);
}

TEST(TimelineCommand, whatCannotBeReadIsRefused) {
    const File empty("");
    EXPECT_EQ(timeline({empty.path(), "--text"}).status, 2);
    EXPECT_THAT(timeline({empty.path(), "--text"}).errors, HasSubstr("has no calls"));
    EXPECT_EQ(timeline({"no-such-record", "--text"}).status, 2);
    EXPECT_THAT(timeline({"no-such-record", "--text"}).errors, HasSubstr("cannot read the record \"no-such-record\""));
    EXPECT_EQ(timeline({".", "--text"}).status, 2);
}

TEST(TimelineCommand, aLastLineThatIsCutOffIsReportedAndTheRestShown) {
    const File record(kLogin + kLogout.substr(0, 30));
    const Outcome shown = timeline({record.path(), "--svg"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.errors, HasSubstr(", the last one, is cut off"));
    EXPECT_THAT(shown.output, HasSubstr("1 call, 1 failed"));
}

TEST(TimelineCommand, whatARotationLeftIsReadFirst) {
    const File record(kLogout);
    const File older(kLogin, "older");
    std::filesystem::rename(older.path(), record.path() + ".1");
    EXPECT_THAT(timeline({record.path(), "--text"}).output, StartsWith("2 calls, 1 failed"));
    const Outcome refused = timeline({record.path(), "--out", record.path() + ".1"});
    EXPECT_EQ(refused.status, 2);
    std::filesystem::remove(record.path() + ".1");
}

TEST(TimelineCommand, theResultNeverReplacesWhatIsRead) {
    const File record(kLogin);
    const File trace("{}");
    for (const File* file : {&record, &trace}) {
        const Outcome refused = timeline({record.path(), "--from-trace", trace.path(), "--out", file->path()});
        EXPECT_EQ(refused.status, 2);
        EXPECT_THAT(refused.errors, HasSubstr("the command reads the file"));
    }
    EXPECT_EQ(record.content(), kLogin);
}

TEST(TimelineCommand, aFolderIsNoFileForTheResult) {
    const File record(kLogin);
    const Outcome refused = timeline({record.path(), "--out", "."});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("--out: \".\" is a folder; name a file for the result"));
}

TEST(TimelineCommand, namesTheScriptsOfATrace) {
    const File record(kLogin + kLogout);
    const auto traced = [](const char* time, int level, const std::string& text) {
        return R"({"time":"2026-11-22T12:48:)" + std::string(time) + R"(Z","thread":8,"module":"M","level":)" +
               std::to_string(level) + R"(,"text":"PKCS11Client::)" + text + "\"}\n";
    };
    const File trace(traced("53.999000", 8, "execute") +
                     traced("53.999100", 4, "execute: --> Input Param operation.script = authenticate") +
                     traced("53.999900", 2, "loginAsUser: C_Login") + traced("54.003000", 16, "execute"));
    const Outcome shown = timeline({record.path(), "--from-trace", trace.path(), "--text"});
    EXPECT_EQ(shown.status, 0) << shown.errors;
    EXPECT_THAT(shown.output, HasSubstr("\n  authenticate                            1 2.00 ms"));
    EXPECT_EQ(timeline({record.path(), "--from-trace", record.path(), "--text"}).status, 2);
}

} // namespace
} // namespace tests
