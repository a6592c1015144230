// Every call of every script, answered with every result code there is.

#include "tests/faults/matrix/Codes.h"
#include "tests/faults/matrix/Stage.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace Faults {

namespace {

// A build with sanitizers plays every seventh cell; the run as a whole still meets every call and every code.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kEvery = 7;
#else
constexpr std::size_t kEvery = 1;
#endif

constexpr std::size_t kLeastCells = 25000;
constexpr int kFailuresShown = 5;

const std::vector<Story>& stories() {
    static const std::vector<Story> all = allStories();
    return all;
}

/// What was played, told at the end of the program.
class Report : public ::testing::Environment {
public:
    void SetUp() override { m_started = std::chrono::steady_clock::now(); }
    void TearDown() override {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - m_started;
        std::printf("fault matrix: %zu cells of %zu stories in %.1f s\n", cells, storiesPlayed, took.count());
    }

    std::size_t cells = 0;
    std::size_t storiesPlayed = 0;
    std::size_t next = 0; ///< runs through all cells, so that a sample rotates

private:
    std::chrono::steady_clock::time_point m_started;
};

Report* const s_report = static_cast<Report*>(::testing::AddGlobalTestEnvironment(new Report));

bool isCell(const Step& step, CK_RV code) {
    return code != CKR_OK || !step.isRefused;
}

std::size_t cellsOf(const Story& story) {
    std::size_t cells = 0;
    for (const Step& step : story.steps) {
        for (const CK_RV code : allCodes()) {
            cells += isCell(step, code) ? 1 : 0;
        }
    }
    return cells;
}

class FaultMatrix : public ::testing::TestWithParam<Story> {};

TEST_P(FaultMatrix, everyCallAnswersEveryCode) {
    const Story& story = GetParam();
    ASSERT_EQ(playGood(story), "") << story.name << ": the good run";
    s_report->storiesPlayed += 1;
    int failures = 0;
    for (std::size_t step = 0; step < story.steps.size(); ++step) {
        for (const CK_RV code : allCodes()) {
            if (!isCell(story.steps[step], code) || ++s_report->next % kEvery != 0) {
                continue;
            }
            s_report->cells += 1;
            const std::string wrong = playCell(story, step, code);
            if (!wrong.empty() && ++failures <= kFailuresShown) {
                ADD_FAILURE() << story.name << ", call " << step + 1 << " " << story.steps[step].call << " answers "
                              << codeText(code) << ":" << wrong;
            }
        }
    }
    EXPECT_EQ(failures, 0) << story.name << ": cells that failed";
}

INSTANTIATE_TEST_SUITE_P(Stories, FaultMatrix, ::testing::ValuesIn(stories()),
                         [](const auto& story) { return story.param.name; });

TEST(FaultMatrixItself, isLarge) {
    std::size_t cells = 0;
    for (const Story& story : stories()) {
        cells += cellsOf(story);
    }
    EXPECT_GE(cells, kLeastCells);
}

/// The code that hosts see is checked against a table of this program, so every code must be told apart there.
TEST(FaultMatrixItself, knowsEveryClientCode) {
    EXPECT_EQ(clientCodeOf(CKR_OK), "0");
    EXPECT_EQ(clientCodeOf(CKR_PIN_INCORRECT), "80ee");
    EXPECT_EQ(clientCodeOf(CKR_MUTEX_BAD), "80f5");
    EXPECT_EQ(clientCodeOf(CKR_FUNCTION_REJECTED), "80f4");
    EXPECT_EQ(clientCodeOf(0x7777), "80f5");
    EXPECT_GE(allCodes().size(), 96U);
}

/// Every kind of statement is checked: a false one is noticed.
TEST(FaultMatrixItself, noticesFalseStatements) {
    const Story truth = storyNamed("FirstPinWhileOfficerIsIn");
    const auto noticed = [&truth](const std::function<void(Story&)>& falsify) {
        Story story = truth;
        falsify(story);
        return playGood(story);
    };
    EXPECT_EQ(playGood(truth), "");
    EXPECT_NE(noticed([](Story& story) { story.good.error = "80f7"; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.outputs = {{"COUNT", 2, 1, "0"}}; }), "");
    EXPECT_NE(noticed([](Story& story) { story.steps.push_back({"C_Logout(0x1)", goesOn(), {}}); }), "");
    EXPECT_NE(noticed([](Story& story) { story.steps[0].call = "C_InitPIN(0x1, 31)"; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.handle = "0x2"; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.readWrite = false; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.role = Fake::Role::Nobody; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.searching = true; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.signing = true; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.orphan = "0x7 rw"; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.stored = kUserPin; }), "");
    EXPECT_NE(noticed([](Story& story) { story.good.after.token = kUserPin; }), "");
}

/// The same for the cells: a code that is mapped where another rule holds, and the other way round.
TEST(FaultMatrixItself, noticesFalseRules) {
    Story story = storyNamed("RemoveCertificateNoSession");
    const std::size_t destroy = 5;
    EXPECT_EQ(playCell(story, destroy, CKR_DEVICE_ERROR), "");
    EXPECT_EQ(playCell(story, destroy, CKR_DEVICE_REMOVED), "");
    story.steps[destroy].special.clear();
    EXPECT_NE(playCell(story, destroy, CKR_DEVICE_ERROR), "");
    story.steps[destroy].otherwise = goesOn();
    EXPECT_EQ(playCell(story, destroy, CKR_DEVICE_ERROR), "");
    EXPECT_NE(playCell(story, destroy, CKR_DEVICE_REMOVED), "");
}

/// A slot that is not the executor's is noticed where the next operation opens a session.
TEST(FaultMatrixItself, noticesAFalseSlot) {
    Story story = storyNamed("KnownReader");
    story.good.after.slot = "0x12";
    EXPECT_NE(playGood(story), "");
}

} // namespace

// The name that test programs show in place of the story's bytes.
void PrintTo(const Story& story, std::ostream* out) {
    *out << story.name;
}

} // namespace Faults
