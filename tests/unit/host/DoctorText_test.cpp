// The doctor's summary on narrow terminals.
#include "host/cli/card/DoctorText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "host/plugin/Texts.h"

namespace host {
namespace {

using ::testing::HasSubstr;

Json report() {
    return Json::parse(
        R"({"file":"/usr/lib/m.so","library":{"kind":"ELF, 64 bits, x86-64","needs":["liba.so","libb.so"]},
        "functions":{"total":68,"missing":["C_CreateObject"]},"interfaces":[{"name":"PKCS 11","version":"3.0"}],
        "layout":{"own":"unpacked, CK_ULONG of 64 bits","foreign":""},
        "info":{"manufacturer":"Example","description":"A module with a long description","version":"1.0",
                "cryptoki":"2.40"},
        "slots":[{"reader":"A reader with quite a long name 0","session":"CKR_OK",
                  "token":{"label":"A card with a long label, \u001b[31m","serial":"0123456789ABCDEF","initialised":true,
                           "userPinSet":true,"userPin":"last try","soPin":"fine"},
                  "mechanisms":[{"name":"CKM_RSA_PKCS_KEY_PAIR_GEN","number":0,"smallestKey":512,"largestKey":4096}]}],
        "scripts":[{"token":"card","scripts":[{"script":"writeData","works":false,
                    "reasons":["C_CreateObject is missing","the user PIN is locked or has to be changed"]}]}],
        "known":{"product":"SoftHSM2","quirks":[{"title":"a title","text":"and its text","surprise":true}]},
        "times":[{"call":"C_GetMechanismInfo","count":120,"median":1000,"longest":150000000,"healthy":500,"slow":true}],
        "healthySource":"measured","writeTest":{"steps":[{"step":"generate a key pair of 2048 bits","done":false,
                    "result":"CKR_DEVICE_ERROR","reason":"the token refused"}]},
        "findings":[{"level":"warning","text":"something that takes more than one line on a narrow terminal, surely",
                     "remedy":"Do this and that, and then the other thing that helps."}],"verdict":"warnings"})");
}

TEST(DoctorText, fitsNarrowTerminals) {
    for (const std::size_t width : {60U, 72U, 80U, 100U}) {
        for (const ReportDepth depth : {ReportDepth::Summary, ReportDepth::Whole}) {
            std::istringstream lines(doctorText(report(), width, depth));
            for (std::string line; std::getline(lines, line);) {
                EXPECT_LE(columns(line), width) << line;
            }
        }
    }
}

TEST(DoctorText, showsNoOrdersToTheTerminal) {
    EXPECT_EQ(doctorText(report(), 80, ReportDepth::Summary).find('\x1B'), std::string::npos);
}

TEST(DoctorText, hasAllInTheReport) {
    const std::string text = doctorText(report(), 100, ReportDepth::Whole);
    EXPECT_THAT(text, HasSubstr("and its text"));
    EXPECT_THAT(text, HasSubstr("CKM_RSA_PKCS_KEY_PAIR_GEN"));
    EXPECT_THAT(text, HasSubstr("refused: CKR_DEVICE_ERROR, the token refused"));
    EXPECT_THAT(text, HasSubstr("The module works; read the warnings.\n"));
}

// A module that gives nothing at all still has a report.
TEST(DoctorText, standsNothing) {
    EXPECT_THAT(doctorText(Json::object(), 60, ReportDepth::Whole), HasSubstr("The module cannot be used.\n"));
}

} // namespace
} // namespace host
