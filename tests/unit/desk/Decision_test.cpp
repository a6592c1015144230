#include <gtest/gtest.h>

#include "host/desk/engine/Decision.h"
#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;

/// A used card, and a plan whose cards can be resumed.
class DecisionTest : public ::testing::Test {
protected:
    DecisionTest() { m_token.isInitialised = true; }

    [[nodiscard]] CardUse use() const { return decide(m_token, m_known, m_plan, {"Jane"}).use; }
    void know(AttemptState state, RowState row, bool isLatest = true) { m_known = KnownCard{3, state, isLatest, row}; }

    host::TokenView m_token;
    std::optional<KnownCard> m_known;
    Plan m_plan =
        readPlan(tests::planWith(R"({"random": "6 digits", "deliver": {"command": ["./mail-pin", "{number}"]}})",
                                 R"({"env": "PIN"})"),
                 "plan.json");
};

TEST_F(DecisionTest, ABlankCardIsForTheNextPerson) {
    m_token.isInitialised = false;
    EXPECT_EQ(CardUse::Blank, use());
}

TEST_F(DecisionTest, AnUnknownCardIsErasedOnlyWhenThePlanSaysSo) {
    EXPECT_EQ(CardUse::Nothing, use());
    m_plan.usedCard = UsedCard::Erase;
    EXPECT_EQ(CardUse::Used, use());
    m_token.label = "Jane"; // of this plan: it may belong to somebody
    EXPECT_EQ(CardUse::Nothing, use());
}

TEST_F(DecisionTest, ALastTryIsNeverSpent) {
    m_plan.usedCard = UsedCard::Erase;
    m_token.officerPin = host::PinState::LastTry;
    EXPECT_EQ(CardUse::Nothing, use());
    m_token.officerPin = host::PinState::Fine;
    know(AttemptState::Interrupted, RowState::Waiting);
    m_token.userPin = host::PinState::LastTry;
    EXPECT_EQ(CardUse::Erase, use());
}

TEST_F(DecisionTest, AnInterruptedCardGoesOn) {
    know(AttemptState::Interrupted, RowState::Waiting);
    EXPECT_EQ(CardUse::Resume, use());
    m_plan.onInterruption = OnInterruption::Erase;
    EXPECT_EQ(CardUse::Erase, use());
}

TEST_F(DecisionTest, AnInterruptedCardWithARandomPinIsErased) {
    m_plan.secrets["pin"].kind = SecretKind::Random;
    know(AttemptState::Interrupted, RowState::Waiting);
    EXPECT_EQ(CardUse::Erase, use());
}

TEST_F(DecisionTest, AnIssuedCardIsNeverTouched) {
    m_plan.usedCard = UsedCard::Erase;
    for (const RowState row : {RowState::Done, RowState::Waiting, RowState::Running, RowState::Dropped}) {
        know(AttemptState::Done, row);
        EXPECT_EQ(CardUse::Nothing, use());
        know(AttemptState::Replaced, row);
        EXPECT_EQ(CardUse::Nothing, use());
    }
}

TEST_F(DecisionTest, AFailedCardBeginsAnewWhenItsRowWaits) {
    know(AttemptState::Failed, RowState::Failed);
    EXPECT_EQ(CardUse::Nothing, use());
    know(AttemptState::Failed, RowState::Waiting);
    EXPECT_EQ(CardUse::Erase, use());
    know(AttemptState::Failed, RowState::Waiting, false);
    EXPECT_EQ(CardUse::Nothing, use());
}

TEST(Glob, StandsForNames) {
    EXPECT_TRUE(fitsGlob("Reader 1", "Reader ?"));
    EXPECT_TRUE(fitsGlob("Reader 1", "*"));
    EXPECT_TRUE(fitsGlob("Reader 1", "R*1"));
    EXPECT_FALSE(fitsGlob("Reader 1", "R*2"));
    EXPECT_FALSE(fitsGlob("Reader 1", "eader 1"));
    EXPECT_FALSE(fitsGlob(std::string(2000, 'a'), "*a*a*a*a*a*a*a*a*b")); // no matter how long it is
}

} // namespace
