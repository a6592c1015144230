// newInstance and freeInstance: creation parameters, the library, the instance counts.

#include "plugin/Exports.h"
#include "ry/rylog.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/LifecycleTrace.h"
#include "tests/conformance/MutexFault.h"
#include "tests/unit/platform/Fixture.h"

#include <algorithm>
#include <cctype>
#include <thread>

using namespace Conformance;

namespace {

constexpr const char* kNoLibrary = "no-such-p11-module.bin";

Trace noLibraryTrace(const std::string& name) {
    return exported(8, "newInstance") + exported(1, "newInstanceLoadLibrary " + name + " : failed") +
           exported(16, "newInstance");
}

/// Another name for the same file.
std::string otherName(std::string file) {
    const std::size_t slash = file.rfind('/');
    if (slash != std::string::npos) {
        return file.insert(slash, "/.");
    }
    std::transform(file.begin(), file.end(), file.begin(), [](unsigned char c) { return std::toupper(c); });
    return file;
}

std::string firstLineOf(std::string text) {
    std::erase(text, '\r');
    return text;
}

/// Keeps what goes to standard output while it lives.
class StandardOutput {
public:
    StandardOutput() { testing::internal::CaptureStdout(); }
    ~StandardOutput() {
        if (!m_taken) {
            static_cast<void>(testing::internal::GetCapturedStdout());
        }
    }
    std::string take() {
        m_taken = true;
        return firstLineOf(testing::internal::GetCapturedStdout());
    }

private:
    bool m_taken = false;
};

/// Whether a Linux process has this file in its memory; on Windows a loaded library cannot be removed.
bool isMapped(const std::filesystem::path& file) {
    if (kIsWindows) {
        std::error_code error;
        return !std::filesystem::remove(file, error);
    }
    return contentsOf("/proc/self/maps").find(file.string()) != std::string::npos;
}

} // namespace

class Instances : public PluginTest {
protected:
    std::string m_file = Fake::moduleFile();
    std::string m_second = Fake::secondModuleFile();
    std::string m_empty = Fake::emptyModuleFile();

    void TearDown() override {
        m_other.free();
        PluginTest::TearDown();
    }

    Executor m_other;
};

TEST_F(Instances, oneIsMadeAndEnded) {
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
    expectCalls({"C_GetFunctionList()", "C_Initialize(flags=0x2)"});

    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Instances, freeInstanceOfNullWritesItsThreeLines) {
    freeInstance(nullptr);
    expectTrace(freeInstanceTrace({}));
    expectCalls({});
}

TEST_F(Instances, everyLineHasTheModuleName) {
    std::vector<std::string> modules;
    rylogSetReceiver(
        [](void* context, const RylogRecord* record) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(record->module);
        },
        &modules, 31);
    plugin = Executor(creation());
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    EXPECT_FALSE(execute("getReaderList").null);
    plugin.free();
    rylogSetReceiver(nullptr, nullptr, 0);
    EXPECT_GT(modules.size(), 40U);
    EXPECT_EQ(modules, std::vector<std::string>(modules.size(), "ZEL-COE-PKCS11"));
}

// Which library

TEST_F(Instances, noParametersNoExecutor) {
    EXPECT_FALSE(Executor(Params()));
    expectTrace(exported(8, "newInstance") + exported(1, "newInstancePKCS#11 DLL not specified") +
                exported(16, "newInstance"));
    expectCalls({});
}

TEST_F(Instances, aNullVectorIsAnEmptyOne) {
    EXPECT_FALSE(Executor(Params::null()));
    expectTrace(exported(8, "newInstance") + exported(1, "newInstancePKCS#11 DLL not specified") +
                exported(16, "newInstance"));
}

TEST_F(Instances, withoutLibraryTheCountsStay) {
    EXPECT_FALSE(Executor(Params().plain("readerPrefix", "AB").plain("DLL", m_file)));
    expectTraceAt(1, exported(1, "newInstancePKCS#11 DLL not specified"));
    plugin = Executor(creation());
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
}

TEST_F(Instances, identifiersAreComparedIgnoringCase) {
    plugin = Executor(Params().plain("dllname", m_file).plain("READERPREFIX", "AB"));
    ASSERT_TRUE(plugin);
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
    EXPECT_EQ(execute("getReaderList").value("READERS"), std::string("4142") + kReaderHex);
}

TEST_F(Instances, otherParametersAreIgnored) {
    plugin = Executor(Params()
                          .plain("PIN", "31323334")
                          .plain("DLLNAME ", kNoLibrary)
                          .plain("", kNoLibrary)
                          .plain("DllName", m_file)
                          .plain("PINID", "nobody"));
    ASSERT_TRUE(plugin);
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
}

TEST_F(Instances, theLibraryNameIsTakenAsItStandsWhateverTheEncoding) {
    int count = 0;
    for (const int encoding : {0, 1, 2, 3, 4, 5}) {
        Executor executor(Params().add("DLLNAME", encoding, 3, m_file));
        EXPECT_TRUE(executor) << encoding;
        count += executor ? 1 : 0;
    }
    EXPECT_EQ(count, 6);
    expectTraceAt(1, {});
}

TEST_F(Instances, aLibraryThatCannotBeLoadedGivesNull) {
    StandardOutput output;
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", kNoLibrary).plain("DLLNAME", m_file)));
    EXPECT_EQ(output.take(), std::string("LoadLibrary ") + kNoLibrary + " : failed\n");
    // What stands behind it is not read.
    expectTrace(noLibraryTrace(kNoLibrary));
    expectCalls({});

    plugin = Executor(creation());
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
}

TEST_F(Instances, aFileThatIsNoLibraryGivesNull) {
    const TemporaryFolder folder;
    const std::string file = toUtf8(Zel::TString(folder.write("text.dll", "no library").wstring().c_str()));
    StandardOutput output;
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", file)));
    EXPECT_EQ(output.take(), "LoadLibrary " + file + " : failed\n");
    expectTrace(noLibraryTrace(file));
}

TEST_F(Instances, anEmptyLibraryNameCannotBeLoaded) {
    StandardOutput output;
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", "")));
    EXPECT_EQ(output.take(), "LoadLibrary  : failed\n");
    expectTrace(noLibraryTrace(""));
}

TEST_F(Instances, standardOutputGetsUtf8AndStaysUsable) {
    const std::string name = "kein-Modül-\xF0\x9F\x94\x91-%s%n.bin";
    StandardOutput output;
    std::printf("before\n");
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", name)));
    std::printf("after\n");
    std::fflush(stdout);
    EXPECT_EQ(output.take(), "before\nLoadLibrary " + name + " : failed\nafter\n");
    expectTrace(noLibraryTrace(name));
}

TEST_F(Instances, aVeryLongLibraryNameCannotBeLoaded) {
    const std::string name(100000, 'x');
    StandardOutput output;
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", name)));
    EXPECT_EQ(output.take(), "LoadLibrary " + name + " : failed\n");
}

TEST_F(Instances, ofTwoLibrariesTheLastIsKept) {
    Fake::Module second = Fake::secondModule();
    second.reset();
    plugin = Executor(Params().plain("DLLNAME", m_file).plain("DLLNAME", m_second));
    ASSERT_TRUE(plugin);
    expectTrace(exported(8, "newInstance") + loadedTrace(m_file) + loadedTrace(m_second) + raisedTrace(1, m_second) +
                boundTrace() + exported(4, "newInstance<-- Output Param ClientOperationExecutor") +
                exported(16, "newInstance"));
    expectCalls({});
    EXPECT_EQ(second.takeCalls(), (std::vector<std::string>{"C_GetFunctionList()", "C_Initialize(flags=0x2)"}));
    plugin.free();
    EXPECT_EQ(second.takeCalls(), std::vector<std::string>{"C_Finalize(null)"});
}

TEST_F(Instances, aLibraryThatIsReplacedIsReleased) {
    const TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "replaced-module.dll";
    std::filesystem::copy_file(plainLibrary(), copy);
    plugin = Executor(Params().plain("DLLNAME", copy.string()).plain("DLLNAME", m_file));
    EXPECT_TRUE(plugin);
    EXPECT_FALSE(isMapped(copy));
}

TEST_F(Instances, aLibraryThatIsKeptStaysLoadedUntilTheEnd) {
    const TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "kept-module.dll";
    std::filesystem::copy_file(plainLibrary(), copy);
    plugin = Executor(Params().plain("DLLNAME", copy.string()));
    ASSERT_TRUE(plugin);
    EXPECT_TRUE(isMapped(copy));
    plugin.free();
    EXPECT_FALSE(isMapped(copy));
}

TEST_F(Instances, aSecondLibraryThatCannotBeLoadedGivesNullAndReleasesTheFirst) {
    const TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "first-module.dll";
    std::filesystem::copy_file(plainLibrary(), copy);
    StandardOutput output;
    EXPECT_FALSE(Executor(Params().plain("DLLNAME", copy.string()).plain("DLLNAME", kNoLibrary)));
    EXPECT_EQ(output.take(), std::string("LoadLibrary ") + kNoLibrary + " : failed\n");
    EXPECT_FALSE(isMapped(copy));
    expectTraceAt(1, exported(1, std::string("newInstanceLoadLibrary ") + kNoLibrary + " : failed"));
}

// The reader prefix

class ReaderPrefix : public PluginTest {
protected:
    std::string readers(const Params& params) {
        plugin.free();
        plugin = Executor(params);
        return execute("getReaderList").value("READERS").value_or("none");
    }
};

TEST_F(ReaderPrefix, isKeptAsTheHexOfItsUtf8) {
    EXPECT_EQ(readers(creation().plain("readerPrefix", "AB")), std::string("4142") + kReaderHex);
    EXPECT_EQ(readers(creation().plain("readerPrefix", "jZ\n/")), std::string("6A5A0A2F") + kReaderHex);
    EXPECT_EQ(readers(creation().plain("readerPrefix", "ü€")), std::string("C3BCE282AC") + kReaderHex);
    EXPECT_EQ(readers(creation().plain("readerPrefix", "\xF0\x9F\x94\x91")), std::string("F09F9491") + kReaderHex);
}

TEST_F(ReaderPrefix, isEmptyByDefault) {
    EXPECT_EQ(readers(creation()), kReaderHex);
    EXPECT_EQ(readers(creation().plain("readerPrefix", "")), kReaderHex);
}

TEST_F(ReaderPrefix, mayStandBeforeTheLibrary) {
    EXPECT_EQ(readers(Params().plain("readerPrefix", "P:").append(creation())), std::string("503A") + kReaderHex);
}

TEST_F(ReaderPrefix, ofSeveralTheLastCounts) {
    EXPECT_EQ(readers(creation().plain("readerPrefix", "AB").plain("readerprefix", "C")),
              std::string("43") + kReaderHex);
}

TEST_F(ReaderPrefix, isTheValueAsGivenWhateverTheEncoding) {
    EXPECT_EQ(readers(creation().hex("readerPrefix", "41")), std::string("3431") + kReaderHex);
    EXPECT_EQ(readers(creation().base64("readerPrefix", "QQ==")), std::string("51513D3D") + kReaderHex);
    EXPECT_EQ(readers(creation().text("readerPrefix", "A")), std::string("41") + kReaderHex);
    EXPECT_EQ(readers(creation().add("readerPrefix", 9, 9, "A")), std::string("41") + kReaderHex);
}

// The counts

TEST_F(Instances, twoOnOneLibraryCountOneAndTwo) {
    plugin = Executor(creation());
    forget();
    m_other = Executor(creation());
    ASSERT_TRUE(m_other);
    expectTrace(newInstanceTrace(m_file, 2, boundTrace()));
    expectCalls({"C_GetFunctionList()", "C_Initialize(flags=0x2)"});
}

TEST_F(Instances, twoOnTwoLibrariesCountOneEach) {
    Fake::secondModule().reset();
    plugin = Executor(creation());
    forget();
    m_other = Executor(Params().plain("DLLNAME", m_second));
    expectTrace(newInstanceTrace(m_second, 1, boundTrace()));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_second, finalizedTrace())));
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
}

TEST_F(Instances, countsGoByTheNameAsGivenNotByTheFile) {
    const std::string alias = otherName(m_file);
    plugin = Executor(creation());
    forget();
    m_other = Executor(Params().plain("DLLNAME", alias));
    ASSERT_TRUE(m_other);
    expectTrace(newInstanceTrace(alias, 1, boundTrace()));

    // The first is the last of its own name: it finalises although the other one is alive.
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, alias, notFinalizedTrace())));
}

TEST_F(Instances, anExecutorThatIsNotReadyIsCountedAllTheSame) {
    plugin = Executor(Params().plain("DLLNAME", m_empty));
    ASSERT_TRUE(plugin);
    forget();
    m_other = Executor(Params().plain("DLLNAME", m_empty));
    const Trace noFunctionList =
        constructorTrace(call("PKCS11Client", "C_GetFunctionList") +
                         Trace{{1, "PKCS11Client::PKCS11Client: Unable to ProcAddress C_GetFunctionList"}});
    expectTrace(newInstanceTrace(m_empty, 2, noFunctionList));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(1, m_empty, notReadyTrace())));
}

TEST_F(Instances, countsAreRightAfterManyThreads) {
    fake.setRecording(false);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 25; ++k) {
                Executor executor(creation());
                EXPECT_TRUE(executor);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    fake.setInitialized(false);
    forget();
    plugin = Executor(creation());
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
}

// The mutex

TEST_F(Instances, aMutexThatCannotBeCreatedGivesNull) {
    failNextMutexCreate(8);
    EXPECT_FALSE(Executor(creation()));
    // Two blanks behind the colon.
    expectTrace(exported(8, "newInstance") + exported(1, "newInstance:  CreateMutex failed (error 8)") +
                exported(16, "newInstance"));
    expectCalls({});
}

TEST_F(Instances, everyNewInstanceCreatesAMutex) {
    plugin = Executor(creation());
    forget();
    failNextMutexCreate(1450);
    EXPECT_FALSE(Executor(creation()));
    expectTraceAt(1, exported(1, "newInstance:  CreateMutex failed (error 1450)"));

    // The counts are guarded and right all the same.
    m_other = Executor(creation());
    expectTrace(newInstanceTrace(m_file, 2, boundTrace()));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(1, m_file, notFinalizedTrace())));
}
