#pragma once

#include "tests/conformance/Params.h"
#include "tests/conformance/Trace.h"
#include "tests/fake/Fake.h"
#include "zel/ClientOperationExecutor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <source_location>
#include <string>
#include <vector>

// What conformance tests stand on: a fixture that drives the plug-in's own objects against the scripted module, and
// compares outputs, calls and trace with what the test states, line by line.
//
//   class SignData : public Conformance::PluginTest {};
//   TEST_F(SignData, missingKey) {
//       startWithReader(Params().hex("PIN", "31323334"));
//       Result result = execute("signData", Params().plain("ALGOID", kRsa).hex("KEYID", "01").base64("DATA", "AQI="));
//       expectOutputs(result, {errorIs("80f3")});
//       expectCalls({"C_OpenSession(0x11, flags=0x6)", …});
//       expectTrace(executeTrace("signData", {{"ALGOID", "KEYID", "DATA"}}, Trace{…}, result));
//   }
//
// All texts are UTF-8. Every test begins with the scripted module as after its `reset`, an empty record and an empty
// trace, and ends with a check that nothing was left behind.

namespace Conformance {

/// One output parameter: {"ERROR", 2, 3, "0"}.
struct Output {
    std::string id;
    int encoding;
    int type;
    std::string value;
    bool operator==(const Output&) const = default;
};
[[nodiscard]] inline Output errorIs(const std::string& code) {
    return {"ERROR", 2, 3, code};
}
[[nodiscard]] inline Output countIs(const std::string& count) {
    return {"COUNT", 2, 1, count};
}
/// A function, for constants of the tests are made of it: in Microsoft's ABI they may be made before a header's.
[[nodiscard]] inline Output done() {
    return errorIs("0");
}

/// An exception that left an operation: its class ("ClientOperationException", "std::out_of_range", …), error code
/// ("80ec"; empty for other classes) and message.
struct Failure {
    std::string type;
    std::string code;
    std::string message;
    bool operator==(const Failure&) const = default;
};

/// What an executor throws that could not be made ready.
inline const Failure kNotValidated = {"ClientOperationException", "80ec", "Plugin not validated"};

/// What one `execute` gave: a response (its id and outputs), or null, or an exception.
struct Result {
    bool null = false; ///< null came back instead of a response
    std::string id;
    std::vector<Output> outputs;
    std::optional<Failure> failure;

    /// Value of the first output with this id; nullopt when there is none.
    [[nodiscard]] std::optional<std::string> value(const std::string& outputId) const;
};

/// One executor from `newInstance`, given back to `freeInstance` when this object goes. Move-only.
class Executor {
public:
    Executor() = default;
    /// `newInstance` with these creation parameters; `get()` is null when null came back.
    explicit Executor(const Params& creation);
    Executor(Executor&& other) noexcept;
    Executor& operator=(Executor&& other) noexcept;
    ~Executor();

    [[nodiscard]] Zel::ClientOperationExecutor* get() const { return m_pExecutor; }
    explicit operator bool() const { return m_pExecutor != nullptr; }
    /// `freeInstance`; nothing when there is none.
    void free();

    [[nodiscard]] std::optional<Failure> initialize(const Params& access = Params::null(),
                                                    const Params& runtime = Params::null());
    void terminate();
    /// Runs a script with operation id "1" and script type "client.p11.Larkspur".
    [[nodiscard]] Result execute(const std::string& script, const Params& params = Params::null());
    [[nodiscard]] Result execute(const std::string& id, const std::string& scriptType, const std::string& script,
                                 const Params& params);
    [[nodiscard]] Result executeNull(); ///< execute(null)

    /// Executors that are alive in this process.
    [[nodiscard]] static int alive();

private:
    Zel::ClientOperationExecutor* m_pExecutor = nullptr;
};

inline constexpr const char* kScriptType = "client.p11.Larkspur";
/// The default reader's name as hosts send it: "Fake Reader 0" in hexadecimal.
inline constexpr const char* kReaderHex = "46616B65205265616465722030";

class PluginTest : public ::testing::Test {
public:
    using Where = std::source_location;

protected:
    void SetUp() override;
    /// Clears the answers, frees `plugin` and asserts that every executor is freed, that no session is open in the
    /// module and that it was finalised.
    void TearDown() override;

    /// The module that the plug-in drives.
    Fake::Module fake = Fake::module();
    /// The executor that the operations below use.
    Executor plugin;

    /// Set by tests whose story ends with sessions that the module would not close, or with a module that nobody is to
    /// finalise.
    bool leavesSessions = false;
    bool leavesInitialized = false;

    /// Creation parameters: DLLNAME is the scripted module.
    [[nodiscard]] static Params creation();

    /// Makes `plugin` and initialises it; forgets trace and calls. Fails the test when an exception comes.
    void start(const Params& access = Params::null(), const Params& runtime = Params::null());
    /// As start, then "getPlatformIdentifiers" for the default reader, so that the current slot is 0x11; forgets trace
    /// and calls again.
    void startWithReader(const Params& access = Params::null(), const Params& runtime = Params::null());
    /// A script whose trace, calls and outputs do not matter, but which must answer "ERROR" = "0".
    void run(const std::string& script, const Params& params = Params::null(), Where where = Where::current());

    Result execute(const std::string& script, const Params& params = Params::null()) {
        return plugin.execute(script, params);
    }

    /// As execute; of what it writes, only the script's own lines stay in the trace.
    Result runScript(const std::string& script, const Params& params = Params::null());

    /// From now on C_FindObjects succeeds with this handle and count, which are free to be wrong.
    void answerFinds(CK_OBJECT_HANDLE object, CK_ULONG count);
    /// From now on it says that it has found `count` objects when it has found one.
    void overstateFinds(CK_ULONG count);

    /// What was recorded since the last take; taking forgets it.
    [[nodiscard]] std::vector<std::string> calls() { return fake.takeCalls(); }
    [[nodiscard]] Trace trace();
    void forget(); ///< trace and calls

    /// How long the plug-in wanted to wait, each time since the last take. In tests it never does.
    [[nodiscard]] static std::vector<std::chrono::milliseconds> takeWaits();

    // Whole-list comparisons. Each takes (and so forgets) what it compares; a difference fails the test at the
    // caller's line and shows both lists from the first line that differs. What went before does not matter.
    void expectCalls(const std::vector<std::string>& expected, Where where = Where::current());
    void expectTrace(const Trace& expected, Where where = Where::current());
    /// Compares the lines of these levels (a mask) only, for tests that are about a few lines; takes all.
    void expectTraceAt(unsigned levels, const Trace& expected, Where where = Where::current());
    static void expectOutputs(const Result& result, const std::vector<Output>& expected,
                              Where where = Where::current());
    static void expectError(const Result& result, const std::string& code, Where where = Where::current());
    static void expectFailure(const std::optional<Failure>& failure, const Failure& expected,
                              Where where = Where::current());
};

} // namespace Conformance
