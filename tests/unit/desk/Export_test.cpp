// A desk's journal for other programs.

#include "host/view/desk/Export.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace host::desk;
using namespace host::view;
using ::testing::HasSubstr;
using Json = nlohmann::json;

namespace {

std::vector<std::string> csvOf(const DeskRecord& record) {
    std::vector<std::string> lines;
    exportCsv(record, [&](const std::string& line) { lines.push_back(line); });
    return lines;
}

std::vector<Json> jsonOf(const DeskRecord& record) {
    std::vector<Json> lines;
    exportJsonLines(record, [&](const std::string& line) {
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        lines.push_back(Json::parse(line));
    });
    return lines;
}

/// The line of a person who waits, with this name.
std::string lineOf(const std::string& who) {
    DeskRecord record;
    record.rows = {{1, who, RowState::Waiting, "", ""}};
    return csvOf(record).at(1);
}

DeskRecord twoRows() {
    DeskRecord record;
    record.rows = {{1, "Ada", RowState::Done, "", ""}, {2, "Grace", RowState::Failed, "no card", "put one in"}};
    AttemptRecord first{4,  1, AttemptState::Interrupted, "desk-1", "Reader A", "00A4", 1'000'000, {}, "it went away",
                        "", {}};
    first.steps = {{1, "init-token", 1'000'000, 2'000'000, false}, {2, "certify", 2'000'000, {}, false}};
    const AttemptRecord second{
        5,  1, AttemptState::Done, "desk-1", "Reader A", "00A5", 1'795'351'734'000'001, 1'795'351'735'500'001, "",
        "", {}};
    record.attempts = {first, second};
    record.revocations = {{1, 4, "", "interrupted", 3'000'000}, {1, 4, "PEM", "lost", 3'000'000}};
    return record;
}

} // namespace

TEST(ExportAsCsv, hasALineForEachCardAndForEachRowWithoutOne) {
    const std::vector<std::string> lines = csvOf(twoRows());
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0],
              "row,who,state,card,card state,station,reader,serial,begun,ended,seconds,steps,reason,remedy\r\n");
    EXPECT_EQ(lines[1],
              "1,Ada,done,4,interrupted,desk-1,Reader A,00A4,1970-01-01T00:00:01.000000Z,,,2,it went away,\r\n");
    EXPECT_EQ(lines[2],
              "1,Ada,done,5,done,desk-1,Reader A,00A5,2026-11-22T12:48:54.000001Z,2026-11-22T12:48:55.500001Z,"
              "1.500,0,,\r\n");
    EXPECT_EQ(lines[3], "2,Grace,failed,,,,,,,,,,no card,put one in\r\n");
}

TEST(ExportAsCsv, quotesWhatWouldEndACell) {
    EXPECT_THAT(lineOf("a, b"), HasSubstr("1,\"a, b\",waiting"));
    EXPECT_THAT(lineOf("a;b"), HasSubstr("1,\"a;b\",waiting"));
    EXPECT_THAT(lineOf("the \"one\""), HasSubstr("1,\"the \"\"one\"\"\",waiting"));
    EXPECT_THAT(lineOf("two\r\nlines"), HasSubstr("1,\"two\r\nlines\",waiting"));
    EXPECT_THAT(lineOf(" blank "), HasSubstr("1,\" blank \",waiting"));
}

TEST(ExportAsCsv, makesWhatASpreadsheetCalculatesHarmless) {
    for (const char* const who : {"=1+1", "+1", "-1", "@SUM(A1)", "\t=1"}) {
        EXPECT_THAT(lineOf(who), HasSubstr(std::string("1,'") + who + ",waiting"));
    }
    EXPECT_THAT(lineOf("=cmd|' /C calc'!A0,"), HasSubstr("1,\"'=cmd|' /C calc'!A0,\",waiting"));
    EXPECT_THAT(lineOf("a=b"), HasSubstr("1,a=b,waiting"));
}

TEST(ExportAsJsonLines, hasAnObjectForEachRow) {
    const std::vector<Json> lines = jsonOf(twoRows());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["who"], "Ada");
    EXPECT_EQ(lines[0]["cards"].size(), 2U);
    EXPECT_EQ(lines[0]["cards"][0]["ended"], Json());
    EXPECT_EQ(lines[0]["cards"][0]["steps"][1],
              Json({{"step", 2}, {"name", "certify"}, {"begun", 2'000'000}, {"ended", Json()}, {"failed", false}}));
    EXPECT_EQ(lines[0]["cards"][1]["ended"], 1'795'351'735'500'001);
    EXPECT_EQ(lines[0]["revoke"], Json::parse(R"([{"card":4,"reason":"interrupted","noted":3000000},
                                                  {"card":4,"reason":"lost","noted":3000000,"certificate":"PEM"}])"));
    EXPECT_EQ(lines[1], Json::parse(R"({"row":2,"who":"Grace","state":"failed","reason":"no card","remedy":"put one in",
                                        "cards":[],"revoke":[]})"));
}

TEST(ExportAsJsonLines, survivesTextThatIsNoUtf8) {
    DeskRecord record;
    record.rows = {{1, "\xFF", RowState::Waiting, "", ""}};
    EXPECT_EQ(jsonOf(record).at(0)["who"], "\xEF\xBF\xBD");
}
