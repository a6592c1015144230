#include "watch/replay/Replay.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <span>

#include "cryptoki/ResultNames.h"
#include "platform/Process.h"
#include "platform/Sleep.h"
#include "watch/calls/ArgumentText.h"
#include "watch/calls/Messages.h"
#include "watch/calls/OpenObjects.h"
#include "watch/record/Values.h"
#include "watch/replay/Answer.h"

namespace watch {

namespace {

/// No function of this name: one that the table does not have.
constexpr std::size_t kUnknown = kFunctions.size();

std::size_t placeOf(std::string_view name) {
    return static_cast<std::size_t>(std::ranges::find(kFunctions, name, &Function::name) - kFunctions.begin());
}

/// "in" of the program's call, masked as the watch would mask it.
Json inputsOf(FunctionId id, Words words) {
    JsonLine line;
    Rooms rooms;
    writeInputs(line, functionOf(id), words, namesOpenClass(id, words), rooms);
    return Json::parse(line.view());
}

std::string setting(const char* name) {
    return platform::environmentText(name);
}

} // namespace

bool Replay::load() {
    m_path = setting("P11REPLAY_FILE");
    const std::string mode = setting("P11REPLAY_MODE");
    m_hasDelays = setting("P11REPLAY_DELAYS") == "1";
    if (mode != "strict" && mode != "loose" && !mode.empty()) {
        complain("P11REPLAY_MODE is neither strict nor loose");
        return false;
    }
    std::optional<RecordContent> content = m_path.empty() ? std::nullopt : readRecordFile(m_path);
    if (!content || content->lines.empty()) {
        complain(m_path.empty() ? std::string("P11REPLAY_FILE names no record")
                                : "cannot read the record \"" + m_path + "\", or no call is in it");
        return false;
    }
    take(std::move(content->lines), setting("P11REPLAY_PROCESS"), mode == "strict");
    return true;
}

void Replay::take(std::vector<RecordedLine> lines, const std::string& process, bool isStrict) {
    m_isStrict = isStrict;
    const std::uint64_t first = lines.empty() ? 0 : lines.front().process;
    std::erase_if(lines, [&](const RecordedLine& line) {
        return process.empty() ? line.process != first : std::to_string(line.process) != process;
    });
    // Calls that overlap stand in the order of their ends. A program that unloads p11watch and loads it again begins
    // anew with number 1.
    for (auto begin = lines.begin(); begin != lines.end();) {
        const auto isFirst = [](const RecordedLine& line) { return line.number == 1; };
        const auto end = std::find_if(begin + 1, lines.end(), isFirst);
        std::stable_sort(begin, end, [](const auto& one, const auto& other) { return one.number < other.number; });
        begin = end;
    }
    for (RecordedLine& line : lines) {
        add(std::move(line));
    }
}

void Replay::add(RecordedLine line) {
    const std::size_t function = placeOf(line.call);
    if (function == kUnknown) {
        noteFunctionList(line);
        return;
    }
    noteAttributes(line);
    m_byFunction[function].places.push_back(m_steps.size());
    m_steps.push_back({std::move(line)});
}

void Replay::noteFunctionList(const RecordedLine& line) {
    if (line.call == "C_GetFunctionList" && line.out.contains("absent") && line.out["absent"].is_array()) {
        for (const Json& name : line.out["absent"]) {
            m_absent.push_back(name.is_string() ? name.get<std::string>() : std::string());
        }
    }
}

void Replay::noteAttributes(const RecordedLine& line) {
    if (line.call != "C_GetAttributeValue" || !line.in.contains("object") || !line.in["object"].is_number_unsigned() ||
        !line.out.contains("template") || !line.out["template"].is_array()) {
        return;
    }
    auto& known = m_attributes[line.in["object"].get<std::uint64_t>()];
    for (const Json& entry : line.out["template"]) {
        const KnownAttribute made{entry, line.result};
        const auto [place, isNew] = known.try_emplace(attributeType(entry), made);
        if (!isNew && entry.is_object() && entry.contains("value")) {
            place->second = made;
        }
    }
}

bool Replay::isAbsent(std::string_view function) const {
    return std::ranges::find(m_absent, function) != m_absent.end();
}

CK_RV Replay::call(FunctionId id, Words words) noexcept {
    Outcome outcome;
    try {
        const std::lock_guard lock(m_mutex);
        outcome = play(id, words);
    } catch (const std::exception& error) {
        say("p11replay", error.what());
    }
    if (outcome.delay.count() > 0) {
        platform::sleepFor(outcome.delay);
    }
    return outcome.result;
}

std::chrono::milliseconds Replay::delayOf(const RecordedLine& line) {
    if (!m_hasDelays) {
        return {};
    }
    // What is less than a millisecond is kept for a later call.
    m_owed += std::chrono::nanoseconds(line.duration);
    const auto delay = std::chrono::floor<std::chrono::milliseconds>(m_owed);
    m_owed -= delay;
    return delay;
}

Replay::Outcome Replay::play(FunctionId id, Words words) {
    const Json made = inputsOf(id, words);
    Outcome outcome;
    Step* step = m_isStrict ? strictStep(id, made) : looseStep(id, made);
    if (step == nullptr && !m_isStrict) {
        if (id == FunctionId::C_GetAttributeValue && answerAttributes(words, outcome.result)) {
            return outcome;
        }
        step = nearestStep(id, made);
    }
    if (step == nullptr) {
        complainOfMissing(functionOf(id), made);
        return outcome;
    }
    step->isPlayed = true;
    return {answer(functionOf(id), step->line, words, m_handles), delayOf(step->line)};
}

void Replay::complainOfMissing(const Function& function, const Json& made) const {
    std::string text = std::string(function.name) + " " + made.dump() + " is not in the record \"" + m_path + "\"";
    if (m_isStrict && m_next < m_steps.size()) {
        const RecordedLine& next = m_steps[m_next].line;
        text += " here, where " + next.call + " is call " + std::to_string(next.number);
    }
    complain(text + "; answered CKR_FUNCTION_FAILED");
}

Replay::Step* Replay::strictStep(FunctionId id, const Json& made) {
    if (m_next == m_steps.size()) {
        return nullptr;
    }
    Step& step = m_steps[m_next];
    const Function& function = functionOf(id);
    if (step.line.call != function.name || !distance(function, step.line.in, made, m_handles).isExact()) {
        return nullptr;
    }
    ++m_next;
    return &step;
}

Replay::Step* Replay::looseStep(FunctionId id, const Json& made) {
    Calls& calls = m_byFunction[static_cast<std::size_t>(id)];
    while (calls.next < calls.places.size() && m_steps[calls.places[calls.next]].isPlayed) {
        ++calls.next;
    }
    const auto isExact = [&](std::size_t place) {
        return distance(functionOf(id), m_steps[place].line.in, made, m_handles).isExact();
    };
    const auto isNew = [&](std::size_t place) { return !m_steps[place].isPlayed && isExact(place); };
    const auto fresh =
        std::find_if(calls.places.begin() + static_cast<std::ptrdiff_t>(calls.next), calls.places.end(), isNew);
    if (fresh != calls.places.end()) {
        return &m_steps[*fresh];
    }
    const auto played = std::find_if(calls.places.rbegin(), calls.places.rend(), isExact);
    return played == calls.places.rend() ? nullptr : &m_steps[*played];
}

Replay::Step* Replay::nearestStep(FunctionId id, const Json& made) {
    Step* nearest = nullptr;
    std::size_t fewest = 0;
    for (const std::size_t place : m_byFunction[static_cast<std::size_t>(id)].places) {
        Step& step = m_steps[place];
        const Distance found = distance(functionOf(id), step.line.in, made, m_handles);
        if (!step.isPlayed && found.isPossible && (nearest == nullptr || found.different < fewest)) {
            nearest = &step;
            fewest = found.different;
        }
    }
    return nearest;
}

bool Replay::answerAttributes(Words words, CK_RV& result) const {
    auto* const attributes = pointer<CK_ATTRIBUTE>(words[2]);
    const auto object = std::ranges::find_if(m_attributes, [&](const auto& entry) {
        return m_handles.objects.isSame(entry.first, static_cast<CK_ULONG>(words[1]));
    });
    if (object == m_attributes.end() || attributes == nullptr) {
        return false;
    }
    const auto isKnown = [&](const CK_ATTRIBUTE& attribute) { return object->second.contains(attribute.type); };
    const std::span wanted(attributes, static_cast<std::size_t>(words[3]));
    if (!std::ranges::all_of(wanted, isKnown)) {
        return false;
    }
    result = CKR_OK;
    for (CK_ATTRIBUTE& attribute : wanted) {
        const KnownAttribute& known = object->second.at(attribute.type);
        const CK_RV filled = fillAttribute(attribute, known.entry);
        // A key keeps a value to itself with a result of its own.
        const bool isSensitive = filled == CKR_ATTRIBUTE_TYPE_INVALID && known.result == CKR_ATTRIBUTE_SENSITIVE;
        result = isSensitive ? known.result : filled == CKR_OK ? result : filled;
    }
    return true;
}

void Replay::complain(const std::string& text) const {
    say("p11replay", text);
}

} // namespace watch
