#include "watch/record/RecordReader.h"

#include <algorithm>
#include <charconv>

#include "cryptoki/ResultNames.h"
#include "platform/Streams.h"

namespace watch {

namespace {

/// Deeper than a template in a template.
constexpr int kDeepest = 16;

/// A damaged value for text that is no JSON, or deeper than a record.
Json parsed(std::string_view text) {
    bool isTooDeep = false;
    const auto look = [&isTooDeep](int depth, Json::parse_event_t, const Json&) {
        isTooDeep = isTooDeep || depth > kDeepest;
        return !isTooDeep;
    };
    Json value = Json::parse(text, look, false);
    return isTooDeep ? Json(Json::value_t::discarded) : value;
}

std::optional<std::uint64_t> decimal(const std::string& text) noexcept {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

template <class Text>
std::optional<Text> stringIn(const Json& line, const char* key) {
    const auto found = line.find(key);
    return found != line.end() && found->is_string() ? std::optional(found->get<Text>()) : std::nullopt;
}

bool readNumber(const Json& line, const char* key, std::uint64_t& number) {
    const auto found = line.find(key);
    if (found == line.end() || !found->is_number_unsigned()) {
        return false;
    }
    number = found->get<std::uint64_t>();
    return true;
}

bool readObject(Json& line, const char* key, Json& object) {
    const auto found = line.find(key);
    if (found == line.end() || !found->is_object()) {
        return false;
    }
    object = std::move(*found);
    return true;
}

} // namespace

std::optional<RecordedLine> readLine(std::string_view line) {
    Json value = parsed(line);
    if (!value.is_object()) {
        return std::nullopt;
    }
    RecordedLine read;
    const std::optional<std::string> time = stringIn<std::string>(value, "time");
    const std::optional<std::string> call = stringIn<std::string>(value, "call");
    const std::optional<std::string> result = stringIn<std::string>(value, "result");
    const std::optional<std::uint64_t> instant = time ? decimal(*time) : std::nullopt;
    const std::optional<std::uint32_t> number = result ? cryptoki::resultNumber(*result) : std::nullopt;
    const bool isWhole = instant && call && number && readNumber(value, "n", read.number) &&
                         readNumber(value, "duration", read.duration) && readNumber(value, "process", read.process) &&
                         readNumber(value, "thread", read.thread) && readObject(value, "in", read.in) &&
                         readObject(value, "out", read.out);
    if (!isWhole) {
        return std::nullopt;
    }
    read.time = *instant;
    read.call = *call;
    read.result = *number;
    return read;
}

RecordContent readRecord(std::string_view text) {
    RecordContent content;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (std::optional<RecordedLine> read = readLine(line)) {
            content.lines.push_back(std::move(*read));
        } else if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
            ++content.damaged;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return content;
}

std::optional<RecordContent> readRecordFile(const std::string& path) {
    std::optional<platform::InputStream> file = platform::InputStream::open(path);
    std::string text;
    while (file) {
        const std::size_t length = text.size();
        text.resize(std::max<std::size_t>(2 * length, 1U << 16U));
        const std::optional<std::size_t> count = file->read(text.data() + length, text.size() - length);
        text.resize(length + count.value_or(0));
        if (!count) {
            return std::nullopt;
        }
        if (*count == 0) {
            return readRecord(text);
        }
    }
    return std::nullopt;
}

} // namespace watch
