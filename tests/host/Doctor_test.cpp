// p11host doctor on a module of the tests' own, which does whatever DOCTOR_FAULT names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "cryptoki/cryptoki.h"
#include "tests/host/Child.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::AnyOfArray;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

Words doctor(const std::string& module, const Words& more = {}) {
    Words arguments = {hostProgram(), "doctor", "--module", module};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::string module() {
    return beside(DOCTOR_MODULE);
}

json answerOf(const Outcome& ended) {
    const json answer = json::parse(ended.output, nullptr, false);
    EXPECT_TRUE(answer.is_object()) << ended.output << ended.errors;
    return answer.is_object() ? answer : json::object();
}

json examine(const std::string& fault, int status) {
    const Outcome ended = run(doctor(module(), {"--json"}), "", {{"DOCTOR_FAULT", fault}});
    EXPECT_EQ(ended.status, status) << ended.output << ended.errors;
    return answerOf(ended);
}

/// The findings of a level as lines.
std::string findings(const json& answer, const std::string& level) {
    std::string text;
    for (const json& finding : answer.value("findings", json::array())) {
        text += finding.at("level") == level ? finding.at("text").get<std::string>() + "\n" : "";
    }
    return text;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line.substr(0, line.find('\r')));
    }
    return lines;
}

/// Nothing that a token could notice.
const std::set<std::string> kHarmless = {
    "C_GetFunctionList", "C_Initialize",       "C_GetInfo",          "C_GetSlotList",  "C_GetSlotInfo",
    "C_GetTokenInfo",    "C_GetMechanismList", "C_GetMechanismInfo", "C_OpenSession",  "C_GetSessionInfo",
    "C_FindObjectsInit", "C_FindObjects",      "C_FindObjectsFinal", "C_CloseSession", "C_Finalize"};

TEST(Doctor, describesAModuleInOrder) {
    const json answer = examine("", 0);
    EXPECT_EQ(findings(answer, "fault"), "");
    EXPECT_EQ(answer.at("info").at("manufacturer"), "Example");
    EXPECT_EQ(answer.at("info").at("description"), "Module of the tests");
    EXPECT_EQ(answer.at("info").at("cryptoki"), "2.40");
    EXPECT_EQ(answer.at("info").at("version"), "1.2");
    EXPECT_EQ(answer.at("functions").at("total"), 68);
    EXPECT_TRUE(answer.at("functions").at("missing").empty());
    EXPECT_EQ(answer.at("interfaces").at(0).at("name"), "PKCS 11");
    EXPECT_EQ(answer.at("interfaces").at(0).at("forkSafe"), true);
    EXPECT_EQ(answer.at("slots").at(0).at("reader"), "Reader of the tests");
    EXPECT_EQ(answer.at("library").at("fits"), true);
    EXPECT_EQ(answer.at("scripts").at(0).at("scripts").size(), 18U);
    EXPECT_EQ(answer.at("underWay"), nullptr);
}

TEST(Doctor, saysWhichFunctionsAreMissingAndWhichScriptsNeedThem) {
    const json answer = examine("hole", 0);
    EXPECT_THAT(findings(answer, "warning"), HasSubstr("C_CreateObject is missing; needed by writeData\n"));
    EXPECT_THAT(findings(answer, "note"), HasSubstr("functions that no script needs are missing: C_SeedRandom\n"));
    for (const json& script : answer.at("scripts").at(0).at("scripts")) {
        EXPECT_EQ(script.at("works"), script.at("script") != "writeData") << script;
        EXPECT_EQ(script.at("limits"), json::array());
    }
}

struct Fault {
    std::string name;
    int status;
    std::string text;
};

class DoctorFault : public ::testing::TestWithParam<Fault> {};

TEST_P(DoctorFault, isNamed) {
    const json answer = examine(GetParam().name, GetParam().status);
    const std::string all = findings(answer, "fault") + findings(answer, "warning");
    EXPECT_THAT(all, HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    All, DoctorFault,
    ::testing::Values(
        Fault{"astray", 3, "the list of functions is damaged: these entries lead nowhere: C_SeedRandom\n"},
        Fault{"list", 3, "the list of functions has another packing than this system's modules have\n"},
        Fault{
            "width", 3,
            sizeof(CK_ULONG) == 8
                ? "structures are packed, CK_ULONG of 32 bits; on this system they are unpacked, CK_ULONG of 64 bits"
                : "structures are unpacked, CK_ULONG of 64 bits; on this system they are packed, CK_ULONG of 32 bits"},
        Fault{"version", 0, "the module says that it follows PKCS#11 9.0\n"},
        Fault{"unfilled", 0, "C_GetInfo does not fill its structure as the standard has it\n"},
        Fault{"refuse", 3, "C_Initialize answered CKR_DEVICE_ERROR\n"},
        Fault{"crash", 3, "the module ended the process in C_GetSlotList ("},
        Fault{"exit", 1, "the module ended the process in C_GetSlotInfo ("}, Fault{"slow", 0, "C_GetSlotInfo took "},
        Fault{"no-readers", 0, "the module lists no readers\n"},
        Fault{"no-list", 3, "the library is no PKCS#11 module: it gives no list of functions\n"}),
    [](const ::testing::TestParamInfo<Fault>& fault) {
        std::string name = fault.param.name;
        std::erase(name, '-');
        return name;
    });

// What a module prints is not taken for a part of the report.
TEST(Doctor, isNotMisledByWhatTheModulePrints) {
    const json answer = examine("print", 0);
    EXPECT_EQ(answer.at("slots").size(), 1U);
}

TEST(Doctor, saysWhereTheModuleHangsWhenInterrupted) {
    const File log("");
    const std::string folder = log.path() + ".report";
    Child child(doctor(module(), {"--out", folder}), {{"DOCTOR_FAULT", "hang"}, {"DOCTOR_LOG", log.path()}},
                Child::Console::Own);
    ASSERT_TRUE(waitFor(log, "C_GetSlotList"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(child.errors(), HasSubstr("C_GetSlotList was under way for "));
    EXPECT_THAT(contentOf(folder + "/report.txt"), HasSubstr("C_GetSlotList was under way for "));
    std::filesystem::remove_all(folder);
}

TEST(Doctor, endsAnExaminationThatTakesTooLong) {
    const Outcome ended = run(doctor(module(), {"--json", "--time-limit", "1"}), "", {{"DOCTOR_FAULT", "hang"}});
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(findings(answerOf(ended), "fault"),
                HasSubstr("did not end within 1 s; the examination was ended there\n"));
    for (const char* const limit : {"0", "86401", "x", "1s", ""}) {
        EXPECT_EQ(run(doctor(module(), {"--time-limit", limit, "--out", "a"})).status, 2) << limit;
    }
    EXPECT_FALSE(std::filesystem::exists("a"));
}

// Neither the module nor the record sees a call that writes or logs in.
TEST(Doctor, writesNothingAndLogsNobodyIn) {
    const File log("");
    const std::string folder = log.path() + ".report";
    const Outcome ended = run(doctor(module(), {"--out", folder}), "", {{"DOCTOR_LOG", log.path()}});
    EXPECT_EQ(ended.status, 0) << ended.output << ended.errors;
    const std::vector<std::string> called = linesOf(log.content());
    EXPECT_GE(called.size(), 7U);
    EXPECT_THAT(called, Each(AnyOfArray(kHarmless)));
    std::vector<std::string> recorded;
    for (const std::string& line : linesOf(contentOf(folder + "/record.jsonl"))) {
        recorded.push_back(json::parse(line).at("call"));
    }
    EXPECT_GE(recorded.size(), 7U);
    EXPECT_THAT(recorded, Each(AnyOfArray(kHarmless)));
    EXPECT_EQ(json::parse(contentOf(folder + "/report.json")).at("info").at("manufacturer"), "Example");
    EXPECT_THAT(contentOf(folder + "/report.txt"), HasSubstr("Module of the tests"));

    const Outcome again = run(doctor(module(), {"--out", folder}));
    EXPECT_EQ(again.status, 2);
    EXPECT_THAT(again.errors, HasSubstr("there is a file"));
    std::filesystem::remove_all(folder);
}

TEST(Doctor, refusesWhatDoesNotFitTogether) {
    EXPECT_THAT(run(doctor(module(), {"--out", "a", "--watch", "b"})).errors, HasSubstr("exclude each other"));
    EXPECT_FALSE(std::filesystem::exists("a"));
    const Outcome unnamed = run(doctor(module(), {"--write-test"}), "", {{"P11HOST_TOKEN", ""}});
    EXPECT_EQ(unnamed.status, 2);
    EXPECT_THAT(unnamed.errors, HasSubstr("--write-test"));
    EXPECT_EQ(run({hostProgram(), "doctor"}, "", {{"P11HOST_MODULE", ""}}).status, 2);
}

/// A library's file with some bytes changed, in a folder of its own.
class ChangedFile {
public:
    explicit ChangedFile(std::string content) : m_file(content) {}
    [[nodiscard]] std::string path() const { return std::filesystem::absolute(m_file.path()).string(); }

private:
    File m_file;
};

/// Where the machine stands in the file, and where its width does.
std::string madeFor(std::string file, bool isWide, unsigned char machine) {
    if (file.substr(0, 2) == "MZ") {
        const std::size_t start = static_cast<unsigned char>(file[0x3C]) | static_cast<unsigned char>(file[0x3D]) << 8U;
        file.replace(start + 4, 2, machine == 3 ? std::string("\x4C\x01") : std::string("\x64\xAA"));
        file[start + 25] = isWide ? '\x02' : '\x01';
        return file;
    }
    file[4] = isWide ? '\x02' : '\x01';
    file[18] = static_cast<char>(machine);
    return file;
}

TEST(Doctor, saysForWhichMachineAModuleWasMade) {
    const std::string own = contentOf(module());
    const ChangedFile narrow(madeFor(own, false, 3));
    const Outcome ended = run(doctor(narrow.path(), {"--json"}));
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(findings(answerOf(ended), "fault"),
                HasSubstr("the file is a 32-bit module, and p11host is a 64-bit program: "));
    const ChangedFile foreign(madeFor(own, true, 183));
    EXPECT_THAT(findings(answerOf(run(doctor(foreign.path(), {"--json"}))), "fault"),
                HasSubstr("the file was made for another processor: "));
}

TEST(Doctor, knowsATextFileAndAMissingOne) {
    const ChangedFile text("# not a module\n");
    EXPECT_THAT(findings(answerOf(run(doctor(text.path(), {"--json"}))), "fault"),
                HasSubstr("the file is a text file: "));
    const ChangedFile empty("");
    EXPECT_THAT(findings(answerOf(run(doctor(empty.path(), {"--json"}))), "fault"), HasSubstr("the file is empty: "));
    const Outcome missing = run(doctor(text.path() + ".missing", {"--json"}));
    EXPECT_EQ(missing.status, 3);
    EXPECT_THAT(findings(answerOf(missing), "fault"), HasSubstr("the module cannot be loaded: "));
}

TEST(Doctor, namesTheLibraryThatIsMissing) {
    const std::string planted = (std::filesystem::path(beside("x")).parent_path().parent_path() / "planted").string();
    std::string file = contentOf(planted + "/vendor" LIBRARY_ENDING);
    const std::string needed = "needed" LIBRARY_ENDING;
    ASSERT_NE(file.find(needed), std::string::npos);
    for (std::size_t at = 0; (at = file.find(needed)) != std::string::npos;) {
        file.replace(at, 6, "absent");
    }
    const ChangedFile lonely(file);
    const Outcome ended = run(doctor(lonely.path(), {"--json"}));
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(findings(answerOf(ended), "fault"), HasSubstr("the library absent" LIBRARY_ENDING ", which "));
}

TEST(Doctor, isReadableOnATerminal) {
    const Outcome ended = run(doctor(module()), "", {{"DOCTOR_FAULT", "hole"}});
    for (const char* const text : {"Module:\n", "Functions", "66 of 68", "Readers:\n", "Reader of the tests",
                                   "17 of 18", "Findings:\n", "C_CreateObject is missing; needed by writeData."}) {
        EXPECT_THAT(ended.output, HasSubstr(text));
    }
    EXPECT_THAT(ended.output, Not(HasSubstr("\r\n\r\n\r\n")));
}

} // namespace
} // namespace tests
