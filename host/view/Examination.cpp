#include "host/view/Examination.h"

#include <array>
#include <optional>

#include "host/plugin/Errors.h"
#include "host/view/JsonFields.h"
#include "platform/Interruption.h"
#include "platform/Program.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

void Examination::take(std::string_view text) {
    const Json line = Json::parse(text, nullptr, false);
    if (!line.is_object()) {
        return;
    }
    if (line.contains("calling")) {
        underWay = textIn(line, "calling");
    } else if (line.contains("call")) {
        CallTimes& times = calls[textIn(line, "call")];
        times.nanoseconds.push_back(line.value("nanoseconds", std::uint64_t{0}));
        const std::string result = textIn(line, "result");
        times.failures[result] += result == "CKR_OK" ? 0 : 1;
    } else if (textIn(line, "fact") == "slot") {
        facts["slots"].push_back(line.value("value", Json()));
    } else if (line.contains("fact")) {
        facts[textIn(line, "fact")] = line.value("value", Json());
    }
}

Examination runExamination(const std::vector<std::string>& command,
                           const std::function<void(const std::string& step)>& onStep) {
    std::optional<platform::Program> program = platform::Program::start(command);
    if (!program) {
        throw PluginError("cannot start \"" + command.front() + "\": " + platform::Program::lastError());
    }
    Examination examination;
    examination.underWay = "starting the examination";
    std::string line;
    std::array<char, 4096> piece{};
    Clock::time_point begin = Clock::now();
    while (const std::size_t count = program->output().read(piece.data(), piece.size()).value_or(0)) {
        for (const char c : std::string_view(piece.data(), count)) {
            if (c != '\n') {
                line += c;
                continue;
            }
            const std::string before = examination.underWay;
            examination.take(line);
            line.clear();
            if (examination.underWay != before) {
                begin = Clock::now();
                onStep(examination.underWay);
            }
        }
    }
    examination.isInterrupted = platform::interruption() != 0;
    examination.waited = Clock::now() - begin;
    const int status = program->wait();
    if (examination.facts.contains("ended")) {
        examination.underWay.clear();
    } else if (!examination.isInterrupted) {
        const std::string end = platform::Program::describeEnd(status);
        examination.end = end.empty() ? "exit status " + std::to_string(status) : end;
    }
    return examination;
}

} // namespace host
