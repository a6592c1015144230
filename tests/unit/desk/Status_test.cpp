#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/desk/report/Status.h"

namespace {

using namespace host::desk;

TEST(Status, CountsAndListsWhatHasToBeRevoked) {
    DeskRecord record;
    record.plan = "employee card";
    record.rows = {{1, "Jane", RowState::Done, "", ""},
                   {2, "Joe", RowState::Failed, "no key", "try"},
                   {3, "Max", RowState::Dropped, "", ""}};
    record.attempts = {{1, 1, AttemptState::Failed, "a", "R", "S0", 0, 0, "x", "", {}},
                       {2, 1, AttemptState::Done, "a", "R", "S1", 0, 1, "", "", {{7, "check", 0, 1, false}}}};
    record.revocations = {{1, 1, "PEM", "lost", 0}, {2, 2, "", "nobody received it", 0}};
    const auto status = nlohmann::json::parse(statusJson(record));
    EXPECT_EQ(2, status["total"]);
    EXPECT_EQ(1, status["done"]);
    EXPECT_EQ(1, status["failed"]);
    EXPECT_EQ(1, status["dropped"]);
    ASSERT_EQ(1U, status["cards"].size());
    EXPECT_EQ("S1", status["cards"][0]["serial"]);
    EXPECT_EQ(7, status["cards"][0]["step"]);
    EXPECT_EQ("PEM", status["revoke"][0]["certificate"]);
    EXPECT_FALSE(status["revoke"][1].contains("certificate"));
}

} // namespace
