// What a terminal shows of a run.

#include "host/cli/desk/ProgressBlock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/plugin/Texts.h"

namespace host {
namespace {

using desk::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

class ProgressBlockTest : public testing::Test {
protected:
    void begin(const std::string& reader, std::int64_t row, const std::string& who) {
        m_block.take(Event{Event::Kind::Begun, reader, row, who, "", ""}, m_now);
    }
    void step(std::int64_t row, const std::string& name) {
        m_block.take(Event{Event::Kind::Step, "", row, "", name, ""}, m_now);
    }
    void end(std::int64_t row, Event::Kind kind = Event::Kind::Done) {
        m_block.take(Event{kind, "", row, "", "", "a reason"}, m_now);
    }
    void stand(std::int64_t done, std::int64_t failed, std::int64_t total) {
        m_block.take(desk::Stand{done, failed, total}, m_now);
    }
    std::vector<std::string> lines(std::size_t columns, std::size_t height = 24) {
        return m_block.lines({columns, height}, m_now);
    }

    ProgressBlock m_block;
    ProgressBlock::Clock::time_point m_now{};
};

TEST_F(ProgressBlockTest, eachReaderHasALineAndAllHaveABar) {
    stand(40, 0, 80);
    begin("Reader 1", 41, "Jane Doe");
    begin("Reader 2", 42, "John Roe");
    m_now += 64s;
    end(42);
    step(41, "generate-key");
    m_now += 12s;
    EXPECT_THAT(lines(100), ElementsAre("Reader 1  Jane Doe  generate-key       12 s",
                                        "Reader 2  John Roe  done               1 min 4 s",
                                        "[###############---------------] 41 of 80, 0.9 a minute, 41 min left"));
}

TEST_F(ProgressBlockTest, nothingIsShownBeforeItIsKnownHowMuchThereIsToDo) {
    EXPECT_THAT(lines(80), IsEmpty());
    EXPECT_THAT(m_block.lastLines({80, 24}), IsEmpty());
}

TEST_F(ProgressBlockTest, aReaderKeepsItsLineWhenItsCardIsChanged) {
    stand(0, 0, 4);
    begin("A", 1, "One");
    begin("B", 2, "Two");
    end(1, Event::Kind::Failed);
    EXPECT_THAT(lines(80), ElementsAre("A  One  failed             0 s", "B  Two  begun              0 s", testing::_));
    begin("A", 3, "Three");
    EXPECT_THAT(lines(80),
                ElementsAre("A  Three  begun              0 s", "B  Two    begun              0 s", testing::_));
}

TEST_F(ProgressBlockTest, aStepIsFoundByItsRowBecauseReadersChangeTheirNames) {
    stand(0, 0, 1);
    begin("slot 1", 1, "One");
    m_block.take(Event{Event::Kind::Step, "slot 7", 1, "One", "set-pin", ""}, m_now);
    EXPECT_THAT(lines(80), ElementsAre("slot 1  One  set-pin            0 s", testing::_));
}

TEST_F(ProgressBlockTest, noLineIsAsWideAsTheWindowWhateverTheNames) {
    stand(7, 2, 100000);
    begin(std::string(200, 'r'), 1, "中文字中文字中文字中文字中文字中文字中文字");
    begin("e\u0301e\u0301", 2, std::string(300, 'w'));
    begin("\u202Eevil\x1B[2J", 3, "\xFF\nline");
    m_now += 30h;
    end(1);
    for (std::size_t width = 1; width <= 200; ++width) {
        for (const std::string& line : lines(width)) {
            EXPECT_LT(shownWidth(line), std::max<std::size_t>(width, 2)) << width << ": " << line;
            EXPECT_EQ(line.find_first_of("\x1B\n"), std::string::npos) << line;
            EXPECT_EQ(line.find("\u202E"), std::string::npos) << line;
        }
    }
}

TEST_F(ProgressBlockTest, sixtyColumnsShowWhoAndWhatAndHowLong) {
    stand(3, 1, 200);
    begin("Example Vendor Smart Card Reader 00 00", 4, "Alexandra Featherstonehaugh");
    step(4, "write-certificate");
    m_now += 75s;
    stand(4, 1, 200);
    EXPECT_THAT(lines(60), ElementsAre("Example Vend…  Alexandra F…  write-certificate  1 min 15 s",
                                       "[--------] 4 of 200, 1 failed, 0.8 a minute, 4 h 3 min left"));
}

TEST_F(ProgressBlockTest, aLowWindowShowsTheReadersThatWork) {
    stand(0, 0, 50);
    for (int i = 1; i <= 20; ++i) {
        begin("R" + std::to_string(i), i, "P" + std::to_string(i));
    }
    for (int i = 1; i <= 17; ++i) {
        m_now += 1s;
        end(i);
    }
    const std::vector<std::string> shown = lines(80, 7);
    ASSERT_THAT(shown, SizeIs(6)) << "the cursor stands below";
    EXPECT_EQ(shown[0].substr(0, 3), "R17");
    EXPECT_EQ(shown[3].substr(0, 3), "R20");
    EXPECT_EQ(shown[4], "and 16 more readers");
    EXPECT_EQ(shown[5].substr(0, 1), "[");
    for (std::size_t height = 1; height < 40; ++height) {
        EXPECT_THAT(lines(80, height), SizeIs(testing::Lt(std::max<std::size_t>(height, 2))));
    }
}

TEST_F(ProgressBlockTest, readersWithNewNamesForEachCardDoNotFillTheMemory) {
    stand(0, 0, 100000);
    for (int i = 1; i <= 1000; ++i) {
        begin("slot " + std::to_string(i), i, "P");
        end(i);
    }
    EXPECT_EQ(lines(80, 50).at(8), "and 248 more readers");
}

TEST_F(ProgressBlockTest, theRateIsThatOfTheLastCards) {
    stand(0, 0, 1000);
    for (int i = 1; i <= 40; ++i) {
        begin("R", i, "P");
        m_now += i <= 9 ? 1h : 6s;
        end(i);
    }
    EXPECT_EQ(lines(80).back(), "[#-----------------------------] 40 of 1000, 10 a minute, 1 h 36 min left");
    m_now += 8h; // a night
    EXPECT_EQ(lines(80).back(), "[#-----------------------------] 40 of 1000, 10 a minute, 1 h 36 min left");
}

TEST_F(ProgressBlockTest, failedRowsThatWaitAgainDoNotSpoilTheRate) {
    stand(5, 5, 20);
    m_now += 60s;
    stand(6, 5, 20);
    stand(6, 0, 20);
    m_now += 30s;
    stand(7, 0, 20);
    EXPECT_EQ(lines(80).back(), "[##########--------------------] 7 of 20, 2.0 a minute, 6 min 30 s left");
}

TEST_F(ProgressBlockTest, theBarStaysAtTheEnd) {
    stand(0, 0, 2);
    m_now += 60s;
    stand(1, 1, 2);
    EXPECT_THAT(m_block.lastLines({80, 24}),
                ElementsAre("[##############################] 1 of 2, 1 failed, 2.0 a minute"));
}

TEST(DurationText, hasTwoUnitsAtMost) {
    EXPECT_EQ(durationText(0s), "0 s");
    EXPECT_EQ(durationText(64s), "1 min 4 s");
    EXPECT_EQ(durationText(25min + 3s), "25 min");
    EXPECT_EQ(durationText(3h + 5min), "3 h 5 min");
}

} // namespace
} // namespace host
