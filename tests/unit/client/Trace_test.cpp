#include "util/Trace.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

// When a method's lines are written. Their texts are tested where the scripts are.

namespace {

using Lines = std::vector<std::string>;

void receive(void* context, const RylogRecord* record) {
    static_cast<Lines*>(context)->push_back(std::to_string(record->level) + " " + record->text);
}

class TraceLines : public testing::Test {
protected:
    TraceLines() { listen(31); }
    ~TraceLines() override { rylogSetReceiver(nullptr, nullptr, 0); }

    void listen(std::uint32_t levels) { rylogSetReceiver(&receive, &lines, levels); }

    Lines lines;
};

TEST_F(TraceLines, ofEntryAndExit) {
    { const Trace trace(L"method"); }
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method", "16 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofExitAlone) {
    { const Trace trace(L"method", Trace::Lines::ExitOnly); }
    EXPECT_EQ(lines, (Lines{"16 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofNeither) {
    { const Trace trace(L"method", Trace::Lines::None); }
    EXPECT_EQ(lines, Lines());
}

TEST_F(TraceLines, ofEntryWhenTheExitIsTakenBack) {
    {
        Trace trace(L"method");
        trace.withoutExit();
    }
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofEntryWhereNobodyListensToExits) {
    listen(8);
    { const Trace trace(L"method"); }
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofEntryWhenAnExceptionPasses) {
    for (const Trace::Lines wanted : {Trace::Lines::EntryAndExit, Trace::Lines::ExitOnly}) {
        EXPECT_THROW(
            {
                const Trace trace(L"method", wanted);
                throw std::runtime_error("passes");
            },
            std::runtime_error);
    }
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method"}));
}

/// Traces a method while an exception that began before it is on its way.
struct TracedOnTheWay {
    ~TracedOnTheWay() {
        { const Trace trace(L"entered"); }
        { const Trace trace(L"left", Trace::Lines::ExitOnly); }
    }
};

TEST_F(TraceLines, ofAMethodThatAnExceptionDoesNotPass) {
    EXPECT_THROW(
        {
            const TracedOnTheWay onTheWay;
            throw std::runtime_error("passes elsewhere");
        },
        std::runtime_error);
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::entered", "16 PKCS11Client::entered", "16 PKCS11Client::left"}));
}

TEST_F(TraceLines, areCutWhereTheirPatternFindsNoRoom) {
    const Trace trace(L"method", Trace::Lines::None);
    const std::wstring tail(400, L'x');
    trace.write(TraceLevel::Value, tail.c_str());
    EXPECT_EQ(lines, (Lines{"4 PKCS11Client::method" + std::string(319 - 6, 'x')})); // 6: "%ws%ws"
}

} // namespace
