#include <algorithm>
#include <ctime>
#include <vector>

#include <nlohmann/json.hpp>

#include "framework/log/LineFormat.h"
#include "framework/log/TimeText.h"
#include "ry/rylog.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"

namespace {

using Fuzz::Input;
using Fuzz::require;

/// What was logged, and when and by whom it is said to have been.
struct Message {
    std::string module;
    std::string text;
    std::uint32_t level = 0;
    std::optional<std::string> bytes;
    std::int64_t time = 0;
    std::uint32_t thread = 0;
    int received = 0;
};

std::string lineOf(const Message& message, RylogFormat format, const RylogRecord& record) {
    const std::wstring module = Fuzz::wideOf(record.module);
    const std::wstring text = Fuzz::wideOf(record.text);
    Ry::log::LineBuffer buffer;
    static Ry::log::TimeText time; // as the log does, which keeps the last second
    Ry::log::appendLine(buffer, format, time.of(message.time), message.thread,
                        {module, record.level, text, record.bytes, record.length});
    require(!buffer.hasFailed(), "there is memory");
    std::string line(buffer.data(), buffer.length());
    require(!line.empty() && line.back() == '\n', "a line ends with a line end");
    line.pop_back();
    return line;
}

/// No control character of any kind, so that a line cannot pretend to be two or command a terminal.
void requirePrintable(const std::string& line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line[i]);
        require(byte >= 0x20 && byte != 0x7F, "a line has no control character");
        const bool isC1 = byte == 0xC2 && i + 1 < line.size() && static_cast<unsigned char>(line[i + 1]) < 0xA0;
        require(!isC1, "a line has none of the second kind");
    }
}

std::string timeText(std::int64_t time) {
    constexpr std::int64_t kSecond = 1000000;
    const auto seconds = static_cast<std::time_t>(time / kSecond);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", std::gmtime(&seconds));
    std::snprintf(text + length, sizeof(text) - length, ".%06dZ", static_cast<int>(time % kSecond));
    return text;
}

std::string narrowHexadecimal(const std::string& bytes) {
    const std::wstring wide = Fuzz::hexadecimalOf(bytes);
    std::string narrow;
    std::transform(wide.begin(), wide.end(), std::back_inserter(narrow),
                   [](wchar_t digit) { return static_cast<char>(digit); });
    return narrow;
}

void checkLines(const Message& message, const RylogRecord& record) {
    const std::string line = lineOf(message, RylogFormat::Json, record);
    requirePrintable(line);
    nlohmann::json expected = {{"time", timeText(message.time)},
                               {"thread", message.thread},
                               {"module", message.module},
                               {"level", message.level},
                               {"text", message.text}};
    if (message.bytes) {
        expected["bytes"] = narrowHexadecimal(*message.bytes);
    }
    require(nlohmann::json::accept(line), "a line is JSON");
    require(nlohmann::json::parse(line) == expected, "a line says what was logged");

    const std::string text = lineOf(message, RylogFormat::Text, record);
    requirePrintable(text);
    require(text.starts_with(timeText(message.time) + " " + std::to_string(message.thread) + " "),
            "a line of text begins with time and thread");
}

void receive(void* context, const RylogRecord* record) {
    auto& message = *static_cast<Message*>(context);
    ++message.received;
    require(record->module == message.module && record->text == message.text, "texts arrive as they were logged");
    require(record->level == message.level, "the level arrives");
    require((record->bytes != nullptr) == message.bytes.has_value(), "a dump arrives when there is one");
    if (message.bytes) {
        require(std::string(reinterpret_cast<const char*>(record->bytes), record->length) == *message.bytes,
                "the dump's bytes arrive");
    }
    checkLines(message, *record);
}

/// As much of a name as 255 bytes of UTF-8 hold, whole characters only.
std::string keptName(const std::wstring& name) {
    constexpr std::size_t kMost = 255;
    std::string kept = Fuzz::utf8Of(Fuzz::untilZero(name));
    std::size_t length = std::min(kept.size(), kMost);
    while (length < kept.size() && (static_cast<unsigned char>(kept[length]) & 0xC0) == 0x80) {
        --length;
    }
    kept.resize(length);
    return kept;
}

std::wstring repeated(const std::wstring& text, std::size_t times) {
    std::wstring all;
    for (; times > 0; --times) {
        all += text;
    }
    return all;
}

void logOne(Input& input, const std::wstring& moduleName) {
    // As far as every system's calendar goes, which the line is compared with.
    constexpr std::int64_t kYear3000 = 32503680000000000;
    Message message;
    message.time = static_cast<std::int64_t>(input.number<std::uint64_t>() % static_cast<std::uint64_t>(kYear3000));
    message.thread = input.number<std::uint32_t>();
    message.level = std::max(input.number<std::uint32_t>(), 1U);
    const bool isNamed = input.boolean();
    const std::wstring module = input.text(30);
    message.module = isNamed ? Fuzz::utf8Of(Fuzz::untilZero(module)) : keptName(moduleName);
    const std::wstring text = repeated(input.text(200), 1 + input.below(16));
    message.text = "<" + Fuzz::utf8Of(Fuzz::untilZero(text)) + ">";
    const bool isDump = input.boolean();
    const std::string bytes = input.bytes(255);

    rylogSetReceiver(&receive, &message, 0xFFFFFFFF);
    const wchar_t* const given = isNamed ? module.c_str() : nullptr;
    if (isDump) {
        message.bytes = bytes;
        rylogLogBin(given, message.level, bytes.data(), static_cast<std::uint32_t>(bytes.size()), L"<%ws>",
                    text.c_str());
    } else {
        rylogLog(given, message.level, L"<%ws>", text.c_str());
    }
    rylogSetReceiver(nullptr, nullptr, 0);
    require(message.received == 1, "a message arrives once");
}

} // namespace

void Fuzz::log(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::wstring moduleName = repeated(input.text(80), 1 + input.below(4));
    rylogSetModuleName(moduleName.c_str());
    do {
        logOne(input, moduleName);
    } while (!input.isEmpty());
    rylogSetModuleName(nullptr);
}
