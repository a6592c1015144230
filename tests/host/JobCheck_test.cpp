// A job whose line 17 was wrong had changed the token by the time this showed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

Outcome runRecorded(const Words& words, const File& calls, const std::string& input = "") {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, input, {{"P11HOST_TEST_CALLS", calls.path()}});
}

constexpr const char* kSlips = R"({"call":"newInstance"}
{"call":"newInstance","parameters":{"DLLNAM":"m"}}
{"call":"initialize","accessParameters":{"PIN":"1234","PINID":"user"}}

{"call":"execute","operation":{"script":"getPlatformIdentifiers","parameters":{"readername":{"env":"CARD_READER"}}}}
{"call":"execute","operation":{"script":"generateKeyPair","parameters":{"ALGOID":"1.2.840.113549.1.1.1","KEYSIZE":"2048","KEYID":{"hex":"01"}}}}
{"call":"execute","operation":{"script":"removeData","parameters":[{"id":"ID","value":"1"},{"id":"OBJ_TYPE","value":"ANY"}]}}
{"call":"execute","operation":{"script":"writeData","parameters":{"OBJ_TYPE":"KEY_PAIR","ALGOID":"1.2.840.113549.1.1.1","KEYENCODING":"PKCS8.clear","KEYVALUE":{"file":"not-there"},"LABEL":{"prompt":""}}}}
{"call":"execute","operation":{"script":"signdata"}}
{"call":"execute","on":"b","operation":{"scriptType":"x","script":"signData"}}
{"call":"getVersio"}
{"call":
{"call":"freeInstance"}
)";

constexpr const char* kFound =
    R"(line 2: instance "default" exists already
line 2: parameters: DLLNAM: no such parameter (did you mean "DLLNAME"?); newInstance takes DLLNAME, readerPrefix
line 2: parameters: DLLNAME is missing; write DLLNAME=...
line 3: accessParameters: PIN: its kind is missing; write PIN=prompt:, PIN=env:NAME, PIN=secret:PATH, PIN=fd:N or PIN=text:VALUE
line 3: accessParameters: PINID: there is no such value (did you mean "USER"?); write PINID=USER|SO
line 6: operation.parameters: KEYID: no such parameter (did you mean "ID"?); generateKeyPair takes ALGOID, KEYSIZE, PUBLICEXPONENT, PIN, LABEL, ID, SUBJECT, TOKEN, MODIFIABLE, PRIVATE_PRK, PRIVATE_PUK, SENSITIVE, EXTRACTABLE, SIGN, SIGN_RECOVER, DECRYPT, UNWRAP, DERIVE, VERIFY, VERIFY_RECOVER, ENCRYPT, WRAP
line 6: operation.parameters: PUBLICEXPONENT is missing; write PUBLICEXPONENT=base64:VALUE or PUBLICEXPONENT=file:PATH
line 7: operation.parameters: ID: hexadecimal text has two digits for each byte, and here is an odd number
line 7: operation.parameters: OBJ_TYPE: it must stand first, for the script looks at the first parameter alone
line 8: operation.parameters: KEYVALUE: cannot read file "not-there": No such file or directory
line 9: operation.script: there is no script "signdata" (did you mean "signData"?)
line 10: there is no instance "b" at this step
line 10: operation.scriptType: the plug-in knows "client.p11.Larkspur" alone
line 11: there is no call "getVersio" (did you mean "getVersion"?); the calls are newInstance, initialize, execute, terminate, freeInstance, getVersion, getType, getName, getDescription, getSupportedScripts, validate, isLocal
line 12: not JSON at column 9: unexpected end of input; expected '[', '{', or a literal; a line is one step, such as {"call":"getVersion"}
)";

TEST(JobCheck, listsEveryErrorWithItsLineAndCallsNothing) {
    const File calls("");
    const File job(kSlips);
    const Outcome checked = runRecorded({"run", "--check", job.path()}, calls);
    EXPECT_EQ(checked.status, 2);
    EXPECT_EQ(checked.output, kFound);
    EXPECT_EQ(runRecorded({"--check", "run", "-"}, calls, kSlips).output, kFound);
    EXPECT_EQ(calls.content(), "");
}

TEST(JobCheck, aRightJobHasNoErrors) {
    const File calls("");
    const char* job = R"({"steps":[{"call":"newInstance","parameters":{"dllname":"m"}},
{"call":"initialize","accessParameters":{"PIN":{"env":"NOT_SET"}},"runtimeParameters":[{"id":"PIN","value":"31323334"}]},
{"call":"execute","operation":{"script":"removeData","parameters":{"OBJ_TYPE":"CERTIFICATE","ID":{"hex":"01"}}}},
{"call":"execute","operation":{"script":"signData","parameters":{"KEYID":{"hex":"01"}}}},
{"call":"execute","operation":null}]})";
    EXPECT_EQ(runRecorded({"run", "--check", "-"}, calls, job).output, "no errors in 5 steps\n");
    EXPECT_EQ(runRecorded({"run", "--check", "--json", "-"}, calls, job).output, "{\"steps\":5,\"faults\":[]}\n");
    EXPECT_EQ(calls.content(), "");
}

TEST(JobCheck, isJsonForAProgram) {
    const File calls("");
    EXPECT_EQ(runRecorded({"--json", "run", "--check", "-"}, calls, "[{\"call\":\"newInstance\"},{\"call\":7}]").output,
              "{\"steps\":2,\"faults\":[{\"step\":1,\"where\":\"step 1\",\"error\":\"call must be text, not a "
              "number\"}]}\n");
}

TEST(JobCheck, aFileIsLookedAtBeforeItsFirstStep) {
    const File calls("");
    const File job("{\"call\":\"newInstance\"}\n{\"call\":\"getVersion\",\"no\":1}\n{\"call\":\"initialize\","
                   "\"accessParameters\":{\"PIN\":{\"txt\":\"4711\"}}}\n");
    const Outcome refused = runRecorded({"run", job.path()}, calls);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(
        refused.output,
        "{\"step\":1,\"error\":\"line 2: unknown key \\\"no\\\" in a step \\\"getVersion\\\"; it takes call, on\"}\n"
        "{\"step\":2,\"error\":\"line 3: accessParameters: PIN: there is no kind \\\"txt\\\" (did you mean "
        "\\\"text\\\"?); the kinds are text, hex, base64, file, env, prompt, secret, fd\"}\n");
    EXPECT_EQ(refused.errors, "p11host: nothing of the job was carried out: line 2: unknown key \"no\" in a step "
                              "\"getVersion\"; it takes call, on\n");
    EXPECT_EQ(calls.content(), "");
}

TEST(JobCheck, aFileWithSlipsOfItsParametersAloneIsCarriedOut) {
    const File calls("");
    const File job("{\"call\":\"newInstance\"}\n{\"call\":\"initialize\"}\n"
                   "{\"call\":\"execute\",\"operation\":{\"script\":\"writeData\",\"parameters\":{\"A\":\"b\"}}}\n");
    EXPECT_EQ(runRecorded({"run", job.path()}, calls).status, 0) << "jobs are raw: they are made by programs";
    EXPECT_THAT(calls.content(), HasSubstr("writeData 1"));
}

TEST(JobCheck, anAnswerWithAFailureSaysWhatItMeans) {
    const File calls("");
    const Outcome failed = runRecorded({"run", "-"}, calls,
                                       "{\"call\":\"newInstance\"}\n{\"call\":\"execute\",\"operation\":{\"script\":"
                                       "\"writeData\",\"parameters\":{\"ANSWER\":\"80eb\"}}}\n");
    EXPECT_THAT(
        failed.output,
        HasSubstr(
            R"("value":"80eb"}]},"message":"there is no token in the reader, or it was removed (33003). Put the card in)"));
}

} // namespace
} // namespace tests
