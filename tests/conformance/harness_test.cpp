// Do the comparisons bite, and do they say where? A harness that cannot fail proves nothing.

#include "tests/conformance/Difference.h"
#include "tests/conformance/Harness.h"

#include <gtest/gtest-spi.h>

using namespace Conformance;

TEST(Difference, equalListsHaveNone) {
    EXPECT_EQ(difference({}, {}), "");
    EXPECT_EQ(difference({"a", "b"}, {"a", "b"}), "");
}

TEST(Difference, theFirstDifferentLineIsMarked) {
    EXPECT_EQ(difference({"a", "b", "c"}, {"a", "x", "c"}), "first at line 1"
                                                            "\n  actual (3 lines):"
                                                            "\n    0  a"
                                                            "\n  > 1  b"
                                                            "\n    2  c"
                                                            "\n  expected (3 lines):"
                                                            "\n    0  a"
                                                            "\n  > 1  x"
                                                            "\n    2  c");
}

TEST(Difference, aListThatEndsEarlySaysSo) {
    EXPECT_EQ(difference({"a"}, {"a", "b"}), "first at line 1"
                                             "\n  actual (1 lines):"
                                             "\n    0  a"
                                             "\n  > (ends here)"
                                             "\n  expected (2 lines):"
                                             "\n    0  a"
                                             "\n  > 1  b");
}

class Harness : public PluginTest {};

TEST_F(Harness, aMissingCallFails) {
    start();
    EXPECT_NONFATAL_FAILURE(expectCalls({"C_GetInfo()"}), "calls differ: first at line 0");
}

TEST_F(Harness, aWrongLevelOrTextFails) {
    start();
    static_cast<void>(execute("beginSynchronization"));
    Trace wrong = executeHead("beginSynchronization", std::nullopt);
    wrong.lines.at(0).level = 16;
    EXPECT_NONFATAL_FAILURE(expectTrace(wrong), "traces differ: first at line 0");
    EXPECT_EQ(trace().lines.size(), 0U);
}

TEST_F(Harness, aWrongOutputFails) {
    start();
    const Result result = execute("beginSynchronization");
    EXPECT_NONFATAL_FAILURE(expectOutputs(result, {errorIs("1")}), "outputs differ: first at line 0");
    EXPECT_NONFATAL_FAILURE(expectOutputs(result, {{"ERROR", 2, 1, "0"}}), "outputs differ: first at line 0");
    EXPECT_NONFATAL_FAILURE(expectError(result, "80ec"), "ERROR is 0, expected 80ec");
    EXPECT_NONFATAL_FAILURE(expectFailure(result.failure, {"x", "y", "z"}), "thrown: nothing");
}

TEST_F(Harness, levelsCanBePickedFromATrace) {
    start();
    static_cast<void>(execute("beginSynchronization"));
    expectTraceAt(8, Trace{{8, "PKCS11Client::execute"}, {8, "PKCS11Client::beginSynchronisation"}});
}

TEST(Params, encodingsAndTypesAreThoseOfTheName) {
    const ParameterVector vector =
        Params().plain("a", "1").hex("b", "2").text("c", "\xC3\xA4").rawText("d", "4").bytes("e", "0102").vector();
    const auto shown = [&](std::uint32_t i) {
        const Zel::Parameter& parameter = *vector->at(i);
        return toUtf8(parameter.getId()) + " " + std::to_string(static_cast<int>(parameter.getEncodingEnum())) + " " +
               std::to_string(static_cast<int>(parameter.getTypeEnum())) + " " + toUtf8(parameter.getValue());
    };
    ASSERT_EQ(vector->size(), 5U);
    EXPECT_EQ(shown(0), "a 2 3 1");
    EXPECT_EQ(shown(1), "b 4 0 2");
    EXPECT_EQ(shown(2), "c 0 3 \xC3\xA4");
    EXPECT_EQ(shown(3), "d 0 0 4");
    EXPECT_EQ(shown(4), "e 1 2 AQI=");
    EXPECT_EQ(Params::null().vector(), nullptr);
    EXPECT_EQ(Params().vector()->size(), 0U);
}
