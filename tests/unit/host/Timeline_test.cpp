#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/view/CallReader.h"
#include "host/view/Pictures.h"
#include "host/view/Shown.h"
#include "host/view/Statistics.h"
#include "host/view/Timeline.h"

namespace host::view {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::int64_t kStart = 1'795'351'734'000'000'000;
constexpr std::int64_t kMs = 1'000'000;

/// A line of a record; times count from kStart.
struct Line {
    std::string call;
    std::int64_t time = 0;
    std::int64_t duration = kMs;
    std::string in = {};
    std::string out = {};
    std::string result = "CKR_OK";
    int process = 1;
    int thread = 1;
    int number = 0; ///< 0: the next one

    [[nodiscard]] std::string text(int next) const {
        return "{\"n\":" + std::to_string(number == 0 ? next : number) + ",\"time\":\"" +
               std::to_string(kStart + time) + "\",\"duration\":" + std::to_string(duration) +
               ",\"process\":" + std::to_string(process) + ",\"thread\":" + std::to_string(thread) + ",\"call\":\"" +
               call + "\",\"in\":{" + in + "},\"out\":{" + out + "},\"result\":\"" + result + "\"}\n";
    }
};

std::string recordOf(const std::vector<Line>& lines) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += lines[i].text(static_cast<int>(i) + 1);
    }
    return text;
}

Timeline timelineOf(const std::string& record, const std::string& trace = "") {
    Calls calls;
    addCalls(calls, record, "record");
    return makeTimeline(std::move(calls), trace.empty() ? Trace() : readTrace(trace, "trace"));
}

Timeline timelineOf(const std::vector<Line>& lines) {
    return timelineOf(recordOf(lines));
}

std::string refused(const std::string& record) {
    try {
        Calls calls;
        addCalls(calls, record, "record");
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

TEST(RecordOfCalls, eachBadLineIsNamedWithItsNumberAndFault) {
    const std::string good = Line{"C_Login"}.text(1);
    EXPECT_THAT(refused(good + "nonsense\n" + good), HasSubstr("line 2: it is no JSON"));
    EXPECT_THAT(refused("[1]\n" + good), HasSubstr("line 1: it is no JSON object"));
    EXPECT_THAT(refused("{\"n\":1}\n"), HasSubstr("line 1: \"time\" is missing"));
    EXPECT_THAT(refused(R"({"n":1,"time":12})"
                        "\n"),
                HasSubstr("\"time\" is not a text of decimal digits"));
    EXPECT_THAT(refused(Line{"C_Login", 0, 0, "", "", "CKR_NO_SUCH"}.text(1)),
                HasSubstr("\"result\" is no result of PKCS #11"));
    EXPECT_THAT(refused("x\nx\nx\nx\nx\n"), HasSubstr("line 3: it is no JSON\nand 2 more"));
}

TEST(RecordOfCalls, timesThatNoClockHasAreRefused) {
    std::string late = Line{"C_Login"}.text(1);
    late.replace(late.find("17953"), 19, "9223372036854775807");
    EXPECT_THAT(refused(late), HasSubstr("\"time\" is out of range"));
    EXPECT_THAT(refused(Line{"C_Login", 0, std::int64_t{1} << 53}.text(1)), HasSubstr("\"duration\" is out of range"));
}

TEST(RecordOfCalls, aLastLineThatIsCutOffIsNotedAndTheRestShown) {
    const std::string good = Line{"C_Login"}.text(1);
    const Timeline timeline = timelineOf(good + good.substr(0, 40));
    EXPECT_EQ(timeline.calls.size(), 1U);
    EXPECT_THAT(timeline.notes, ElementsAre(HasSubstr("Line 2 of record, the last one, is cut off")));
}

TEST(RecordOfCalls, linesThatWereCutOffInTheMiddleAreNotedAndTheRestShown) {
    const std::string good = Line{"C_Login"}.text(1);
    const Timeline one = timelineOf(good + good.substr(0, 40) + "\n" + good);
    EXPECT_EQ(one.calls.size(), 2U);
    EXPECT_THAT(one.notes, ElementsAre(HasSubstr("Line 2 of record is cut off")));
    const Timeline four = timelineOf(good + "{\n{\"n\n{\"n\":\n{\"n\":3\n" + good);
    EXPECT_EQ(four.calls.size(), 2U);
    EXPECT_THAT(four.notes, ElementsAre(HasSubstr("Line 2 "), HasSubstr("Line 3 "), HasSubstr("Line 4 "),
                                        HasSubstr("4 lines of record are cut off in all")));
    EXPECT_THAT(refused(good + good.substr(2, 40) + "\n" + good), HasSubstr("line 2: it is no JSON"));
}

TEST(RecordOfCalls, theLineOfAnotherProcessBehindOneThatWasCutOffIsShown) {
    const std::string good = Line{"C_Login"}.text(1);
    const Timeline timeline = timelineOf(good + good.substr(0, 40) + good + good.substr(0, 7) + good.substr(0, 40));
    EXPECT_EQ(timeline.calls.size(), 2U);
    EXPECT_THAT(timeline.notes, ElementsAre(HasSubstr("Line 2 of record is cut off"),
                                            HasSubstr("Line 3 of record, the last one, is cut off")));
}

TEST(RecordOfCalls, aWholeLastLineNeedsNoLineEnd) {
    std::string record = Line{"C_Login"}.text(1);
    record.pop_back();
    const Timeline timeline = timelineOf(record);
    EXPECT_EQ(timeline.calls.size(), 1U);
    EXPECT_THAT(timeline.notes, IsEmpty());
}

TEST(Totals, countSumMedianPercentileAndLongest) {
    std::vector<Line> lines;
    for (int i = 1; i <= 20; ++i) {
        lines.push_back({"C_Sign", i * 100 * kMs, i * kMs});
    }
    lines.push_back({"C_Login", 0, 500 * kMs, "", "", "CKR_PIN_INCORRECT"});
    const std::vector<Total> totals = totalsOf(timelineOf(lines));
    ASSERT_EQ(totals.size(), 2U);
    EXPECT_EQ(totals[0].function, "C_Login") << "the largest sum comes first";
    EXPECT_EQ(totals[0].failures, 1U);
    EXPECT_EQ(totals[1].count, 20U);
    EXPECT_EQ(totals[1].sum, 210.0 * kMs);
    EXPECT_EQ(totals[1].median, 10 * kMs);
    EXPECT_EQ(totals[1].percentile, 19 * kMs);
    EXPECT_EQ(totals[1].longest, 20 * kMs);
}

TEST(Totals, sumsThatNoNumberHoldsAreCut) {
    const std::vector<Line> lines(3000, Line{"C_Sign", 0, std::int64_t{1} << 52U});
    const Timeline timeline = timelineOf(lines);
    EXPECT_EQ(totalsOf(timeline).front().sum, 9e18);
    EXPECT_THAT(pageOf(timeline), HasSubstr("<dd>2500000h00m</dd>"));
}

TEST(Failures, thoseThatProgramsExpectComeLast) {
    const std::vector<FailureGroup> groups =
        failuresOf(timelineOf({{"C_Sign", 0, kMs, "", "", "CKR_BUFFER_TOO_SMALL"},
                               {"C_Sign", 2 * kMs, kMs, "", "", "CKR_BUFFER_TOO_SMALL"},
                               {"C_Login", 4 * kMs, kMs, "", "", "CKR_PIN_LOCKED"}}));
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].result, "CKR_PIN_LOCKED");
    EXPECT_EQ(groups[1].count, 2U);
    EXPECT_TRUE(groups[1].isExpected);
}

TEST(Sessions, aHandleThatIsUsedAgainIsAnotherSession) {
    const std::string session = "\"session\":1";
    const Timeline timeline = timelineOf(std::vector<Line>{{"C_OpenSession", 0, kMs, "\"slot\":0", session},
                                                           {"C_CloseSession", 2 * kMs, kMs, session},
                                                           {"C_OpenSession", 4 * kMs, kMs, "\"slot\":0", session},
                                                           {"C_CloseAllSessions", 6 * kMs, kMs, "\"slot\":0"},
                                                           {"C_GetSessionInfo", 8 * kMs, kMs, session}});
    EXPECT_EQ(timeline.sessions, 3U);
    ASSERT_EQ(timeline.threads.size(), 1U);
    ASSERT_EQ(timeline.threads[0].lanes.size(), 2U) << "calls without a session, and sessions that follow each other";
    EXPECT_EQ(timeline.threads[0].lanes[0].calls.size(), 1U);
    EXPECT_EQ(timeline.threads[0].lanes[1].sessions.size(), 3U);
}

TEST(Sessions, thoseOfOneSlotOrOneProcessAreClosedTogether) {
    const std::string slot0 = "\"slot\":0";
    std::vector<Line> lines = {{"C_OpenSession", 0, kMs, slot0, "\"session\":1"},
                               {"C_OpenSession", 2 * kMs, kMs, "\"slot\":1", "\"session\":2"},
                               {"C_GetSessionInfo", 4 * kMs, kMs, "\"session\":3"},
                               {.call = "C_GetSessionInfo", .time = 6 * kMs, .in = "\"session\":1", .process = 2}};
    const auto countWith = [&](const Line& closing) {
        std::vector<Line> all = lines;
        all.push_back(closing);
        for (int i = 1; i <= 3; ++i) {
            all.push_back({"C_GetSessionInfo", (20 + i) * kMs, kMs, "\"session\":" + std::to_string(i)});
        }
        all.push_back({.call = "C_GetSessionInfo", .time = 30 * kMs, .in = "\"session\":1", .process = 2});
        return timelineOf(all).sessions;
    };
    EXPECT_EQ(countWith({"C_CloseAllSessions", 10 * kMs, kMs, slot0}), 6U) << "the slot of session 3 is not known";
    EXPECT_EQ(countWith({"C_CloseAllSessions", 10 * kMs, kMs, "\"slot\":7"}), 5U);
    EXPECT_EQ(countWith({"C_CloseAllSessions", 10 * kMs, kMs, slot0, "", "CKR_SLOT_ID_INVALID"}), 4U);
    EXPECT_EQ(countWith({"C_Finalize", 10 * kMs}), 7U);
    lines.push_back({"C_OpenSession", 8 * kMs, kMs, "\"slot\":1", "\"session\":1"});
    EXPECT_EQ(countWith({"C_CloseAllSessions", 10 * kMs, kMs, slot0}), 6U) << "session 1 is now one of slot 1";
}

/// As many sessions of one process as calls of this function by another one.
Calls sessionsBeside(const std::string& function, std::uint64_t count) {
    Calls calls;
    calls.results.numberOf("CKR_OK");
    calls.details.numberOf("{}");
    for (std::uint64_t i = 0; i < count; ++i) {
        Call call;
        call.time = kStart + static_cast<std::int64_t>(i) * kMs;
        call.number = i;
        call.process = 2;
        call.function = calls.functions.numberOf(function);
        calls.all.push_back(call);
        call.process = 1;
        call.function = calls.functions.numberOf("C_OpenSession");
        call.session = i;
        call.slot = 0;
        calls.all.push_back(call);
    }
    return calls;
}

TEST(Sessions, toCloseThoseOfOneProcessTakesNoLookAtTheOthers) {
    const auto workOf = [](const std::string& function) {
        constexpr std::uint64_t kCount = 40'000;
        std::clock_t least = std::numeric_limits<std::clock_t>::max();
        for (int i = 0; i < 3; ++i) {
            Calls calls = sessionsBeside(function, kCount);
            const std::clock_t begin = std::clock();
            EXPECT_EQ(makeTimeline(std::move(calls), Trace()).sessions, kCount);
            least = std::min(least, std::clock() - begin);
        }
        return least;
    };
    const std::clock_t other = workOf("C_GetInfo");
    for (const char* closing : {"C_CloseAllSessions", "C_Finalize"}) {
        // A look at each other session would be several times this, and a busy machine adds far less.
        EXPECT_LT(workOf(closing), 10 * other) << closing;
    }
}

TEST(Sessions, thoseOfOneTimeHaveRowsOfTheirOwnUpToALimit) {
    std::vector<Line> lines;
    for (int i = 0; i < 300; ++i) {
        const std::string session = "\"session\":" + std::to_string(i);
        lines.push_back({"C_OpenSession", i * kMs, 1000, "\"slot\":0", session});
    }
    for (int i = 0; i < 300; ++i) {
        lines.push_back({"C_CloseSession", (1000 + i) * kMs, 1000, "\"session\":" + std::to_string(i)});
    }
    const Timeline timeline = timelineOf(lines);
    EXPECT_EQ(timeline.threads[0].lanes.size(), 100U);
    std::size_t calls = 0;
    for (const Lane& lane : timeline.threads[0].lanes) {
        EXPECT_TRUE(std::is_sorted(lane.calls.begin(), lane.calls.end()));
        calls += lane.calls.size();
    }
    EXPECT_EQ(calls, 600U);
}

TEST(Threads, processesAndThreadsStandApart) {
    const Timeline timeline = timelineOf(std::vector<Line>{
        {"C_Initialize"}, {.call = "C_Initialize", .thread = 2}, {.call = "C_Initialize", .process = 2, .number = 1}});
    EXPECT_EQ(timeline.processes, 2U);
    EXPECT_EQ(timeline.threads.size(), 3U);
}

TEST(Clock, whatFollowsAJumpBackIsShownBehindWhatWasBefore) {
    const Timeline timeline =
        timelineOf(std::vector<Line>{{"C_Initialize", 5000 * kMs}, {"C_Login", 100 * kMs}, {"C_Sign", 103 * kMs}});
    EXPECT_THAT(timeline.notes, ElementsAre(HasSubstr("The clock went back once while process 1 ran")));
    EXPECT_EQ(timeline.calls[0].call.time, kStart + 5000 * kMs);
    EXPECT_EQ(timeline.calls[1].call.time, kStart + 5001 * kMs);
    EXPECT_EQ(timeline.calls[2].call.time, kStart + 5004 * kMs);
}

TEST(Clock, jumpsWithoutEndDoNotOverflow) {
    std::vector<Line> lines;
    for (int i = 0; i < 20; ++i) {
        lines.push_back({"C_Login", i % 2 == 0 ? 2'000'000'000'000'000'000 : -kStart, std::int64_t{1} << 52U});
    }
    const Timeline timeline = timelineOf(lines);
    EXPECT_GT(timeline.length, 0);
    EXPECT_THAT(pictureOf(timeline), HasSubstr("</svg>"));
}

TEST(UnfinishedCalls, aGapInTheNumbersIsNoted) {
    const Timeline timeline = timelineOf(
        std::vector<Line>{{.call = "C_Initialize", .number = 3}, {.call = "C_Login", .time = 2 * kMs, .number = 5}});
    EXPECT_THAT(timeline.notes, ElementsAre(HasSubstr("1 call of process 1 left no line, such as number 4")));
}

TEST(UnfinishedCalls, aNumberThatComesAgainBelongsToAnotherProcess) {
    const Timeline timeline = timelineOf(std::vector<Line>{{.call = "C_Initialize", .number = 1},
                                                           {.call = "C_Initialize", .time = 2 * kMs, .number = 1}});
    EXPECT_THAT(timeline.notes, IsEmpty());
}

TEST(UnfinishedCalls, aLowerNumberThatBeganLaterBelongsToAnotherProcess) {
    // The record begins in the middle of the first process: what was before is gone with a rotation.
    const Timeline timeline = timelineOf(std::vector<Line>{{.call = "C_Initialize", .number = 501},
                                                           {.call = "C_Initialize", .time = 60'000 * kMs, .number = 1},
                                                           {.call = "C_Login", .time = 60'002 * kMs, .number = 2}});
    EXPECT_THAT(timeline.notes, IsEmpty());
}

TEST(UnfinishedCalls, aCallThatTookLongIsNoOtherProcess) {
    // Its line comes behind those of calls that began after it.
    const Timeline timeline = timelineOf(
        std::vector<Line>{{.call = "C_Initialize", .number = 1},
                          {.call = "C_Login", .time = 90'000 * kMs, .thread = 2, .number = 3},
                          {.call = "C_WaitForSlotEvent", .time = 2 * kMs, .duration = 95'000 * kMs, .number = 2},
                          {.call = "C_Sign", .time = 98'000 * kMs, .number = 4}});
    EXPECT_THAT(timeline.notes, IsEmpty());
}

TEST(Axis, aLongPauseIsShort) {
    const std::int64_t hour = 3600 * 1000 * kMs;
    const Timeline timeline = timelineOf(std::vector<Line>{{"C_Initialize", 0, 10 * kMs}, {"C_Login", hour, 10 * kMs}});
    ASSERT_EQ(timeline.segments.size(), 2U);
    EXPECT_LT(timeline.length, 30 * kMs);
    EXPECT_EQ(timeline.calls[1].call.time - timeline.start, hour);
    EXPECT_GT(timeline.calls[1].shown, 10 * kMs);
}

TEST(Axis, manyPausesLeaveRoomForTheCalls) {
    std::vector<Line> lines;
    for (int i = 0; i < 1000; ++i) {
        lines.push_back({"C_Sign", i * 60'000 * kMs, 10 * kMs});
    }
    const Timeline timeline = timelineOf(lines);
    EXPECT_EQ(timeline.segments.size(), 1000U);
    EXPECT_LE(timeline.length, 2 * 1000 * 10 * kMs);
    EXPECT_GT(timeline.length, 1000 * 10 * kMs);
}

TEST(Axis, oneLongPauseIsSeenBesideManyShortOnes) {
    std::vector<Line> lines;
    for (int i = 0; i < 1000; ++i) {
        lines.push_back({"C_Sign", (i * 13 + (i < 500 ? 0 : 3'600'000)) * kMs, 10 * kMs});
    }
    const Timeline timeline = timelineOf(lines);
    ASSERT_EQ(timeline.segments.size(), 2U);
    EXPECT_GE(timeline.calls[500].shown - timeline.calls[499].shown, 500 * kMs);
}

TEST(Axis, pausesBetweenCallsOfNoLengthStandApart) {
    const Timeline timeline = timelineOf({{"C_Sign", 0, 0}, {"C_Sign", 60'000 * kMs, 0}, {"C_Sign", 120'000 * kMs, 0}});
    EXPECT_LT(timeline.calls[0].shown, timeline.calls[1].shown);
    EXPECT_LT(timeline.calls[1].shown, timeline.calls[2].shown);
}

// --- The trace
// --------------------------------------------------------------------------------------------------------

std::string traced(const std::string& time, int level, const std::string& text, const char* module = "ZEL-COE-PKCS11") {
    return "{\"time\":\"" + time + "Z\",\"thread\":77,\"module\":\"" + module +
           "\",\"level\":" + std::to_string(level) + ",\"text\":\"" + text + "\"}\n";
}

/// A script of 20 ms at kStart + 10 ms in a card command of 40 ms, with one announced call.
std::string signing(const std::string& error) {
    const std::string execute = "PKCS11Client::execute";
    return traced("2026-11-22T12:48:54.005000", 8, "p11host sign", "P11HOST") +
           traced("2026-11-22T12:48:54.010000", 8, execute) +
           traced("2026-11-22T12:48:54.010100", 4, execute + ": --> Input Param operation.script = signData") +
           traced("2026-11-22T12:48:54.011000", 2, "PKCS11Client::signData: C_Sign") +
           traced("2026-11-22T12:48:54.029000", 4, execute + "Operation parameter 0, ERROR = " + error) +
           traced("2026-11-22T12:48:54.030000", 16, execute) +
           traced("2026-11-22T12:48:54.045000", 16, "p11host sign", "P11HOST");
}

TEST(TraceOfScripts, callsAreJoinedByTimeAndTheNumberOfTheThread) {
    const Timeline timeline =
        timelineOf(recordOf({{.call = "C_Initialize", .time = 6 * kMs, .thread = 77},
                             {.call = "C_Login", .time = 8 * kMs, .process = 5, .thread = 5, .number = 1},
                             {.call = "C_Sign", .time = 11 * kMs + 5, .process = 5, .thread = 5, .number = 2},
                             {.call = "C_Sign", .time = 11 * kMs + 20, .thread = 77},
                             {.call = "C_Sign", .time = 90 * kMs, .process = 6, .thread = 77, .number = 1},
                             {.call = "C_Logout", .time = 35 * kMs, .thread = 77},
                             {.call = "C_Finalize", .time = 50 * kMs, .thread = 77}}),
                   signing("80ee"));
    ASSERT_EQ(timeline.spans.size(), 2U);
    EXPECT_EQ(timeline.spans[0].name, "p11host sign");
    EXPECT_EQ(timeline.spans[0].calls, 3U);
    EXPECT_EQ(timeline.spans[1].name, "signData");
    EXPECT_EQ(timeline.spans[1].calls, 1U);
    EXPECT_EQ(timeline.spans[1].error, "80ee");
    for (const ThreadBlock& block : timeline.threads) {
        const bool isMeant = block.thread == 77 && block.process != 6; // which had the number afterwards
        EXPECT_EQ(block.commands.size(), isMeant ? 1U : 0U);
        EXPECT_EQ(block.scripts.size(), isMeant ? 1U : 0U);
    }
}

TEST(TraceOfScripts, aTraceOfAnotherRunIsNoted) {
    const Timeline timeline =
        timelineOf(recordOf({{.call = "C_Sign", .time = 90'000 * kMs, .thread = 77}}), signing("0"));
    EXPECT_THAT(timeline.spans, IsEmpty());
    EXPECT_THAT(timeline.notes, ElementsAre(HasSubstr("Nothing of the trace belongs to this record")));
}

TEST(TraceOfScripts, whatIsNoTraceIsRefused) {
    EXPECT_THROW((void)readTrace("nonsense\n", "t"), UsageError);
    EXPECT_THROW((void)readTrace(traced("2026-13-22T12:48:54.010000", 8, "x"), "t"), UsageError);
    EXPECT_THROW((void)readTrace(traced("2026-11-22T12:48:54.010000", 2, "x: C_Sign"), "t"), UsageError);
    EXPECT_THROW((void)readTrace("", "t"), UsageError);
    EXPECT_THAT(readTrace(signing("0") + "{\"time", "t").notes, ElementsAre(HasSubstr("cut off")));
}

// --- What a person sees
// -----------------------------------------------------------------------------------------------

TEST(Durations, haveThreeDigits) {
    EXPECT_EQ(durationText(0), "0");
    EXPECT_EQ(durationText(881), "881 ns");
    EXPECT_EQ(durationText(1000), "1.00 µs");
    EXPECT_EQ(durationText(999'999), "1.00 ms");
    EXPECT_EQ(durationText(4'506'808), "4.51 ms");
    EXPECT_EQ(durationText(671'000'000), "671 ms");
    EXPECT_EQ(durationText(12'340'000'000), "12.3 s");
    EXPECT_EQ(durationText(1'500'000'000'000), "25m00s");
    EXPECT_EQ(durationText(7'500'000'000'000), "2h05m");
}

TEST(Instants, areOfUniversalTime) {
    EXPECT_EQ(instantText(1'795'351'734'229'371'318), "2026-11-22 12:48:54.229371 UTC");
}

TEST(Tables, fitSixtyColumns) {
    std::vector<Line> lines = {{"C_GetMechanismList", 0, 999 * kMs},
                               {"C_VerifyRecoverInit", 1000 * kMs, 9999},
                               {"C_DecryptMessageBegin", 2000 * kMs, 7'500'000'000'000, "", "", "CKR_DEVICE_ERROR"}};
    for (int i = 0; i < 2000; ++i) {
        lines.push_back({"C_GetAttributeValue", (3000 + i) * kMs, 123'456, "", "", "CKR_ATTRIBUTE_TYPE_INVALID"});
    }
    const std::string text = tablesOf(timelineOf(lines));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        EXPECT_LE(columns(text.substr(begin, end - begin)), 60U) << text.substr(begin, end - begin);
    }
    EXPECT_THAT(text, HasSubstr("CKR_DEVICE_ERROR\n    once"));
}

TEST(Page, textsOfTheRecordAreNeverMarkup) {
    const std::string hostile = "</script><script>alert(1)</script>";
    const Timeline timeline = timelineOf(std::vector<Line>{{"C_Login", 0, kMs, "\"label\":\"" + hostile + "\""},
                                                           {"<b>" + hostile, 2 * kMs, kMs, "", "", "CKR_PIN_LOCKED"}});
    for (const std::string& text : {pageOf(timeline), pictureOf(timeline)}) {
        EXPECT_THAT(text, Not(HasSubstr("alert(1)</script>")));
        EXPECT_THAT(text, Not(HasSubstr("<b>")));
    }
}

TEST(Page, allowsItsOwnScriptsAloneAndLoadsNothing) {
    const std::string page = pageOf(timelineOf(std::vector<Line>{{"C_Login"}}));
    EXPECT_THAT(page, HasSubstr("default-src 'none'; script-src 'sha256-"));
    EXPECT_THAT(page, Not(HasSubstr("unsafe-")));
    EXPECT_THAT(page, Not(HasSubstr("http://")));
    EXPECT_THAT(page, Not(HasSubstr("https://")));
    EXPECT_THAT(page, Not(HasSubstr("@DATA@")));
}

std::size_t countOf(const std::string& part, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

TEST(Page, eachCallHasItsSession) {
    const std::string page = pageOf(timelineOf({{"C_Initialize"},
                                                {"C_OpenSession", 2 * kMs, kMs, "\"slot\":0", "\"session\":7"},
                                                {"C_Login", 4 * kMs, kMs, "\"session\":18446744073709551615"},
                                                {"C_Sign", 6 * kMs, kMs, "\"session\":7"}}));
    EXPECT_THAT(page, HasSubstr("\"session\":[-1,0,1,0]"));
    EXPECT_THAT(page, HasSubstr("\"sessions\":[\"7\",\"18446744073709551615\"]"));
}

TEST(Page, charactersThatTurnTheTextAroundThemAreWrittenAsNumbers) {
    const std::string turned = "\"label\":\"a\u202Eb\u2066\xEF\xBF\xBF\"";
    const std::string page =
        pageOf(timelineOf({{"C_Login", 0, kMs, turned}, {"C_Sign", 2 * kMs, kMs, "\"label\":\"ä\""}}));
    EXPECT_THAT(page, HasSubstr("a\\\\u202eb\\\\u2066\\\\uffff"));
    EXPECT_THAT(page, Not(HasSubstr("\u202E")));
    EXPECT_THAT(page, HasSubstr("ä"));
}

TEST(Picture, callsThatShareAPixelShareABar) {
    std::vector<Line> lines;
    for (int i = 0; i < 20'000; ++i) {
        lines.push_back({i % 2 == 0 ? "C_Sign" : "C_FindObjects", i * 2000, 1000});
    }
    const std::size_t ofTwenty = pictureOf(timelineOf(lines)).size();
    lines.resize(10'000);
    EXPECT_LT(ofTwenty, pictureOf(timelineOf(lines)).size() * 3 / 2) << "it grows with the pixels, not with the calls";
}

TEST(Picture, failuresAndSessionsThatShareAPixelShareABar) {
    const auto sizeOf = [](int count) {
        std::vector<Line> lines;
        for (int i = 0; i < count; i += 4) {
            const std::string session = "\"session\":" + std::to_string(i);
            lines.push_back({"C_OpenSession", i * 2000, 1000, "\"slot\":0", session});
            lines.push_back({"C_Sign", (i + 1) * 2000, 1000, session, "", "CKR_DEVICE_ERROR"});
            lines.push_back({"C_Verify", (i + 2) * 2000, 1000, session, "", "CKR_SIGNATURE_INVALID"});
            lines.push_back({"C_CloseSession", (i + 3) * 2000, 1000, session});
        }
        return pictureOf(timelineOf(lines)).size();
    };
    EXPECT_LT(sizeOf(16'000), sizeOf(8'000) * 3 / 2);
}

TEST(Picture, scriptsThatShareAPixelShareABarAndThoseThatFailedAreShown) {
    Timeline timeline = timelineOf(std::vector<Line>{{"C_Sign", 0, 1000 * kMs}});
    for (std::int64_t i = 0; i < 10'000; ++i) {
        timeline.threads[0].scripts.push_back(timeline.spans.size());
        timeline.spans.push_back({false, "signData", i * kMs / 10, i * kMs / 10 + 1, i == 5003 ? "80f5" : "", 1, 1});
    }
    const std::string picture = pictureOf(timeline);
    EXPECT_LE(countOf("<title>signData", picture), 2 * 1280U);
    EXPECT_EQ(countOf("#fbe4e7", picture), 1U);
}

TEST(Picture, pausesAreDrawnOnceForAllThreadsAndNoCloserThanTheyAreSeen) {
    std::vector<Line> lines;
    for (int i = 0; i < 2000; ++i) {
        lines.push_back({.call = "C_Sign", .time = i * 60'000 * kMs, .process = i / 10, .thread = i / 10});
    }
    const Timeline timeline = timelineOf(lines);
    ASSERT_EQ(timeline.threads.size(), 200U);
    ASSERT_EQ(timeline.segments.size(), 2000U);
    const std::size_t drawn = countOf("stroke-dasharray", pictureOf(timeline));
    EXPECT_GT(drawn, 100U);
    EXPECT_LE(drawn, 1280U / 2);
}

TEST(Picture, holdsNoCharacterThatXmlForbids) {
    const std::string forbidden = "C_\xEF\xBF\xBE\xEF\xBF\xBF";
    const std::string picture = pictureOf(timelineOf(std::vector<Line>{{forbidden, 0, kMs}}));
    EXPECT_THAT(picture, HasSubstr("C_??"));
    EXPECT_THAT(picture, Not(HasSubstr("\xEF\xBF\xBE")));
}

} // namespace
} // namespace host::view
