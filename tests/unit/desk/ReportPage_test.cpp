// The report as text; tests/host/report-page opens it in a browser.

#include "host/view/desk/ReportPage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace host::desk;
using host::view::reportPageOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

/// As many rows, each with a card of these seconds, one after the other in one reader.
DeskRecord issued(std::int64_t count, RowState rowState, AttemptState state, Moment seconds = 10) {
    DeskRecord record;
    record.plan = "plan";
    for (std::int64_t row = 1; row <= count; ++row) {
        record.rows.push_back({row, "Person " + std::to_string(row), rowState, "why", "what"});
        const Moment begun = row * seconds * 1'000'000;
        record.attempts.push_back(
            {row, row, state, "desk", "Reader", "1", begun, begun + seconds * 1'000'000, "why", "", {}});
    }
    return record;
}

std::size_t timesIn(const std::string& page, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = page.find(what); at != std::string::npos; at = page.find(what, at + 1)) {
        ++count;
    }
    return count;
}

} // namespace

TEST(ReportPage, ofADeskThatHasNotBegunIsWhole) {
    DeskRecord record;
    record.plan = "plan";
    const std::string page = reportPageOf(record);
    EXPECT_THAT(page, HasSubstr("No certificate has to be revoked."));
    EXPECT_THAT(page, Not(HasSubstr("<svg")));
    EXPECT_THAT(page, HasSubstr("</html>"));
    EXPECT_EQ(page.find('@'), page.find("@page")); // the style's own
}

TEST(ReportPage, counts360CardsAnHourAtTenSecondsEach) {
    const std::string page = reportPageOf(issued(20, RowState::Done, AttemptState::Done));
    EXPECT_THAT(page, HasSubstr("<dt>Cards an hour</dt><dd>360</dd>"));
    EXPECT_THAT(page, HasSubstr("<dt>Time at work</dt><dd>200 s</dd>"));
    EXPECT_THAT(page, Not(HasSubstr("id=\"failures\"")));
}

TEST(ReportPage, growsNoFurtherThanAThousandRowsOfATable) {
    const std::string page = reportPageOf(issued(3000, RowState::Failed, AttemptState::Failed));
    EXPECT_THAT(page, HasSubstr("and 2000 more"));
    EXPECT_THAT(page, HasSubstr("Person 1000<"));
    EXPECT_THAT(page, Not(HasSubstr("Person 1001<")));
    // Cards that share a pixel share a bar, and the worst of them shows.
    EXPECT_LT(timesIn(page, "<rect"), 900U);
    EXPECT_THAT(page, HasSubstr("cards, the worst failed"));
}

TEST(ReportPage, hasNoScriptAndAllowsNone) {
    DeskRecord record = issued(1, RowState::Failed, AttemptState::Failed);
    const std::string hostile = "</style></title><script>alert('1')</script>\" onload=\"";
    record.plan = record.rows[0].who = record.rows[0].reason = record.rows[0].remedy = hostile;
    record.attempts[0].station = record.attempts[0].reader = record.attempts[0].serial = hostile;
    record.attempts[0].reason = hostile;
    record.attempts[0].steps = {{1, hostile, 0, 1, true}};
    record.revocations = {{1, 1, hostile, hostile, 0}};
    const std::string page = reportPageOf(record);
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    EXPECT_THAT(page, Not(HasSubstr("\" onload")));
    EXPECT_EQ(timesIn(page, "</title>"), 1U + timesIn(page, "<title>Row "));
    EXPECT_THAT(page, HasSubstr("default-src 'none'; style-src 'sha256-"));
    EXPECT_THAT(page, HasSubstr("&lt;/style&gt;"));
}
