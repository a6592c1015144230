// Slips on the command line of a script, made from the table of its parameters: each is refused before anything is
// loaded, and the message names what would be right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "host/cli/Commands.h"
#include "host/scripts/Parameters.h"
#include "host/scripts/Scripts.h"

namespace host {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Words = std::vector<std::string>;

struct Outcome {
    ExitStatus status;
    std::string result;
    std::string messages;
};

/// The plug-in does not exist: what is not refused before goes wrong with another status.
Outcome run(Words words) {
    words.insert(words.begin(), {"--plugin", "no-such-plugin", "--module", "m"});
    Outcome outcome = {};
    const Output output = {[&](std::string_view text) {
                               outcome.result += text;
                               return true;
                           },
                           [&](std::string_view text) { outcome.messages += text; }};
    outcome.status = runProgram(words, output);
    return outcome;
}

struct Slip {
    Words words;
    std::string right; ///< what the message has to name
};

void PrintTo(const Slip& slip, std::ostream* stream) {
    *stream << ::testing::PrintToString(slip.words);
}

std::string rightValue(const ScriptParameter& parameter) {
    switch (parameter.kind) {
    case ValueKind::Keyword:
        return wordsOf(parameter.words).front();
    case ValueKind::Flag:
        return "1";
    case ValueKind::Setting:
        return "m";
    case ValueKind::Secret:
    case ValueKind::Text:
    case ValueKind::Label:
    case ValueKind::TokenLabel:
        return "text:1234";
    case ValueKind::Identifier:
        return "hex:01";
    case ValueKind::Name:
        return "hex:3000";
    case ValueKind::Number:
        return "hex:020101";
    case ValueKind::Certificate:
        return "base64:MAcwADAAAwEA";
    case ValueKind::PrivateKey:
        return "base64:MAcCAQAwAAQA";
    case ValueKind::Exponent:
        return "base64:AQAB";
    case ValueKind::Block:
        return "base64:AQI=";
    }
    return "";
}

Words objectsOf(const Script& script) {
    for (const ScriptParameter& parameter : script.parameters) {
        if (std::string(parameter.id) == "OBJ_TYPE") {
            return wordsOf(parameter.words);
        }
    }
    return {""};
}

/// A command with everything that the script takes with this OBJ_TYPE, but with `words` in the place of `left`.
Words command(const Script& script, const std::string& object, const std::string& left = "", const Words& words = {}) {
    Words result = {script.name};
    for (const ScriptParameter& parameter : script.parameters) {
        const std::string id = parameter.id;
        if (id == left) {
            result.insert(result.end(), words.begin(), words.end());
        } else if (looksAt(parameter, object)) {
            result.push_back(id + "=" + (id == "OBJ_TYPE" ? object : rightValue(parameter)));
        }
    }
    return result;
}

std::string lowerCase(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    return word;
}

/// Values of every kind that the parameter does not take, plain ones included.
Words wrongKinds(const ScriptParameter& parameter) {
    const Words ways = waysToWrite(parameter.kind);
    Words values;
    for (const char* way : {"", "text:", "hex:", "base64:", "file:", "env:", "prompt:", "secret:", "fd:"}) {
        if (std::find(ways.begin(), ways.end(), way) == ways.end()) {
            values.push_back(std::string(way) + "1234");
        }
    }
    return values;
}

Words wrongValues(const ScriptParameter& parameter) {
    switch (parameter.kind) {
    case ValueKind::Keyword:
        return {"", "nonsense", lowerCase(wordsOf(parameter.words).front()) + "x"};
    case ValueKind::Flag:
        return {"true", "TRUE", "yes", "2", "", "01"};
    case ValueKind::Setting:
        return {};
    case ValueKind::Secret:
        return {"text:", "text:12\n34", "text:\xFF\xFE"};
    case ValueKind::Text:
        return {"text:", "hex:", "hex:4", "hex:0x41"};
    case ValueKind::Label:
        return {"text:", "hex:4", "hex:0x41", "hex:410042"};
    case ValueKind::TokenLabel:
        return {"text:", "hex:4", "text:a label of more than thirty-two bytes"};
    case ValueKind::Identifier:
        return {"hex:", "hex:1", "hex:0x01", "hex:01:02", "hex:0g", "text:"};
    case ValueKind::Name:
        return {"hex:", "hex:300", "hex:3001", "hex:300000", "hex:0x3000", "hex:020101"};
    case ValueKind::Number:
        return {"hex:", "hex:01", "hex:0201", "hex:02010101", "hex:3000"};
    case ValueKind::Certificate:
        return {"base64:", "base64:MAcCAQAwAAQA", "base64:MAcwADAAAwE=", "base64:?", "file:no-such-file"};
    case ValueKind::PrivateKey:
        return {"base64:", "base64:MAcwADAAAwEA", "base64:MAcCAQAwAAQ=", "base64:?", "file:no-such-file"};
    case ValueKind::Exponent:
        return {"base64:", "base64:AQ==", "base64:AA==", "base64:AQAC", "base64:?"};
    case ValueKind::Block:
        return {"base64:", "base64:?", "hex:0", "file:no-such-file"};
    }
    return {};
}

void addSlips(std::vector<Slip>& slips, const Script& script, const std::string& object,
              const ScriptParameter& parameter) {
    const std::string id = parameter.id;
    const std::string right = id + "=" + (id == "OBJ_TYPE" ? object : rightValue(parameter));
    slips.push_back({command(script, object, id, {lowerCase(id) + "=" + rightValue(parameter)}), "\"" + id + "\""});
    slips.push_back({command(script, object, id, {right, right}), id + ": it stands there twice"});
    for (const std::string& value : wrongKinds(parameter)) {
        slips.push_back({command(script, object, id, {id + "=" + value}), "write " + id + "="});
    }
    for (const std::string& value : wrongValues(parameter)) {
        slips.push_back({command(script, object, id, {id + "=" + value}), id + ": "});
    }
    if (parameter.need != Need::Optional) {
        const bool decides = id == "OBJ_TYPE";
        slips.push_back({decides ? Words{script.name} : command(script, object, id), id + " is missing; write " + id});
    }
}

std::vector<Slip> allSlips() {
    std::vector<Slip> slips;
    for (const Script& script : scripts()) {
        const Words objects = objectsOf(script);
        for (const ScriptParameter& parameter : script.parameters) {
            const auto object =
                std::find_if(objects.begin(), objects.end(), [&](const auto& o) { return looksAt(parameter, o); });
            addSlips(slips, script, *object, parameter);
            for (const std::string& other : objects) {
                if (!looksAt(parameter, other)) {
                    Words words = command(script, other);
                    words.push_back(std::string(parameter.id) + "=" + rightValue(parameter));
                    slips.push_back({words, "not looked at with OBJ_TYPE=" + other + "; " + script.name + " takes "});
                }
            }
        }
        Words unknown = command(script, objects.front());
        unknown.push_back("COLOUR=text:red");
        slips.push_back({unknown, std::string(script.name) + " takes "});
    }
    return slips;
}

TEST(Slips, aRightCommandOfEachScriptIsNotRefused) {
    for (const Script& script : scripts()) {
        for (const std::string& object : objectsOf(script)) {
            const Outcome outcome = run(command(script, object));
            EXPECT_EQ(outcome.status, ExitStatus::NoPlugin) << script.name << " " << object << outcome.messages;
        }
    }
}

TEST(Slips, fromTheTableAreRefusedBeforeAnythingIsLoaded) {
    const std::vector<Slip> slips = allSlips();
    EXPECT_GE(slips.size(), 200U);
    for (const Slip& slip : slips) {
        const Outcome outcome = run(slip.words);
        EXPECT_EQ(outcome.status, ExitStatus::Usage) << ::testing::PrintToString(slip) << outcome.messages;
        EXPECT_THAT(outcome.messages, HasSubstr(slip.right)) << ::testing::PrintToString(slip);
        EXPECT_THAT(outcome.result, IsEmpty());
    }
}

TEST(Slips, thatDestroyedThings) {
    const std::string certificate = "MAcwADAAAwEA";
    const std::vector<Slip> slips = {
        {{"removeData", "PIN=text:1234", "LABEL=k01"}, "LABEL: its kind is missing; write LABEL=text:VALUE"},
        {{"removeData", "PIN=text:1234", "id=hex:01"},
         "id: no such parameter (did you mean \"ID\"?); removeData takes"},
        {{"removeData", "PIN=text:1234", "ID=base64:AQ=="}, "ID: it takes no base64:; write ID=hex:DIGITS"},
        {{"removeData", "PIN=text:1234", "KEYID=hex:01"}, "KEYID: no such parameter (did you mean \"ID\"?)"},
        {{"removeData", "PIN=text:1234", "OBJ_TYPE=CERTIFICATE"}, "nothing says which objects to remove; give LABEL"},
        {{"removeData", "PIN=text:1234", "TOKEN=1"}, "or --all for everything"},
        {{"removeData", "PIN=text:1234", "LABEL=text:"}, "LABEL: it is empty"},
        {{"removeData", "PIN=text:1234", "ID=hex:01", "--all"}, "a term chooses: leave one of them out"},
        {{"signData", "PIN=1234", "ALGOID=1.2.840.113549.1.1.1", "KEYID=hex:01", "DATA=base64:AQ=="},
         "PIN: its kind is missing; write PIN=prompt:, PIN=env:NAME, PIN=secret:PATH, PIN=fd:N or PIN=text:VALUE"},
        {{"signData", "PIN=text:1", "ALGOID=1.2.840.113549.1.1.1", "ID=hex:01", "DATA=base64:AQ=="},
         "ID: no such parameter (did you mean \"KEYID\"?)"},
        {{"init", "INIT_KEYID=SO", "INIT_KEY=12345678"}, "INIT_KEY: its kind is missing; write INIT_KEY=prompt:"},
        {{"init", "INIT_KEYID=SO", "INIT_KEY=hex:12345678"}, "INIT_KEY: it takes no hex:"},
        {{"init", "INIT_KEYID=SO", "INIT_KEY=text:1", "LABEL=text:0123456789012345678901234567890123"},
         "LABEL: it has 34 bytes, and a token's label has 32 at most"},
        {{"changeAuthenticator", "PIN=text:1", "NEW_PIN=text:2"}, "PIN: no such parameter (did you mean \"OLD_PIN\"?)"},
        {{"changeAuthenticator", "OLD_PIN=text:1", "NEW_PIN=text:2", "PINID=so"}, "(did you mean \"SO\"?)"},
        {{"generateKeyPair", "PIN=text:1", "ALGOID=1.2.840.113549.1.1.1", "KEYSIZE=4096", "PUBLICEXPONENT=base64:AQAB"},
         "KEYSIZE: there is no such value; write KEYSIZE=1024|2048"},
        {{"writeData", "PIN=text:1", "OBJ_TYPE=PRIVATE_KEY", "ALGOID=1.2.840.113549.1.1.1", "KEYENCODING=PKCS8.clear",
          "KEYVALUE=base64:MAcCAQAwAAQA", "VERIFY=1"},
         "VERIFY: it is not looked at with OBJ_TYPE=PRIVATE_KEY"},
        {{"writeData", "PIN=text:1", "OBJ_TYPE=CERTIFICATE", "CERT_TYPE=X509", "DATA=base64:" + certificate},
         "CERT_TYPE: there is no such value (did you mean \"X_509\"?)"},
        {{"readData", "OBJ_TYPE=CERTIFICATE", "PIN=text:1"},
         "there is no such parameter; readData takes OBJ_TYPE, LABEL"},
        {{"getCardState", "PIN=text:1"}, "getCardState takes no parameters"},
        {{"readData", "--all", "OBJ_TYPE=CERTIFICATE"}, "--all is for \"removeData\""},
        {{"info", "--raw"}, "--raw is for scripts"},
    };
    for (const Slip& slip : slips) {
        const Outcome outcome = run(slip.words);
        EXPECT_EQ(outcome.status, ExitStatus::Usage) << ::testing::PrintToString(slip);
        EXPECT_THAT(outcome.messages, HasSubstr(slip.right));
    }
}

TEST(Slips, areAllNamedAtOnceAndWithoutValues) {
    const Outcome outcome = run({"signData", "PIN=4711", "KEYID=01", "ALGOID=1.2.840.113549.1.1.1"});
    EXPECT_EQ(outcome.messages,
              "p11host: argument 1: PIN: its kind is missing; write PIN=prompt:, PIN=env:NAME, PIN=secret:PATH, "
              "PIN=fd:N or PIN=text:VALUE\n"
              "p11host: argument 2: KEYID: its kind is missing; write KEYID=hex:DIGITS or KEYID=text:VALUE\n"
              "p11host: DATA is missing; write DATA=file:PATH, DATA=base64:VALUE, DATA=hex:DIGITS or "
              "DATA=text:VALUE\n");
}

TEST(Slips, passWithRaw) {
    EXPECT_EQ(run({"removeData", "--raw", "PIN=1234", "LABEL=k01"}).status, ExitStatus::NoPlugin);
    EXPECT_EQ(run({"--raw", "init", "INIT_KEY=hex:1"}).status, ExitStatus::NoPlugin);
}

} // namespace
} // namespace host
