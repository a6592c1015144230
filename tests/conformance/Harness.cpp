#include "tests/conformance/Harness.h"

#include "platform/Sleep.h"
#include "ry/rylog.h"
#include "tests/conformance/Difference.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace {

std::mutex s_waitsMutex;
std::vector<std::chrono::milliseconds> s_waits;

} // namespace

/// In place of the platform's: nobody waits for a refused logout.
void platform::sleepFor(std::chrono::milliseconds duration) {
    const std::lock_guard lock(s_waitsMutex);
    s_waits.push_back(duration);
}

namespace Conformance {

std::vector<std::chrono::milliseconds> PluginTest::takeWaits() {
    const std::lock_guard lock(s_waitsMutex);
    return std::exchange(s_waits, {});
}

namespace {

constexpr unsigned kAllLevels = 31;

/// What the log library sent since the last take.
class Capture {
public:
    void add(const RylogRecord& record) {
        TraceLine line{record.level, record.text};
        if (record.bytes != nullptr || record.length != 0) {
            line.dump = Fake::hex({reinterpret_cast<const char*>(record.bytes), record.length});
        }
        const std::lock_guard lock(m_mutex);
        m_trace.lines.push_back(std::move(line));
    }
    Trace take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_trace, Trace());
    }
    void restore(Trace trace) {
        const std::lock_guard lock(m_mutex);
        m_trace = std::move(trace);
    }

private:
    std::mutex m_mutex;
    Trace m_trace;
};

Capture s_capture;

void receive(void* context, const RylogRecord* record) {
    static_cast<Capture*>(context)->add(*record);
}

std::string shown(const TraceLine& line) {
    std::string text = textf("[%u] ", line.level) + line.text;
    return line.dump ? text.append(" | dump ").append(*line.dump) : text;
}

std::string shown(const Output& output) {
    return output.id + textf(" (%d, %d) = \"", output.encoding, output.type) + output.value + "\"";
}

std::string shown(const Failure& failure) {
    return failure.type + " " + failure.code + " \"" + failure.message + "\"";
}

template <class T>
std::vector<std::string> shownList(const std::vector<T>& items) {
    std::vector<std::string> lines;
    for (const T& item : items) {
        lines.push_back(shown(item));
    }
    return lines;
}

void compare(const char* what, const std::vector<std::string>& actual, const std::vector<std::string>& expected,
             const std::source_location& where) {
    const std::string text = difference(actual, expected);
    if (!text.empty()) {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line())) << what << " differ: " << text;
    }
}

} // namespace

void PluginTest::SetUp() {
    fake.reset();
    rylogSetReceiver(&receive, &s_capture, kAllLevels);
    forget();
}

void PluginTest::TearDown() {
    fake.clearAnswers();
    plugin.free();
    EXPECT_EQ(Executor::alive(), 0) << "executors were not freed";
    if (!leavesSessions) {
        EXPECT_EQ(fake.sessionCount(), 0U) << "sessions are open in the module";
    }
    if (!leavesInitialized) {
        EXPECT_FALSE(fake.isInitialized()) << "the module was not finalised";
    }
    rylogSetReceiver(nullptr, nullptr, 0);
}

Params PluginTest::creation() {
    return Params().plain("DLLNAME", Fake::moduleFile());
}

void PluginTest::start(const Params& access, const Params& runtime) {
    plugin = Executor(creation());
    ASSERT_TRUE(plugin) << "newInstance gave no executor";
    const std::optional<Failure> failure = plugin.initialize(access, runtime);
    ASSERT_FALSE(failure) << shown(*failure);
    forget();
}

void PluginTest::startWithReader(const Params& access, const Params& runtime) {
    start(access, runtime);
    run("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex));
}

namespace {

/// From the script's entry to its exit; everything when it was not entered.
Trace linesOfScript(const Trace& all) {
    const auto isEntry = [](const TraceLine& line) { return line.level == 8 && line.text != "PKCS11Client::execute"; };
    const auto first = std::find_if(all.lines.begin(), all.lines.end(), isEntry);
    if (first == all.lines.end()) {
        return all;
    }
    const auto last = std::find(all.lines.rbegin(), all.lines.rend(), TraceLine{16, first->text}).base();
    Trace script;
    script.lines.assign(first, last);
    return script;
}

} // namespace

Result PluginTest::runScript(const std::string& script, const Params& params) {
    const Trace before = trace();
    Result result = execute(script, params);
    s_capture.restore(before + linesOfScript(trace()));
    return result;
}

void PluginTest::run(const std::string& script, const Params& params, Where where) {
    expectError(plugin.execute(script, params), "0", where);
    forget();
}

void PluginTest::answerFinds(CK_OBJECT_HANDLE object, CK_ULONG count) {
    fake.hook<Fake::Function::C_FindObjects>(
        [=](CK_SESSION_HANDLE, CK_OBJECT_HANDLE* found, CK_ULONG, CK_ULONG* number) {
            *found = object;
            *number = count;
            return CK_RV{CKR_OK};
        });
}

void PluginTest::overstateFinds(CK_ULONG count) {
    fake.hook<Fake::Function::C_FindObjects>(
        [=, this](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* found, CK_ULONG room, CK_ULONG* number) {
            const CK_RV rv = fake.honest().C_FindObjects(session, found, room, number);
            *number = *number == 0 ? 0 : count;
            return rv;
        });
}

Trace PluginTest::trace() {
    return s_capture.take();
}

void PluginTest::forget() {
    static_cast<void>(s_capture.take());
    static_cast<void>(fake.takeCalls());
}

void PluginTest::expectCalls(const std::vector<std::string>& expected, Where where) {
    compare("calls", calls(), expected, where);
}

void PluginTest::expectTrace(const Trace& expected, Where where) {
    compare("traces", shownList(trace().lines), shownList(expected.lines), where);
}

void PluginTest::expectTraceAt(unsigned levels, const Trace& expected, Where where) {
    std::vector<TraceLine> lines = trace().lines;
    std::erase_if(lines, [levels](const TraceLine& line) { return (line.level & levels) == 0; });
    compare("traces", shownList(lines), shownList(expected.lines), where);
}

void PluginTest::expectOutputs(const Result& result, const std::vector<Output>& expected, Where where) {
    if (result.failure || result.null) {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
            << "no outputs: " << (result.failure ? shown(*result.failure) : "null came back");
        return;
    }
    compare("outputs", shownList(result.outputs), shownList(expected), where);
}

void PluginTest::expectError(const Result& result, const std::string& code, Where where) {
    const std::string actual = result.failure ? shown(*result.failure) : result.value("ERROR").value_or("no ERROR");
    if (actual != code) {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
            << "ERROR is " << actual << ", expected " << code;
    }
}

void PluginTest::expectFailure(const std::optional<Failure>& failure, const Failure& expected, Where where) {
    if (failure != expected) {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
            << "thrown: " << (failure ? shown(*failure) : "nothing") << "\nexpected: " << shown(expected);
    }
}

} // namespace Conformance
