#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/plugin/Errors.h"
#include "host/scripts/JobReader.h"
#include "host/scripts/JobStep.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Sources.h"
#include "tests/fuzz/Targets.h"

namespace {

using Fuzz::require;

constexpr std::string_view kBlanks = " \t\r\n";

/// Hands the text out in pieces, each larger than the one before: every read costs the reader a chunk of memory.
host::JobReader::Source pieces(const std::string& text, std::size_t first) {
    return [&text, piece = first, taken = std::size_t{0}](char* target, std::size_t room) mutable {
        const std::size_t count = std::min({piece, room, text.size() - taken});
        piece = 2 * piece + 1;
        std::memcpy(target, text.data() + taken, count);
        taken += count;
        return std::optional(count);
    };
}

std::vector<host::RawStep> readAll(const std::string& text, std::size_t piece) {
    host::JobReader reader(pieces(text, piece));
    std::vector<host::RawStep> steps;
    while (std::optional<host::RawStep> step = reader.next()) {
        steps.push_back(std::move(*step));
    }
    return steps;
}

/// Whether an independent reader takes this text: JSON whose numbers can be had, without a key twice in one object
/// or more than 4096 keys there, and no more than 16 levels deep.
bool isJson(std::string_view text) {
    std::vector<std::set<std::string>> keys;
    bool isRefused = false;
    const auto look = [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json& value) {
        const bool isObject = event == nlohmann::json::parse_event_t::object_start;
        isRefused = isRefused || ((isObject || event == nlohmann::json::parse_event_t::array_start) && depth >= 16);
        if (isObject) {
            keys.emplace_back();
        } else if (event == nlohmann::json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == nlohmann::json::parse_event_t::key) {
            isRefused = !keys.back().insert(value.get<std::string>()).second || keys.back().size() > 4096 || isRefused;
        }
        return true;
    };
    try {
        [[maybe_unused]] const nlohmann::json parsed = nlohmann::json::parse(text, look);
        return !isRefused;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

/// The text's lines that are not blank, by their numbers.
std::vector<std::pair<std::size_t, std::string>> lines(std::string_view text) {
    text.remove_prefix(text.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    std::vector<std::pair<std::size_t, std::string>> list;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string line(text.substr(0, end));
        if (line.find_first_not_of(kBlanks) != std::string::npos) {
            list.emplace_back(number, line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return list;
}

bool isDocument(const std::vector<host::RawStep>& steps) {
    return steps.empty() || steps.front().where.starts_with("step ") || steps.front().where == "job";
}

void checkLines(const std::string& text, const std::vector<host::RawStep>& steps) {
    const auto expected = lines(text);
    require(steps.size() == expected.size(), "every line that is not blank is a step");
    for (std::size_t i = 0; i < steps.size(); ++i) {
        require(steps[i].where == "line " + std::to_string(expected[i].first), "a step says its line");
        require(steps[i].error.has_value() != isJson(expected[i].second), "a line is read when it is JSON");
    }
}

void checkDocument(std::string_view text, const std::vector<host::RawStep>& steps) {
    text.remove_prefix(text.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    const bool isRead = steps.empty() || !steps.front().error;
    if (isRead && text.find_first_not_of(kBlanks) != std::string_view::npos) {
        const auto document = nlohmann::json::parse(text);
        const auto& list = document.is_object() ? document.at("steps") : document;
        require(list.is_array() && list.size() == steps.size(), "every element is a step");
    } else if (!isRead) {
        require(steps.size() == 1, "a document in error is one error");
    }
}

bool reachesOut(const host::JobJson& parameters) {
    if (!parameters.is_object()) {
        return false;
    }
    for (const auto& entry : parameters.items()) {
        if (!entry.value().is_object()) {
            continue;
        }
        for (const auto& kind : entry.value().items()) {
            const bool isText = kind.value().is_string();
            const std::string value(isText ? std::string_view(kind.value().get_ref<const host::WipedString&>()) : "");
            if (Fuzz::readsElsewhere(std::string_view(kind.key()), value)) {
                return true;
            }
        }
    }
    return false;
}

bool stepReachesOut(const host::JobJson& step) {
    for (const char* key : {"parameters", "accessParameters", "runtimeParameters"}) {
        if (step.contains(key) && reachesOut(step.at(key))) {
            return true;
        }
    }
    const auto operation = step.find("operation");
    return operation != step.end() && operation->is_object() && stepReachesOut(*operation);
}

void readSteps(const std::vector<host::RawStep>& steps) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].error) {
            require(steps[i].error->find("last read") == std::string::npos, "an error does not quote the text");
        } else if (!steps[i].value.is_object() || !stepReachesOut(steps[i].value)) {
            try {
                const host::Step step = host::readStep(steps[i].value, i);
                require(!step.name.empty(), "a step has a call");
            } catch (const host::UsageError& error) {
                require(*error.what() != 0, "an error says something");
            }
        }
    }
}

} // namespace

void Fuzz::job(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t piece = 1 + input.below(64);
    const std::string text = input.rest();
    const std::vector<host::RawStep> steps = readAll(text, piece);
    const std::vector<host::RawStep> again = readAll(text, text.size() + 1);
    require(steps.size() == again.size(), "how a text comes does not matter");
    for (std::size_t i = 0; i < steps.size(); ++i) {
        require(steps[i].where == again[i].where && steps[i].error == again[i].error, "nor for places and errors");
        require(steps[i].error || steps[i].value == again[i].value, "nor for values");
    }
    if (isDocument(steps)) {
        checkDocument(text, steps);
    } else {
        checkLines(text, steps);
    }
    readSteps(steps);
}
