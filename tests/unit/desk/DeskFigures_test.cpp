// The numbers of a desk's report.

#include "host/view/desk/DeskFigures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace host::desk;
using namespace host::view;
using ::testing::ElementsAre;
using ::testing::Pair;

namespace {

/// An attempt with one step of each of these lengths in microseconds.
AttemptRecord attemptOf(const std::vector<Moment>& lengths, Moment begun = 0) {
    AttemptRecord attempt;
    attempt.state = AttemptState::Done;
    attempt.begun = begun;
    for (const Moment length : lengths) {
        const int number = static_cast<int>(attempt.steps.size()) + 1;
        attempt.steps.push_back({number, "step " + std::to_string(number), begun, begun + length, false});
    }
    attempt.ended = begun + 10;
    return attempt;
}

} // namespace

TEST(StepTotals, haveTheMiddleAndThe95thOfAHundred) {
    DeskRecord record;
    for (Moment length = 100; length >= 1; --length) {
        record.attempts.push_back(attemptOf({length, 7}));
    }
    const std::vector<StepTotal> totals = stepTotalsOf(record);
    ASSERT_EQ(totals.size(), 2U);
    EXPECT_EQ(totals[0].name, "step 1");
    EXPECT_EQ(totals[0].count, 100U);
    EXPECT_EQ(totals[0].median, 50'000);
    EXPECT_EQ(totals[0].percentile, 95'000);
    EXPECT_EQ(totals[0].longest, 100'000);
    EXPECT_EQ(totals[1].median, 7000);
}

TEST(StepTotals, ofOneCardAreThatCard) {
    DeskRecord record;
    record.attempts = {attemptOf({5})};
    const StepTotal total = stepTotalsOf(record).at(0);
    EXPECT_EQ(total.median, 5000);
    EXPECT_EQ(total.percentile, 5000);
}

TEST(StepTotals, countWhatFailedOrWasCutOffAndNotWhatIsUnderWay) {
    DeskRecord record;
    record.attempts = {attemptOf({5}), attemptOf({6}), attemptOf({7}), attemptOf({8})};
    record.attempts[0].steps[0].hasFailed = true;
    record.attempts[1].steps[0].ended.reset();
    record.attempts[1].state = AttemptState::Interrupted;
    record.attempts[2].steps[0].ended.reset();
    record.attempts[2].state = AttemptState::Running;
    const StepTotal total = stepTotalsOf(record).at(0);
    EXPECT_EQ(total.failures, 2U);
    EXPECT_EQ(total.count, 1U);
    EXPECT_EQ(total.longest, 8000);
}

TEST(StepTotals, haveNoNegativeTimes) {
    DeskRecord record;
    record.attempts = {attemptOf({-5})};
    EXPECT_EQ(stepTotalsOf(record).at(0).median, 0);
}

TEST(EndOfAnAttempt, isThatOfItsLastStepWhereItHasNone) {
    AttemptRecord attempt = attemptOf({3, 4}, 100);
    EXPECT_EQ(endOf(attempt, 500), 110);
    attempt.ended.reset();
    EXPECT_EQ(endOf(attempt, 500), 104);
    attempt.state = AttemptState::Running;
    EXPECT_EQ(endOf(attempt, 500), 500);
    attempt.steps.clear();
    attempt.state = AttemptState::Interrupted;
    EXPECT_EQ(endOf(attempt, 500), 100);
}

TEST(BusyPeriods, joinWhatOverlapsOrIsClose) {
    DeskRecord record;
    record.attempts = {attemptOf({}, 100), attemptOf({}, 105), attemptOf({}, 0), attemptOf({}, 130)};
    EXPECT_THAT(busyPeriodsOf(record, 15), ElementsAre(Pair(0, 10), Pair(100, 140)));
    EXPECT_THAT(busyPeriodsOf(record, 5), ElementsAre(Pair(0, 10), Pair(100, 115), Pair(130, 140)));
    EXPECT_THAT(busyPeriodsOf(DeskRecord(), 5), ElementsAre());
}

TEST(RowCounts, countEachState) {
    DeskRecord record;
    for (const RowState state : {RowState::Waiting, RowState::Done, RowState::Done, RowState::Failed, RowState::Failed,
                                 RowState::Failed, RowState::Running, RowState::Dropped}) {
        record.rows.push_back({1, "", state, "", ""});
    }
    const RowCounts counts = countRows(record);
    EXPECT_EQ(counts.waiting, 1U);
    EXPECT_EQ(counts.done, 2U);
    EXPECT_EQ(counts.failed, 3U);
    EXPECT_EQ(counts.running, 1U);
    EXPECT_EQ(counts.dropped, 1U);
}
