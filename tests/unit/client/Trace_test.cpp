#include "util/Trace.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace plugin;

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

void doNothing(const Trace&) {}

[[noreturn]] void fail(const Trace&) {
    throw std::runtime_error("leaves");
}

TEST_F(TraceLines, ofEntryAndExit) {
    traced(L"method", doNothing);
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method", "16 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofExitAlone) {
    tracedExit(L"method", doNothing);
    EXPECT_EQ(lines, (Lines{"16 PKCS11Client::method"}));
}

TEST_F(TraceLines, ofNeither) {
    { const Trace trace(L"method"); }
    EXPECT_EQ(lines, Lines());
}

TEST_F(TraceLines, ofEntryWhereNobodyListensToExits) {
    listen(8);
    traced(L"method", doNothing);
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method"}));
}

TEST_F(TraceLines, standAroundWhatTheBodyWrites) {
    const int result = traced(Trace(L"method", Trace::kExports), [](const Trace& trace) {
        trace.write(TraceLevel::Call, L": C_Sign");
        return 7;
    });
    EXPECT_EQ(result, 7);
    EXPECT_EQ(lines,
              (Lines{"8 zel-coe-pkcs11::method", "2 zel-coe-pkcs11::method: C_Sign", "16 zel-coe-pkcs11::method"}));
}

TEST_F(TraceLines, ofEntryWhenAnExceptionLeavesTheBody) {
    EXPECT_THROW(traced(L"method", fail), std::runtime_error);
    EXPECT_THROW(tracedExit(L"method", fail), std::runtime_error);
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::method"}));
}

/// Traces a method while an exception that began before it is on its way.
struct TracedOnTheWay {
    ~TracedOnTheWay() {
        traced(L"entered", doNothing);
        tracedExit(L"left", doNothing);
    }
};

TEST_F(TraceLines, ofAMethodThatAnExceptionDoesNotLeave) {
    EXPECT_THROW(
        {
            const TracedOnTheWay onTheWay;
            throw std::runtime_error("passes elsewhere");
        },
        std::runtime_error);
    EXPECT_EQ(lines, (Lines{"8 PKCS11Client::entered", "16 PKCS11Client::entered", "16 PKCS11Client::left"}));
}

TEST_F(TraceLines, areCutWhereTheirPatternFindsNoRoom) {
    const Trace trace(L"method");
    const std::wstring tail(400, L'x');
    trace.write(TraceLevel::Value, tail.c_str());
    EXPECT_EQ(lines, (Lines{"4 PKCS11Client::method" + std::string(319 - 6, 'x')})); // 6: "%ws%ws"
}

} // namespace
