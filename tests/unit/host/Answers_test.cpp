#include "host/plugin/Answers.h"

#include <gtest/gtest.h>

#include "host/cli/Readers.h"
#include "host/plugin/Texts.h"

namespace host {
namespace {

Zel::Parameter output(const wchar_t* id, const Zel::TString& value, int encoding = 2) {
    return {static_cast<Zel::ParameterEncoding>(encoding), id, Zel::ParameterType::Text, value};
}

ParameterList listOf(const std::vector<Zel::Parameter>& parameters) {
    ParameterList list;
    for (const Zel::Parameter& parameter : parameters) {
        list.add(parameter);
    }
    return list;
}

TEST(Answers, aResponseInJson) {
    Zel::ClientOperationResponse response;
    response.setId(L"7");
    response.setResponseParameters(listOf({output(L"ERROR", L"0"), output(L"A", L"\"\n", 4)}));
    EXPECT_EQ(jsonLine(responseJson(&response)),
              R"({"id":"7","parameters":[{"id":"ERROR","encoding":2,"type":3,"value":"0"},)"
              R"({"id":"A","encoding":4,"type":3,"value":"\"\n"}]})"
              "\n");
    EXPECT_EQ(jsonLine(responseJson(nullptr)), "null\n");
}

TEST(Answers, anExceptionInJson) {
    EXPECT_EQ(jsonLine(thrownJson({"T", "80ec", "m"})), "{\"type\":\"T\",\"code\":\"80ec\",\"message\":\"m\"}\n");
    EXPECT_EQ(jsonLine(thrownJson({"T", std::nullopt, "\xFF"})),
              "{\"type\":\"T\",\"code\":null,\"message\":\"\xEF\xBF\xBD\"}\n");
}

// A JSON reader gives back the same text.
TEST(Answers, whatATerminalObeysIsEscaped) {
    EXPECT_EQ(jsonLine("\xC3\xA4"), "\"\xC3\xA4\"\n");
    EXPECT_EQ(jsonLine("\xC3\xA4\xC2\x9B"
                       "1m"),
              "\"\\u00e4\\u009b1m\"\n");
    EXPECT_EQ(jsonLine("\xE2\x80\xAE"
                       "txt"),
              "\"\\u202etxt\"\n");
    EXPECT_EQ(Json::parse(jsonLine("\xE2\x80\xAE\xFF")), Json("\xE2\x80\xAE\xEF\xBF\xBD"));
}

TEST(Answers, readableOutputs) {
    EXPECT_EQ(readableAnswer(listOf({output(L"ERROR", L"0")})), "done\n");
    EXPECT_EQ(readableAnswer(listOf({output(L"ERROR", L"0"), output(L"COUNT", L"b"), output(L"AUTHSTATE", L"3", 0),
                                     output(L"LABEL", L"41422020", 4), output(L"X", L"00", 4), output(L"Y", L"4", 4)})),
              "COUNT: 11\nAUTHSTATE: 3 (blocked)\nLABEL: AB\nX: 00\nY: 4\n");
}

TEST(Answers, readableHexadecimal) {
    EXPECT_EQ(readableHexadecimal(""), "");
    EXPECT_EQ(readableHexadecimal("C3A420"), "\xC3\xA4");
    EXPECT_EQ(readableHexadecimal("C3"), "C3") << "no UTF-8";
    EXPECT_EQ(readableHexadecimal("411B"), "411B") << "an order to the terminal";
    EXPECT_EQ(readableHexadecimal("zz"), "zz");
}

TEST(Answers, readableFailures) {
    EXPECT_EQ(readableFailure({.script = "init"}, listOf({output(L"ERROR", L"80eb")})),
              "p11host: init failed: there is no token in the reader, or it was removed (33003).\n"
              "  Put the card in and run it again; \"p11host readers\" shows where the tokens are.\n");
    EXPECT_EQ(readableFailure("init", {"std::bad_alloc", std::nullopt, "std::bad_alloc"}),
              "p11host: init failed: std::bad_alloc, thrown as std::bad_alloc.\n"
              "  \"--trace -\" shows what led to it.\n");
}

TEST(Texts, printableReplacesWhatATerminalWouldObey) {
    EXPECT_EQ(printable("a\x1B[2Jb\xC2\x9B\xFF\x7F"), "a?[2Jb???");
    EXPECT_EQ(printable("\xE2\x82\xAC"), "\xE2\x82\xAC");
}

TEST(Texts, closestIsNearAndNothingElse) {
    const std::vector<std::string> words = {"readers", "info", "run"};
    EXPECT_EQ(closest("reders", words), "readers");
    EXPECT_EQ(closest("INFO", words), "info");
    EXPECT_EQ(closest("completely", words), std::nullopt);
    EXPECT_EQ(closest("", words), std::nullopt);
}

/// A plug-in that knows these readers (hexadecimal text) and has a token in each.
AskReader knows(const std::vector<std::string>& names, std::vector<std::string>* asked = nullptr) {
    return [=](const std::string& name) {
        if (asked != nullptr) {
            asked->push_back(name);
        }
        const bool known = std::find(names.begin(), names.end(), name) != names.end();
        return listOf({output(L"ERROR", known ? L"0" : L"80e9")});
    };
}

std::vector<std::string> descriptions(const std::string& list, const std::string& prefix, const AskReader& ask) {
    std::vector<std::string> result;
    for (const Reader& reader : readReaders(list, prefix, ask)) {
        result.push_back(reader.description);
    }
    return result;
}

using Names = std::vector<std::string>;

TEST(Readers, namesAreSplitAtSlashesOnEvenPositions) {
    EXPECT_EQ(descriptions("", "", knows({})), Names());
    EXPECT_EQ(descriptions("41", "", knows({"41"})), Names({"A"}));
    EXPECT_EQ(descriptions("412F42", "", knows({"41", "42"})), Names({"A", "B"}));
    // "B", then 0xF2 0xF4: the slash's digits stand across two bytes.
    EXPECT_EQ(descriptions("42F2F4", "", knows({"42F2F4"})), Names({"42F2F4"}));
}

TEST(Readers, aSlashInANameIsNoBorder) {
    EXPECT_EQ(descriptions("2F612F622F2F63", "", knows({"2F612F62", "2F63"})), Names({"/a/b", "/c"}));
    EXPECT_EQ(descriptions("412F412F42", "", knows({"41", "412F42"})), Names({"A", "A/B"}));
}

TEST(Readers, thePrefixIsNotShown) {
    EXPECT_EQ(descriptions("503A412F503A42", "P:", knows({"503A41", "503A42"})), Names({"A", "B"}));
}

TEST(Readers, aNameThatNobodyKnowsIsShownAllTheSame) {
    EXPECT_EQ(descriptions("412F42", "", knows({})), Names({"A", "B"}));
    Names asked;
    EXPECT_EQ(descriptions("2F41", "", knows({}, &asked)), Names({"A"}));
    EXPECT_EQ(asked, Names({"2F41"})) << "neither the empty name nor the last one that is left is asked for";
}

TEST(Readers, theQuestionsGrowAsTheListDoes) {
    const auto questionsFor = [](std::size_t count) {
        std::string list;
        std::set<std::string> names;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = toUtf8(toHexadecimal("Reader " + std::to_string(1000 + i)));
            list += (i == 0 ? "" : "2F") + name;
            names.insert(name);
        }
        std::size_t questions = 0;
        const AskReader ask = [&](const std::string& name) {
            ++questions;
            return listOf({output(L"ERROR", names.count(name) == 1 ? L"0" : L"80e9")});
        };
        EXPECT_EQ(readReaders(list, "", ask).size(), count);
        return questions;
    };
    const std::size_t some = questionsFor(200);
    EXPECT_GE(some, 200U);
    EXPECT_LT(questionsFor(400), some * 5 / 2);
}

TEST(Readers, noNameIsLongerThanADescriptionCanBe) {
    std::string list = "41";
    for (int i = 0; i < 200; ++i) {
        list += "2F41";
    }
    Names asked;
    EXPECT_EQ(descriptions(list, "", knows({"41"}, &asked)).size(), 201U);
    for (const std::string& name : asked) {
        EXPECT_LE(name.size(), 128U);
    }
}

} // namespace
} // namespace host
