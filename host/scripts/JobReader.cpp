#include "host/scripts/JobReader.h"

#include <algorithm>
#include <set>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Streams.h"
#include "text/SecureZero.h"

namespace host {

namespace {

constexpr std::size_t kChunk = std::size_t{64} << 10;
constexpr std::size_t kLargest = std::size_t{256} << 20;
constexpr std::size_t kMostKeys = 4096;
constexpr int kDeepest = 16;
constexpr std::string_view kBlank = " \t\r\n";

std::string_view withoutLeadingBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlank);
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

bool beginsDocument(std::string_view line) {
    const std::string_view text = withoutLeadingBlanks(line);
    if (text.substr(0, 1) == "[") {
        return true;
    }
    if (text.substr(0, 1) != "{") {
        return false;
    }
    const std::string_view rest = withoutLeadingBlanks(text.substr(1));
    return rest.empty() || rest.substr(0, 7) == "\"steps\"";
}

/// "column 5", or "line 2, column 5" when the text has several lines.
std::string place(std::string_view text, std::size_t byte) {
    const std::string_view before = text.substr(0, byte > 0 ? byte - 1 : 0);
    const std::size_t lineStart = before.rfind('\n') + 1;
    const std::string column = "column " + std::to_string(columns(before.substr(lineStart)) + 1);
    const bool hasLines = withoutLeadingBlanks(text.substr(std::min(text.find('\n'), text.size()))).size() > 0;
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    return hasLines ? "line " + std::to_string(line) + ", " + column : column;
}

/// The parser's own reason. Its quotation of the text is cut: a secret may stand there.
std::string reason(std::string_view message) {
    const std::size_t start = message.find(" - ");
    if (start == std::string_view::npos) {
        return "malformed";
    }
    const std::string_view rest = message.substr(start + 3);
    return std::string(rest.substr(0, rest.find("; last read")));
}

/// Refuses JSON that a job must not have: a key that occurs twice in one object, because one of its two values would be
/// lost; objects with so many keys that comparing them takes long; and deep nesting.
class Rules {
public:
    bool operator()(int depth, JobJson::parse_event_t event, JobJson& value) {
        const bool isObject = event == JobJson::parse_event_t::object_start;
        if ((isObject || event == JobJson::parse_event_t::array_start) && depth >= kDeepest) {
            throw UsageError("lists and objects stand more than " + std::to_string(kDeepest) + " deep in each other");
        }
        if (isObject) {
            m_keys.emplace_back();
        } else if (event == JobJson::parse_event_t::object_end) {
            m_keys.pop_back();
        } else if (event == JobJson::parse_event_t::key) {
            addKey(std::string(value.get_ref<const WipedString&>()));
        }
        return true;
    }

private:
    void addKey(const std::string& key) {
        if (!m_keys.back().insert(key).second) {
            throw UsageError("the key \"" + printable(key) +
                             "\" stands twice in one object; a parameter is given twice in the form "
                             "[{\"id\":...,\"value\":...}]");
        }
        if (m_keys.back().size() > kMostKeys) {
            throw UsageError("an object has more than " + std::to_string(kMostKeys) + " keys");
        }
    }

    std::vector<std::set<std::string>> m_keys;
};

} // namespace

JobJson parseJson(std::string_view text) {
    try {
        return JobJson::parse(text.begin(), text.end(),
                              [rules = Rules()](int depth, JobJson::parse_event_t event, JobJson& value) mutable {
                                  return rules(depth, event, value);
                              });
    } catch (const JobJson::parse_error& error) {
        throw UsageError("not JSON at " + place(text, error.byte) + ": " + reason(error.what()));
    } catch (const JobJson::exception&) {
        throw UsageError("not JSON: a number is out of range");
    }
}

std::optional<RawStep> JobReader::next() {
    if (m_isDocument) {
        return nextInDocument();
    }
    std::optional<WipedBytes> line = readLine();
    while (line && withoutLeadingBlanks(charactersOf(*line)).empty()) {
        line = readLine();
    }
    if (!line) {
        return std::nullopt;
    }
    const bool isFirst = m_isFirst;
    m_isFirst = false;
    if (isFirst && beginsDocument(charactersOf(*line))) {
        return startDocument(std::move(*line));
    }
    RawStep step;
    step.where = "line " + std::to_string(m_line);
    try {
        const std::string_view text = charactersOf(*line);
        step.value = parseJson(text.substr(0, text.find_last_not_of(kBlank) + 1));
    } catch (const UsageError& error) {
        step.error = std::string(error.what()) + "; a line is one step, such as {\"call\":\"getVersion\"}";
    }
    return step;
}

std::optional<RawStep> JobReader::startDocument(WipedBytes text) {
    m_isDocument = true;
    readRest(text);
    RawStep failed;
    failed.where = "job";
    try {
        JobJson document = parseJson(charactersOf(text));
        if (document.is_object() && document.size() == 1 && document.contains("steps")) {
            m_steps = std::move(document["steps"]);
        } else if (document.is_array()) {
            m_steps = std::move(document);
        }
        if (m_steps.is_array()) {
            return nextInDocument();
        }
        failed.error = "it has no list of steps; a job is [STEP, ...] or {\"steps\":[STEP, ...]}, or one step a line";
    } catch (const UsageError& error) {
        failed.error = error.what();
    }
    m_steps = JobJson::array();
    return failed;
}

std::optional<RawStep> JobReader::nextInDocument() {
    if (m_nextStep >= m_steps.size()) {
        return std::nullopt;
    }
    RawStep step;
    step.where = "step " + std::to_string(m_nextStep);
    step.value = std::move(m_steps[m_nextStep]);
    ++m_nextStep;
    return step;
}

std::optional<WipedBytes> JobReader::readLine() {
    std::size_t searched = 0;
    for (;;) {
        const auto start = m_buffer.begin() + static_cast<std::ptrdiff_t>(m_taken);
        const auto end = std::find(start + static_cast<std::ptrdiff_t>(searched), m_buffer.end(), '\n');
        searched = static_cast<std::size_t>(end - start);
        if (end != m_buffer.end()) {
            return takeLine(searched + 1);
        }
        if (!fill()) {
            return searched == 0 ? std::nullopt : std::optional(takeLine(searched));
        }
    }
}

bool JobReader::fill() {
    // What was taken is wiped already; what is left moves to the front.
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_taken));
    m_taken = 0;
    const std::size_t before = m_buffer.size();
    if (before > kLargest) {
        throw UsageError("a line or a document of a job may have 256 MiB at most");
    }
    m_buffer.resize(before + kChunk);
    const std::optional<std::size_t> count = m_source(m_buffer.data() + before, kChunk);
    m_buffer.resize(before + count.value_or(0));
    if (!count) {
        throw UsageError("cannot read the job: " + platform::InputStream::lastError());
    }
    return *count > 0;
}

/// Hands out the next `length` bytes and leaves no copy of them behind.
WipedBytes JobReader::takeLine(std::size_t length) {
    char* start = m_buffer.data() + m_taken;
    WipedBytes line(start, start + length);
    text::secureZero(start, length);
    m_taken += length;
    ++m_line;
    if (m_line == 1 && charactersOf(line).substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        line.erase(line.begin(), line.begin() + kByteOrderMark.size());
    }
    return line;
}

void JobReader::readRest(WipedBytes& text) {
    while (fill()) {
    }
    text.insert(text.end(), m_buffer.begin(), m_buffer.end());
    text::secureZero(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

} // namespace host
