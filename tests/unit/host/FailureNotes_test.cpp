// What fails inside the plug-in is noted by the thread on which it fails.

#include "host/plugin/FailureNotes.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "ry/rylog.h"

namespace host {
namespace {

void logFailure(std::uint32_t result) {
    rylogLog(L"test", 1, L"PKCS11Client::signData : C_Sign 0x%02x : failed", result);
}

TEST(FailureNotes, theInnermostOfTheThreadGetsTheFailure) {
    std::optional<FailureNotes> outer(std::in_place);
    std::optional<FailureNotes> inner(std::in_place);
    logFailure(5);
    EXPECT_EQ(inner->failures().calls.size(), 1U);
    EXPECT_EQ(outer->failures().calls.size(), 0U);
    inner.reset();
    logFailure(6);
    ASSERT_EQ(outer->failures().calls.size(), 1U);
    EXPECT_EQ(outer->failures().calls.front().result, 6U);
}

TEST(FailureNotes, anOuterOneMayGoFirst) {
    std::optional<FailureNotes> outer(std::in_place);
    FailureNotes inner;
    outer.reset();
    logFailure(5);
    EXPECT_EQ(inner.failures().calls.size(), 1U);
}

TEST(FailureNotes, aThreadThatHadThemEndsWell) {
    for (std::uint32_t i = 0; i < 50; ++i) {
        std::thread([i] {
            const FailureNotes notes;
            logFailure(i);
            EXPECT_EQ(notes.failures().calls.size(), 1U);
        }).join();
    }
}

} // namespace
} // namespace host
