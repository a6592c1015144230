#include <gtest/gtest.h>

#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;
using tests::kPlan;
using tests::planWith;

std::string faultsOfPlan(const std::string& json) {
    return tests::refusal([&] { [[maybe_unused]] const Plan plan = readPlan(json, "plan.json"); });
}

TEST(Plan, IsReadAsItStands) {
    const Plan plan = readPlan(kPlan, "plan.json");
    EXPECT_EQ("employee card", plan.name);
    EXPECT_EQ((std::vector<std::string>{"number", "name"}), plan.columns);
    EXPECT_EQ(SecretKind::Environment, plan.secrets.at("so").kind);
    EXPECT_EQ("SO_PIN", plan.secrets.at("so").name);
    EXPECT_EQ(6U, plan.secrets.at("pin").digits);
    EXPECT_EQ("17", plan.secrets.at("pin").command.arguments.at(1).expand({"17", "Jane Doe"}));
    EXPECT_EQ(OnFailure::Rollback, plan.onFailure);
    EXPECT_EQ(UsedCard::Refuse, plan.usedCard);
    EXPECT_EQ(std::chrono::seconds(30), plan.authority.timeout);
    ASSERT_EQ(7U, plan.steps.size());
    EXPECT_EQ("Jane Doe", plan.tokenLabel({"17", "Jane Doe"}));
    EXPECT_EQ(StepKind::GenerateKey, plan.steps[2].kind);
    EXPECT_EQ("\x01", plan.steps[2].id);
    EXPECT_EQ("2048", plan.steps[2].size);
    EXPECT_EQ("so", plan.soPin());
    EXPECT_TRUE(plan.hasRandomPin());
    EXPECT_EQ(64U, plan.digest.size());
}

TEST(Plan, SaysWhereItIsWrong) {
    EXPECT_EQ("plan.json:13: steps[1].set-pin.pin: \"secrets\" has no secret of this name (did you mean \"pin\"?)",
              faultsOfPlan(planWith(R"({"pin": "pin"})", R"({"pin": "pim"})")));
    EXPECT_EQ("plan.json:14: steps[2].generate-key.size: 1024 or 2048 is expected here",
              faultsOfPlan(planWith("2048", "512")));
    EXPECT_EQ("plan.json:8: usedCard: one of these is expected here: refuse, erase",
              faultsOfPlan(planWith("\"refuse\"", "\"keep\"")));
    EXPECT_EQ("plan.json:8: there is no \"usedCards\" here (did you mean \"usedCard\"?)",
              faultsOfPlan(planWith("usedCard", "usedCards")));
    EXPECT_EQ("plan.json:1: \"columns\" is missing",
              faultsOfPlan(R"({"plan": "x", "secrets": {}, "steps": [{"certify": 1}]})").substr(0, 33));
}

TEST(Plan, NamesAllFaultsAtOnce) {
    std::string plan = planWith("2048", "512");
    plan.replace(plan.find("refuse"), 6, "keep");
    const std::string faults = faultsOfPlan(plan);
    EXPECT_NE(std::string::npos, faults.find("plan.json:8: "));
    EXPECT_NE(std::string::npos, faults.find("\nplan.json:14: "));
}

TEST(Plan, WantsStepsInAnOrderThatWorks) {
    EXPECT_EQ("plan.json:12: steps[0].set-pin: the first step has to be init-token",
              faultsOfPlan(
                  planWith(R"({"init-token": {"label": "{name}", "soPin": "so"}})", R"({"set-pin": {"pin": "pin"}})"))
                  .substr(0, 67));
    EXPECT_EQ("plan.json:18: steps[6].check: no key with this id is made before it",
              faultsOfPlan(planWith(R"({"check": {"id": "01"}})", R"({"check": {"id": "02"}})")));
    EXPECT_EQ(
        "plan.json:17: steps[5].write-certificate: the certificate belongs to the key of the request, which has "
        "another id",
        faultsOfPlan(planWith(R"({"write-certificate": {"id": "01"}})", R"({"write-certificate": {"id": "02"}})")));
    EXPECT_EQ("plan.json:1: the last certificate is written to the card by no step",
              faultsOfPlan(planWith(R"(  {"write-certificate": {"id": "01"}},)", "")));
}

TEST(Plan, RefusesASecretThatWouldBeLostWithAnInterruptedCard) {
    EXPECT_EQ("plan.json:12: steps[0].init-token.soPin: this secret cannot be random: an interrupted card could not be "
              "erased without it",
              faultsOfPlan(planWith(R"("soPin": "so")", R"("soPin": "pin")")));
}

TEST(Plan, TakesNoProgramFromTheList) {
    EXPECT_EQ("plan.json:10: authority.command[0]: the program cannot come from the list",
              faultsOfPlan(planWith("./sign-request", "{name}")));
}

TEST(Plan, NeverQuotesWhatMayBeASecret) {
    for (const std::string& plan :
         {planWith(R"({"env": "SO_PIN"})", R"("87654321")"), planWith(R"({"env": "SO_PIN"})", R"({"pin": "87654321"})"),
          planWith(R"({"env": "SO_PIN"})", R"({"env": "87654321)")}) {
        const std::string faults = faultsOfPlan(plan);
        EXPECT_FALSE(faults.empty());
        EXPECT_EQ(std::string::npos, faults.find("87654321")) << faults;
    }
}

TEST(Plan, IsRefusedWithItsLineWhenItIsNoJson) {
    EXPECT_EQ("plan.json:3: not JSON: ", faultsOfPlan("{\n\"plan\": \"x\",\n,}").substr(0, 23));
    EXPECT_EQ("plan.json:2: the name \"a\" stands twice in one object", faultsOfPlan("{\"a\": 1,\n\"a\": 2}"));
    EXPECT_EQ("plan.json:1: lists and objects stand more than 16 deep in each other",
              faultsOfPlan(std::string(1000, '[') + std::string(1000, ']')));
}

TEST(Template, PutsValuesWhereColumnsStand) {
    const Template text = Template::read("/O={{x}}/CN={name}", {"name"});
    EXPECT_EQ("/O={x}/CN=Jane", text.expand({"Jane"}));
    EXPECT_EQ("/O={x}/CN=[Jane]", text.expand({"Jane"}, [](std::string_view v) { return "[" + std::string(v) + "]"; }));
    EXPECT_FALSE(text.beginsWithColumn());
    EXPECT_TRUE(Template::read("{name}", {"name"}).beginsWithColumn());
}

TEST(Template, RefusesLoneBracesAndUnknownColumns) {
    for (const char* const text : {"{", "}", "{name", "a{}", "{na{me}}", "{nam}"}) {
        EXPECT_NE("", tests::refusal([&] { [[maybe_unused]] const Template t = Template::read(text, {"name"}); }))
            << text;
    }
}

} // namespace
