#include <gtest/gtest.h>

#include "host/desk/list/PersonList.h"
#include "tests/unit/desk/Reading.h"

namespace {

using namespace host::desk;

const std::vector<std::string> kColumns = {"number", "name"};

std::vector<ListedPerson> read(const std::string& csv) {
    return readPersonList(csv, "people.csv", kColumns);
}

std::string faultsOf(const std::string& csv) {
    return tests::refusal([&] { [[maybe_unused]] const std::vector<ListedPerson> persons = read(csv); });
}

std::string checkOf(const std::string& plan, const std::string& csv) {
    const Plan read = readPlan(plan, "plan.json");
    return tests::refusal([&] { checkPersons(readPersonList(csv, "people.csv", read.columns), "people.csv", read); });
}

TEST(PersonList, IsReadHoweverASpreadsheetWritesIt) {
    const std::vector<std::string> forms = {"number,name\n1,Jane Doe\n2,\"Doe, \"\"Joe\"\"\"\n",
                                            "\xEF\xBB\xBFnumber;name\r\n1;Jane Doe\r\n2;\"Doe, \"\"Joe\"\"\"",
                                            "name,left out,number\n\nJane Doe,x, 1 \n\"Doe, \"\"Joe\"\"\",,2\n\n"};
    for (const std::string& csv : forms) {
        const std::vector<ListedPerson> persons = read(csv);
        ASSERT_EQ(2U, persons.size()) << csv;
        EXPECT_EQ((RowValues{"1", "Jane Doe"}), persons[0].values);
        EXPECT_EQ((RowValues{"2", "Doe, \"Joe\""}), persons[1].values);
    }
}

TEST(PersonList, KnowsTheLineOfARowBehindAValueWithLineEnds) {
    EXPECT_EQ(4U, readPersonList("number,x\n1,\"a\nb\"\n2,c\n", "people.csv", {"number"}).at(1).line);
}

TEST(PersonList, RefusesOtherEncodingsWithTheLine) {
    EXPECT_EQ("people.csv:3: this line is no UTF-8; save the list as UTF-8 (in a spreadsheet: \"CSV UTF-8\")",
              faultsOf("number,name\n1,Jane\n2,J\xE4ger\n"));
    EXPECT_EQ("people.csv:1: the list is UTF-16; save the list as UTF-8 (in a spreadsheet: \"CSV UTF-8\")",
              faultsOf(std::string("\xFF\xFEn\0", 4)));
    for (const char* const bad : {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
        EXPECT_NE("", faultsOf("number,name\n1," + std::string(bad) + "\n")) << bad;
    }
    EXPECT_EQ("", faultsOf("number,name\n1,\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\n"));
}

TEST(PersonList, TakesTabsForSeparators) {
    EXPECT_EQ((RowValues{"1", "Doe, Jane"}), read("number\tname\n1\tDoe, Jane\n").at(0).values);
}

TEST(PersonList, RefusesLinesThatEndWithCarriageReturnsAlone) {
    EXPECT_EQ("people.csv:1: the lines of the list end with CR alone; save it with line ends of LF or CR LF (in a "
              "spreadsheet: \"CSV UTF-8\")",
              faultsOf("number,name\r1,Jane\r"));
}

TEST(PersonList, NamesTheFirstColumnsOfMany) {
    EXPECT_EQ(
        "people.csv:1: the list has no column \"name\"; its columns are number, b, c, d, e, f, g, h, i, j, ... (12 in "
        "all)",
        faultsOf("number,b,c,d,e,f,g,h,i,j,k,l\n"));
}

TEST(PersonList, FindsTheSamePersonTwice) {
    EXPECT_EQ("people.csv:4: the number \"1\" stands in line 2 already",
              faultsOf("number,name\n1,Jane\n2,Joe\n1 ,Jane Doe\n"));
}

TEST(PersonList, FindsRowsThatCannotBeUsed) {
    EXPECT_EQ("people.csv:2: the column \"name\" is empty", faultsOf("number,name\n1,\" \"\n"));
    EXPECT_EQ("people.csv:2: this row has 3 values, and the first line has 2 columns",
              faultsOf("number,name\n1,a,b\n"));
    EXPECT_EQ("people.csv:2: the column \"name\" has 1025 characters, and 1024 are allowed",
              faultsOf("number,name\n1," + std::string(1025, 'x') + "\n"));
    EXPECT_EQ("people.csv:2: the column \"name\" has a line end or another control character in it",
              faultsOf("number,name\n1,\"a\nb\"\n"));
    EXPECT_EQ("people.csv:2: a quote is opened and never closed", faultsOf("number,name\n1,\"abc\n"));
    EXPECT_EQ("people.csv:2: a value goes on behind its closing quote; a quote in a value is written twice",
              faultsOf("number,name\n1,\"a\"b\n"));
    EXPECT_EQ("people.csv:2: a quote stands inside a value that does not begin with one",
              faultsOf("number,name\n1,a\"b\"\n"));
    EXPECT_EQ("people.csv:1: nobody is in the list", faultsOf("number,name\n"));
    EXPECT_EQ("people.csv:1: the list is empty; its first line names the columns", faultsOf("\n"));
}

TEST(PersonList, WantsThePlansColumnsOnce) {
    EXPECT_EQ("people.csv:1: the list has no column \"name\" (did you mean \"nam\"?); its columns are number, nam",
              faultsOf("number,nam\n1,Jane\n"));
    EXPECT_EQ("people.csv:1: the column \"name\" stands twice in the list", faultsOf("number,name,name\n1,a,b\n"));
}

TEST(PersonList, ShowsTheFirstFaultsAndCountsTheRest) {
    std::string csv = "number,name\n";
    for (int i = 0; i < 30; ++i) {
        csv += std::to_string(i) + ",\n";
    }
    const std::string faults = faultsOf(csv);
    EXPECT_EQ(20, std::count(faults.begin(), faults.end(), '\n'));
    EXPECT_NE(std::string::npos, faults.find("\npeople.csv: 10 more faults"));
}

TEST(PersonCheck, FindsWhatNoCardTakes) {
    EXPECT_EQ("people.csv:3: a token's label has 1 to 32 bytes, and this one has 33",
              checkOf(tests::kPlan, "number,name\n1,Jane\n2," + std::string(33, 'x') + "\n"));
}

TEST(PersonCheck, LetsNoValueBecomeAnOption) {
    EXPECT_EQ("people.csv:2: \"-out\" would be an option of a command",
              checkOf(tests::kPlan, "number,name\n-out,Jane\n"));
}

TEST(PersonCheck, LetsNoValueLeadACommandToAnotherFolder) {
    for (const char* const value : {"../x", "x/../../y", "..", "/etc/passwd", "\\\\server", "C:/x"}) {
        EXPECT_EQ("people.csv:2: \"" + std::string(value) + "\" would lead a command to another folder",
                  checkOf(tests::kPlan, "number,name\n" + std::string(value) + ",Jane\n"));
    }
    EXPECT_EQ("", checkOf(tests::kPlan, "number,name\na/b..c,Jane\n"));
}

TEST(PersonCheck, LetsNoValueNameAnotherFolder) {
    const std::string plan = tests::planWith(R"({"generate-key": {"id": "01", "label": "{name}", "size": 2048}})",
                                             R"({"import-key": {"id": "01", "file": "keys/{number}.pem"}})");
    EXPECT_EQ("people.csv:2: \"../1\" would name a file in another folder", checkOf(plan, "number,name\n../1,Jane\n"));
    EXPECT_EQ("", checkOf(plan, "number,name\n1,Jane\n"));
}

TEST(PersonCheck, KeepsAValueOneValueOfTheSubject) {
    EXPECT_EQ("Jane\\/CN\\=root", subjectValue("Jane/CN=root"));
    EXPECT_EQ("", checkOf(tests::kPlan, "number,name\n1,\"A/B=C+D,\\\"\n"));
}

} // namespace
