#include "host/view/Trace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <map>
#include <optional>

#include <nlohmann/json.hpp>

#include "host/plugin/Errors.h"
#include "host/view/TextFile.h"

namespace host::view {

namespace {

using Json = nlohmann::json;

constexpr std::uint32_t kCallLevel = 2;
constexpr std::uint32_t kEntryLevel = 8;
constexpr std::uint32_t kExitLevel = 16;
constexpr std::string_view kExecute = "PKCS11Client::execute";
constexpr std::string_view kScriptName = "PKCS11Client::execute: --> Input Param operation.script = ";
constexpr std::string_view kError = ", ERROR = ";
constexpr std::string_view kHostModule = "P11HOST";

struct TraceLine {
    std::int64_t time = 0;
    std::uint64_t thread = 0;
    std::uint32_t level = 0;
    std::string module;
    std::string text;
};

/// A number of exactly these digits.
std::optional<int> digits(std::string_view text) {
    int number = 0;
    const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Nanoseconds of "2026-01-31T12:00:00.123456Z".
std::optional<std::int64_t> instantOf(std::string_view text) {
    using namespace std::chrono;
    constexpr std::string_view kShape = "0000-00-00T00:00:00.000000Z";
    constexpr std::array<std::array<std::size_t, 2>, 7> kFields = {
        {{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, {20, 6}}};
    std::array<int, 7> numbers = {};
    for (std::size_t i = 0; i < kShape.size(); ++i) {
        const bool isDigit = i < text.size() && text[i] >= '0' && text[i] <= '9';
        if (text.size() != kShape.size() || (kShape[i] == '0' ? !isDigit : text[i] != kShape[i])) {
            return std::nullopt;
        }
    }
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        numbers[i] = digits(text.substr(kFields[i][0], kFields[i][1])).value_or(0);
    }
    const year_month_day date{year(numbers[0]), month(static_cast<unsigned>(numbers[1])),
                              day(static_cast<unsigned>(numbers[2]))};
    if (!date.ok() || numbers[0] < 1970 || numbers[0] > 2100) {
        return std::nullopt;
    }
    const auto time = sys_days(date).time_since_epoch() + hours(numbers[3]) + minutes(numbers[4]) +
                      seconds(numbers[5]) + microseconds(numbers[6]);
    return duration_cast<nanoseconds>(time).count();
}

std::optional<TraceLine> lineOf(std::string_view text) {
    const Json value = Json::parse(text, nullptr, false);
    const auto member = [&](const char* key) {
        const auto found = value.is_object() ? value.find(key) : value.end();
        return value.is_object() && found != value.end() ? *found : Json();
    };
    const Json time = member("time");
    const Json thread = member("thread");
    const Json level = member("level");
    const Json message = member("text");
    const Json module = member("module");
    if (!time.is_string() || !thread.is_number_unsigned() || !level.is_number_unsigned() || !message.is_string()) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> instant = instantOf(time.get<std::string>());
    if (!instant) {
        return std::nullopt;
    }
    return TraceLine{*instant, thread.get<std::uint64_t>(), level.get<std::uint32_t>(),
                     module.is_string() ? module.get<std::string>() : "", message.get<std::string>()};
}

/// "PKCS11Client::loginAsUser: C_Login"
bool announcesCall(const TraceLine& line) {
    const std::size_t at = line.level == kCallLevel ? line.text.rfind(": C_") : std::string::npos;
    return at != std::string::npos && line.text.find(' ', at + 2) == std::string::npos;
}

/// Puts the lines of a trace together, thread by thread.
class SpanBuilder {
public:
    void add(const TraceLine& line) {
        std::vector<std::size_t>& open = m_open[line.thread];
        const bool isCommand = line.module == kHostModule;
        const bool isScript = !isCommand && line.text == kExecute;
        if (line.level == kEntryLevel && (isCommand || isScript)) {
            begin(line, isCommand, open);
        }
        for (const std::size_t number : open) {
            extend(m_spans[number], line);
        }
        if (line.level == kExitLevel && (isCommand || isScript)) {
            std::erase_if(open, [&](std::size_t number) { return m_spans[number].isCommand == isCommand; });
        }
    }

    [[nodiscard]] std::vector<TracedSpan> take() { return std::move(m_spans); }

private:
    void begin(const TraceLine& line, bool isCommand, std::vector<std::size_t>& open) {
        // What another process left open under the same number has ended.
        std::erase_if(open, [&](std::size_t number) { return isCommand || !m_spans[number].isCommand; });
        TracedSpan span;
        span.isCommand = isCommand;
        span.name = isCommand ? line.text : "script";
        span.thread = line.thread;
        span.begin = span.end = line.time;
        open.push_back(m_spans.size());
        m_spans.push_back(std::move(span));
    }

    static void extend(TracedSpan& span, const TraceLine& line) {
        span.end = std::max(span.end, line.time);
        span.hasCalls = span.hasCalls || announcesCall(line);
        if (!span.isCommand && line.text.starts_with(kScriptName)) {
            span.name = line.text.substr(kScriptName.size());
        }
        const std::size_t at = line.text.starts_with(kExecute) ? line.text.find(kError) : std::string::npos;
        if (!span.isCommand && at != std::string::npos && line.text.substr(at + kError.size()) != "0") {
            span.error = line.text.substr(at + kError.size());
        }
    }

    std::vector<TracedSpan> m_spans;
    std::map<std::uint64_t, std::vector<std::size_t>> m_open; ///< by thread
};

} // namespace

Trace readTrace(std::string_view text, const std::string& file) {
    SpanBuilder builder;
    Trace trace;
    eachLine(text, [&](std::string_view line, std::size_t number, bool isWhole) {
        if (const std::optional<TraceLine> read = lineOf(line)) {
            builder.add(*read);
        } else if (!isWhole) {
            trace.notes.push_back("The last line of " + file + " is cut off and left out.");
        } else {
            throw UsageError("\"" + file + "\", line " + std::to_string(number) +
                             ": no JSON line of a trace; --from-trace takes what \"--trace FILE\" wrote");
        }
    });
    trace.spans = builder.take();
    if (trace.spans.empty()) {
        throw UsageError("the trace \"" + file +
                         "\" shows no script and no card command; it takes the trace levels 4, 8 and 16");
    }
    return trace;
}

} // namespace host::view
