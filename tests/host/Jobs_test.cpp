#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

Words job(const Words& more = {"run", "-"}) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

constexpr const char* kMake = R"({"call":"newInstance","parameters":{"DLLNAME":"m"}})";

TEST(Jobs, everyAnswerHasItsShape) {
    const File calls("");
    const Outcome all =
        run(job(), std::string(R"({"call":"newInstance","as":"a","parameters":[{"id":"DLLNAME","value":"m"}]}
{"call":"initialize","on":"a"}
{"call":"execute","on":"a","operation":{"id":"7","script":"signData","parameters":{"B":{"text":"b"},"A":"a"}}}
{"call":"execute","on":"a","operation":{"scriptType":"x","script":"unknown"}}
{"call":"execute","on":"a","operation":null}
{"call":"getVersion","on":"a"}
{"call":"getType","on":"a"}
{"call":"getName","on":"a"}
{"call":"getDescription","on":"a"}
{"call":"getSupportedScripts","on":"a"}
{"call":"validate","on":"a"}
{"call":"isLocal","on":"a"}
{"call":"initialize","on":"a","accessParameters":[],"runtimeParameters":{"PINID":"USER"}}
{"call":"terminate","on":"a"}
{"call":"freeInstance","on":"a"}
{"call":"freeInstance","on":null}
)"),
            {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(all.output, R"({"step":0,"call":"newInstance","as":"a","executor":true}
{"step":1,"call":"initialize","on":"a","ok":true}
{"step":2,"call":"execute","on":"a","response":{"id":"7","parameters":[{"id":"ERROR","encoding":2,"type":3,"value":"0"},{"id":"B","encoding":4,"type":0,"value":"62"},{"id":"A","encoding":2,"type":3,"value":"a"}]}}
{"step":3,"call":"execute","on":"a","response":{"id":"3","parameters":[]}}
{"step":4,"call":"execute","on":"a","response":null}
{"step":5,"call":"getVersion","on":"a","value":"9.8.7.6"}
{"step":6,"call":"getType","on":"a","value":"client.p11.Larkspur"}
{"step":7,"call":"getName","on":"a","value":"double"}
{"step":8,"call":"getDescription","on":"a","value":"Library Name=double\nManufacturer ID=tests"}
{"step":9,"call":"getSupportedScripts","on":"a","value":["echo","signData"]}
{"step":10,"call":"validate","on":"a","value":true}
{"step":11,"call":"isLocal","on":"a","value":true}
{"step":12,"call":"initialize","on":"a","exception":{"type":"ClientOperationException","code":"80ec","message":"Plugin not terminated"}}
{"step":13,"call":"terminate","on":"a","ok":true}
{"step":14,"call":"freeInstance","on":"a","ok":true}
{"step":15,"call":"freeInstance","on":null,"ok":true}
)");
    EXPECT_EQ(all.status, 1) << "the script without an answer";
    EXPECT_EQ(calls.content(), "newInstance DLLNAME=m\ninitialize null null\nexecute 7 client.p11.Larkspur signData 2\n"
                               "execute 3 x unknown null\nexecute null\ninitialize 0 1\nterminate\nfreeInstance\n"
                               "freeInstance null\n");
}

TEST(Jobs, stepsAreAnsweredOneByOneWhileThePipeStaysOpen) {
    Child child(job());
    child.write(std::string(kMake) + "\n");
    EXPECT_EQ(child.readLine(), R"({"step":0,"call":"newInstance","as":"default","executor":true})");
    child.write("{\"call\":\"isLocal\"}\n{\"call\":");
    EXPECT_EQ(child.readLine(), R"({"step":1,"call":"isLocal","on":"default","value":true})");
    child.write("\"validate\"}\n");
    EXPECT_EQ(child.readLine(), R"({"step":2,"call":"validate","on":"default","value":true})");
    child.closeInput();
    EXPECT_EQ(child.readAll(), "");
    EXPECT_EQ(child.wait(), 0);
}

TEST(Jobs, aClosedPipeEndsTheJobAndFreesTheInstances) {
    const File calls("");
    Child child(job(), {{"P11HOST_TEST_CALLS", calls.path()}});
    child.write(std::string(kMake) + "\n");
    EXPECT_EQ(child.readLine(), R"({"step":0,"call":"newInstance","as":"default","executor":true})");
    child.closeOutput();
    child.write("{\"call\":\"isLocal\"}\n{\"call\":\"initialize\"}\n");
    EXPECT_EQ(child.wait(), 1);
    EXPECT_EQ(calls.content(), "newInstance DLLNAME=m\nterminate\nfreeInstance\n");
    EXPECT_THAT(child.errors(), HasSubstr("p11host: nobody reads the answers any more; the job ends here\n"));
}

TEST(Jobs, instancesLiveSideBySideAndAreFreedAtTheEndLastFirst) {
    const File calls("");
    const Outcome two = run(job(),
                            R"({"call":"newInstance","as":"a","parameters":{"DLLNAME":"m"}}
{"call":"newInstance","as":"b","parameters":{"DLLNAME":"missing"}}
{"call":"newInstance","as":"b","parameters":{"DLLNAME":"n"}}
{"call":"newInstance","as":"a","parameters":{"DLLNAME":"m"}}
{"call":"isLocal","on":"c"}
)",
                            {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(two.output, R"({"step":0,"call":"newInstance","as":"a","executor":true}
{"step":1,"call":"newInstance","as":"b","executor":false}
{"step":2,"call":"newInstance","as":"b","executor":true}
{"step":3,"error":"line 4: instance \"a\" exists already; free it first, or give this one another name with \"as\""}
{"step":4,"error":"line 5: there is no instance \"c\"; {\"call\":\"newInstance\"} makes one"}
)");
    EXPECT_EQ(two.status, 3) << "the first failure counts";
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\nterminate\nfreeInstance\n"));
}

TEST(Jobs, newInstanceWithoutParametersTakesTheCommandLine) {
    const File calls("");
    const Outcome fine =
        run(job({"--module", "m", "--reader-prefix", "P", "run", "-"}),
            "{\"call\":\"newInstance\"}\n{\"call\":\"newInstance\",\"as\":\"b\",\"parameters\":null}\n",
            {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(fine.status, 3);
    EXPECT_THAT(calls.content(), HasSubstr("newInstance DLLNAME=m readerPrefix=P\nnewInstance null\n"));
}

TEST(Jobs, malformedStepsAreAnsweredAndTheJobGoesOn) {
    const Outcome job1 = run(job(), R"(
{"call":"newInstance","parameters":{"DLLNAME":"m"}}

{"call":"getVersion"
{"call":"getVersio"}
{"call":"getVersion","no":"a"}
{"call":"initialize","accessParameters":7}
{"call":"initialize","accessParameters":[{"id":"PIN"}]}
{"call":"initialize","accessParameters":{"PIN":{"txt":"1234"}}}
{"call":"initialize","accessParameters":{"PIN":{"file":"not-there"}}}
{"call":"execute"}
{"call":"execute","operation":{"id":"1"}}
{"call":"getVersion","on":null}
[1]
{"call":"initialize","accessParameters":{"PIN":"1","PIN":"2"}}
{"call":"isLocal"}
)");
    EXPECT_EQ(job1.status, 2);
    EXPECT_EQ(job1.output, R"({"step":0,"call":"newInstance","as":"default","executor":true}
{"step":1,"error":"line 4: not JSON at column 21: unexpected end of input; expected '}'; a line is one step, such as {\"call\":\"getVersion\"}"}
{"step":2,"error":"line 5: there is no call \"getVersio\" (did you mean \"getVersion\"?); the calls are newInstance, initialize, execute, terminate, freeInstance, getVersion, getType, getName, getDescription, getSupportedScripts, validate, isLocal"}
{"step":3,"error":"line 6: unknown key \"no\" in a step \"getVersion\"; it takes call, on"}
{"step":4,"error":"line 7: accessParameters must be a list, an object or null, not a number"}
{"step":5,"error":"line 8: accessParameters[0] has no \"value\""}
{"step":6,"error":"line 9: accessParameters: PIN: there is no kind \"txt\" (did you mean \"text\"?); the kinds are text, hex, base64, file, env, prompt, secret, fd"}
{"step":7,"error":"line 10: accessParameters: PIN: cannot read file \"not-there\": No such file or directory"}
{"step":8,"error":"line 11: \"execute\" has no \"operation\"; null passes none"}
{"step":9,"error":"line 12: operation has no \"script\", such as \"getReaderList\""}
{"step":10,"error":"line 13: on must be text, not null"}
{"step":11,"error":"line 14: a step must be an object such as {\"call\":\"getVersion\"}, not a list"}
{"step":12,"error":"line 15: the key \"PIN\" stands twice in one object; a parameter is given twice in the form [{\"id\":...,\"value\":...}]; a line is one step, such as {\"call\":\"getVersion\"}"}
{"step":13,"call":"isLocal","on":"default","value":true}
)");
}

TEST(Jobs, stopOnErrorEndsTheJob) {
    const Outcome stopped = run(job({"run", "--stop-on-error", "-"}), "{\"call\":\"x\"}\n{\"call\":\"isLocal\"}\n");
    EXPECT_EQ(stopped.status, 2);
    EXPECT_THAT(stopped.output, HasSubstr("{\"step\":0,\"error\":\"line 1: there is no call \\\"x\\\""));
    EXPECT_EQ(stopped.output.find("step\":1"), std::string::npos);
}

TEST(Jobs, documentsAreReadWhole) {
    const std::string wanted = R"({"step":0,"call":"newInstance","as":"default","executor":true}
{"step":1,"call":"isLocal","on":"default","value":true}
)";
    const File list(std::string("[") + kMake + ",\n{\"call\":\"isLocal\"}]\n");
    const File object(std::string("\xEF\xBB\xBF{\r\n  \"steps\": [") + kMake + ",\r\n{\"call\":\"isLocal\"}]\r\n}\r\n");
    EXPECT_EQ(run(job({"run", list.path()})).output, wanted);
    EXPECT_EQ(run(job({"run", object.path()})).output, wanted);
    EXPECT_EQ(run(job({"run", object.path()})).status, 0);
}

TEST(Jobs, aDocumentThatIsNoJobSaysWhere) {
    const Outcome broken = run(job(), "[\n {\"call\":\"isLocal\",}\n]\n");
    EXPECT_EQ(broken.status, 2);
    EXPECT_EQ(broken.output, "{\"step\":0,\"error\":\"job: not JSON at line 2, column 20: unexpected '}'; expected "
                             "string literal\"}\n");
    const Outcome noSteps = run(job(), "{\n\"call\":\"isLocal\"}\n");
    EXPECT_EQ(noSteps.output,
              "{\"step\":0,\"error\":\"job: it has no list of steps; a job is [STEP, ...] or {\\\"steps\\\":"
              "[STEP, ...]}, or one step a line\"}\n");
}

TEST(Jobs, aMissingJobFileIsUsage) {
    const Outcome missing = run(job({"run", "not-there.json"}));
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.errors, "p11host: cannot open the job \"not-there.json\": No such file or directory\n");
    EXPECT_EQ(missing.output, "");
}

TEST(Jobs, brokenTextNeverBreaksTheAnswers) {
    const Outcome broken = run(
        job(), std::string(kMake) +
                   "\n{\"call\":\"\xFF\"}\n{\"call\":\"\\ud800\"}\n"
                   "{\"call\":\"execute\",\"operation\":{\"script\":\"s\",\"parameters\":{\"LONE\":\"\"}}}\n"
                   "{\"call\":\"execute\",\"operation\":{\"script\":\"s\",\"parameters\":{\"THROW\":\"range\"}}}\n");
    EXPECT_EQ(broken.status, 2);
    EXPECT_EQ(
        broken.output,
        "{\"step\":0,\"call\":\"newInstance\",\"as\":\"default\",\"executor\":true}\n"
        "{\"step\":1,\"error\":\"line 2: not JSON at column 10: invalid string: ill-formed UTF-8 byte; a line is one "
        "step, such as {\\\"call\\\":\\\"getVersion\\\"}\"}\n"
        "{\"step\":2,\"error\":\"line 3: not JSON at column 16: invalid string: surrogate U+D800..U+DBFF must be "
        "followed by U+DC00..U+DFFF; a line is one step, such as {\\\"call\\\":\\\"getVersion\\\"}\"}\n"
        "{\"step\":3,\"call\":\"execute\",\"on\":\"default\",\"response\":{\"id\":\"3\",\"parameters\":[{\"id\":"
        "\"ERROR\","
        "\"encoding\":2,\"type\":3,\"value\":\"0\"},{\"id\":\"LONE\",\"encoding\":2,\"type\":3,\"value\":\"<"
        "\xEF\xBF\xBD>"
        "\"}]}}\n"
        "{\"step\":4,\"call\":\"execute\",\"on\":\"default\",\"exception\":{\"type\":\"std::out_of_range\",\"code\":"
        "null,"
        "\"message\":\"Position exceeds \xEF\xBF\xBD\"}}\n");
}

TEST(Jobs, aSecretInABrokenStepIsNotShown) {
    const Outcome broken = run(job(), "{\"call\":\"initialize\",\"accessParameters\":{\"PIN\":{\"text\":\"98765\n");
    EXPECT_EQ(broken.status, 2);
    EXPECT_EQ(broken.output.find("98765"), std::string::npos);
    EXPECT_EQ(broken.errors.find("98765"), std::string::npos);
}

TEST(Jobs, secretsComeFromTheEnvironmentAndFiles) {
    const File secret("abc\n");
    const Outcome fine = run(job(),
                             std::string(kMake) +
                                 "\n{\"call\":\"execute\",\"operation\":{\"script\":\"s\",\"parameters\":"
                                 "{\"A\":{\"env\":\"TEST_PIN\"},\"B\":{\"secret\":\"" +
                                 secret.path() + "\"}}}}\n",
                             {{"TEST_PIN", "1234"}});
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(fine.output, HasSubstr("{\"id\":\"A\",\"encoding\":4,\"type\":0,\"value\":\"31323334\"},"
                                       "{\"id\":\"B\",\"encoding\":4,\"type\":0,\"value\":\"616263\"}"));
}

TEST(Jobs, aReaderOptionDoesNotGoWithAJob) {
    EXPECT_EQ(run(job({"--reader", "x", "run", "-"})).status, 2);
}

} // namespace
} // namespace tests
