// What the doctor judges by: the quirks as docs/tokens.md has them, PINs and scripts of a token, and its text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "host/plugin/Texts.h"
#include "host/scripts/Scripts.h"
#include "host/view/HealthyTimes.h"
#include "host/view/ModuleFindings.h"
#include "host/view/Quirks.h"
#include "host/view/ScriptNeeds.h"
#include "host/view/TokenFindings.h"

namespace host {
namespace {

using ::testing::HasSubstr;

/// The page in one line: without marks, bullets and line ends.
std::string page() {
    std::ifstream file(DOCTOR_TOKENS_PAGE);
    std::string text;
    for (std::string word; file >> word;) {
        text += (text.empty() ? "" : " ") + word;
    }
    for (std::size_t at = 0; (at = text.find("**")) != std::string::npos;) {
        text.erase(at, 2);
    }
    return text;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t number = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++number;
    }
    return number;
}

/// The lines of the page between two headings.
std::string section(const std::string& begin, const std::string& end) {
    std::ifstream file(DOCTOR_TOKENS_PAGE);
    std::stringstream all;
    all << file.rdbuf();
    const std::string text = all.str();
    const std::size_t from = text.find("## " + begin);
    return text.substr(from, text.find("## " + end) - from);
}

TEST(Doctor, saysOfTokensWhatTheirPageSays) {
    const std::string text = page();
    ASSERT_THAT(text, HasSubstr("What tokens do"));
    std::set<std::string> surprises;
    std::size_t rows = 0;
    std::size_t others = 0;
    for (const Quirk& quirk : quirks()) {
        const bool isRow = !quirk.isSurprise;
        const bool isLead = quirk.product == Product::Proxy || quirk.title == std::string("p11-kit's trust module");
        if (quirk.isSurprise || isLead) {
            EXPECT_THAT(text, HasSubstr(std::string(quirk.title) + " " + quirk.text));
        } else {
            EXPECT_THAT(text, HasSubstr("| " + std::string(quirk.title) + " | "));
            EXPECT_THAT(text, HasSubstr(" | " + std::string(quirk.text) + " |"));
        }
        if (quirk.isSurprise) {
            surprises.insert(quirk.title);
        } else if (quirk.product == Product::SoftHsm || quirk.product == Product::OpenCryptoki) {
            rows += isRow ? 1 : 0;
        } else {
            ++others;
        }
    }
    // The page has nothing more.
    const std::string table = section("Tokens that can be written to", "Labels");
    EXPECT_EQ(rows, 2 * (count(table, "\n| ") - 1));
    EXPECT_EQ(surprises.size(), count(section("Surprises", "Other modules"), "\n- **"));
    const std::string rest = section("Other modules", "Where they come from");
    EXPECT_EQ(others, count(rest, "\n- **") + count(rest, "\n| \""));
}

TEST(Doctor, knowsModulesByWhatTheySay) {
    EXPECT_EQ(productOf("SoftHSM", "Implementation of PKCS11"), Product::SoftHsm);
    EXPECT_EQ(productOf("PKCS#11 Kit", "PKCS#11 Kit Trust Module"), Product::Trust);
    EXPECT_EQ(productOf("PKCS#11 Kit", "PKCS#11 Kit Proxy Module"), Product::Proxy);
    EXPECT_EQ(productOf("Example", "Implementation of PKCS11"), std::nullopt);
}

TEST(Doctor, hasNeedsForEveryScript) {
    ASSERT_EQ(scriptNeeds().size(), scripts().size());
    for (std::size_t i = 0; i < scripts().size(); ++i) {
        EXPECT_EQ(std::string(scriptNeeds()[i].script), scripts()[i].name);
    }
}

/// A token in order, as the examination reports it.
Json slotInOrder() {
    return Json::parse(R"({"id":1,"reader":"R","session":"CKR_OK",
        "token":{"label":"card","initialised":true,"readOnly":false,"userPinSet":true,"userPin":"fine","soPin":"fine"},
        "mechanisms":[{"name":"CKM_RSA_PKCS_KEY_PAIR_GEN","number":0,"smallestKey":512,"largestKey":4096,
                       "generatesKeyPairs":true,"signs":false},
                      {"name":"CKM_RSA_PKCS","number":1,"smallestKey":512,"largestKey":4096,"signs":true}]})");
}

std::string refused(const Json& slot) {
    std::string text;
    for (const Json& script : judgeScripts(Json::array(), slot)) {
        if (!script.at("works").get<bool>()) {
            text +=
                script.at("script").get<std::string>() + ": " + script.at("reasons").at(0).get<std::string>() + "\n";
        }
    }
    return text;
}

TEST(Doctor, saysWhichScriptsWorkOnAToken) {
    EXPECT_EQ(refused(slotInOrder()), "");
    Json readOnly = slotInOrder();
    readOnly["token"]["readOnly"] = true;
    EXPECT_THAT(refused(readOnly), HasSubstr("writeData: the token is read-only\n"));
    Json small = slotInOrder();
    small["mechanisms"][0]["largestKey"] = 1024;
    EXPECT_EQ(refused(small),
              "generateKeyPair: the token makes no RSA keys of 2048 bits (CKM_RSA_PKCS_KEY_PAIR_GEN)\n");
    Json blank = slotInOrder();
    blank["token"]["initialised"] = false;
    EXPECT_THAT(refused(blank), HasSubstr("readData: the token is blank\n"));
    Json locked = slotInOrder();
    locked["token"]["userPin"] = "locked";
    EXPECT_EQ(refused(locked), "writeData: the user PIN is locked\n"
                               "removeData: the user PIN is locked\n"
                               "generateKeyPair: the user PIN is locked\n"
                               "signData: the user PIN is locked\n");
}

// A module that does not say what its token can do may be able to do it.
TEST(Doctor, takesUnknownMechanismsForPossible) {
    Json silent = slotInOrder();
    silent["mechanisms"] = Json::array();
    EXPECT_EQ(refused(silent), "");
    Json undescribed = slotInOrder();
    for (Json& mechanism : undescribed["mechanisms"]) {
        mechanism = {{"number", mechanism["number"]}, {"described", false}, {"smallestKey", 0}, {"largestKey", 0}};
    }
    EXPECT_EQ(refused(undescribed), "");
    Json other = slotInOrder();
    other["mechanisms"].erase(1);
    EXPECT_EQ(refused(other), "signData: the token does not sign with RSA (CKM_RSA_PKCS)\n");
}

// The script works for other kinds of objects.
TEST(Doctor, saysWhatAScriptCannotWrite) {
    const Json missing = {"C_SetAttributeValue"};
    for (const Json& script : judgeScripts(missing, slotInOrder())) {
        const Json limits = {"no CONTAINER_NAME: C_SetAttributeValue is missing"};
        EXPECT_EQ(script.at("works"), true) << script;
        EXPECT_EQ(script.at("limits"), script.at("script") == "writeData" ? limits : Json::array()) << script;
    }
    Examination examination;
    examination.facts["functions"] = {{"missing", missing}};
    Findings findings;
    addModuleFindings(examination, findings);
    EXPECT_EQ(findings.at(0).text, "C_SetAttributeValue is missing; needed by writeData of CONTAINER_NAME");
}

Findings findingsOf(const char* pin, const char* state) {
    Json slot = slotInOrder();
    slot["token"][pin] = state;
    Findings findings;
    addTokenFindings(slot, findings);
    return findings;
}

TEST(Doctor, saysWhatToDoAboutAPin) {
    EXPECT_TRUE(findingsOf("userPin", "fine").empty());
    const Findings locked = findingsOf("userPin", "locked");
    ASSERT_EQ(locked.size(), 1U);
    EXPECT_EQ(locked[0].level, Level::Fault);
    EXPECT_EQ(locked[0].text, "the user PIN of token \"card\" is locked");
    EXPECT_THAT(locked[0].remedy, HasSubstr("p11host unlock-pin"));
    const Findings last = findingsOf("userPin", "last try");
    ASSERT_EQ(last.size(), 1U);
    EXPECT_EQ(last[0].text, "the user PIN of token \"card\" has one try left: the next wrong one locks it");
    EXPECT_EQ(findingsOf("userPin", "was wrong").at(0).level, Level::Note);
    EXPECT_THAT(findingsOf("soPin", "locked").at(0).remedy, HasSubstr("vendor"));
    EXPECT_THAT(findingsOf("soPin", "to be changed").at(0).remedy, HasSubstr("--so"));
}

TEST(Doctor, callsSlowWhatAPersonNotices) {
    EXPECT_FALSE(isSlow("C_GetInfo", 99'000'000));
    EXPECT_TRUE(isSlow("C_GetInfo", 100'000'000));
    EXPECT_TRUE(isSlow("C_Unmeasured", 100'000'000));
    EXPECT_EQ(healthyTime("C_Unmeasured"), std::nullopt);
}

} // namespace
} // namespace host
