#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/scripts/Secrets.h"

namespace host {

/// The JSON of a job. It may hold secrets, so that its storage wipes itself; keys keep their order.
using WipedString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
using JobJson = nlohmann::basic_json<nlohmann::ordered_map, std::vector, WipedString, bool, std::int64_t, std::uint64_t,
                                     double, WipingAllocator>;

/// One step as it stands in the job, not looked at yet.
// NOLINTNEXTLINE(bugprone-exception-escape): the check takes its implicit moves for noexcept
struct RawStep {
    std::string where;                ///< "line 3", "step 2"
    std::optional<std::string> error; ///< what is wrong when it is not JSON, or the job has no steps
    JobJson value;
};

/// Reads a job step by step. JSON lines are returned as they arrive, one step a line, without empty lines; a document,
/// `[…]` or `{"steps":[…]}`, is read whole first. The first line that is not empty decides which it is: a document
/// begins with `[`, or with `{` followed by nothing or "steps".
class JobReader {
public:
    /// Copies at most `room` bytes and returns their number, 0 at the end; nullopt on failure.
    using Source = std::function<std::optional<std::size_t>(char* target, std::size_t room)>;

    explicit JobReader(Source source) : m_source(std::move(source)) {}

    /// The next step; nullopt at the end. UsageError when the source fails, or gives a line or a document of more than
    /// 256 MiB.
    [[nodiscard]] std::optional<RawStep> next();
    /// Returns true when the input is a document. A document with an empty list is a job without steps; empty input is
    /// not a job.
    [[nodiscard]] bool isDocument() const noexcept { return m_isDocument; }

private:
    [[nodiscard]] std::optional<WipedBytes> readLine();
    [[nodiscard]] bool fill();
    [[nodiscard]] WipedBytes takeLine(std::size_t length);
    [[nodiscard]] std::optional<RawStep> nextInDocument();
    [[nodiscard]] std::optional<RawStep> startDocument(WipedBytes text);
    void readRest(WipedBytes& text);

    Source m_source;
    WipedBytes m_buffer;
    std::size_t m_taken = 0; ///< how much of the buffer has been handed out, and wiped
    std::size_t m_line = 0;
    bool m_isFirst = true;
    bool m_isDocument = false;
    JobJson m_steps;
    std::size_t m_nextStep = 0;
};

/// The value of JSON text. UsageError says where it is wrong (line and column; the line only when there are several)
/// and why, without showing the text, which may hold a secret. A repeated key in one object, more than 4096 keys in one
/// object, and nesting deeper than 16 are errors.
[[nodiscard]] JobJson parseJson(std::string_view text);

} // namespace host
