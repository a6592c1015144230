#include "host/view/Examination.h"

#include <array>
#include <optional>
#include <utility>

#include "host/plugin/Errors.h"
#include "host/view/JsonFields.h"
#include "platform/Interruption.h"
#include "platform/Program.h"
#include "platform/Streams.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestReportLine = std::size_t{16} << 20U;

/// What a program prints, read line by line as far as it may go.
class Reading {
public:
    Reading(std::chrono::milliseconds limit, const std::function<void(const std::string& step)>& onStep)
        : m_limit(limit), m_onStep(onStep) {
        m_result.underWay = "starting the examination";
    }

    void readAll(platform::InputStream& output) {
        std::array<char, 4096> piece{};
        const auto wait = [&](std::chrono::milliseconds left) { return output.waitFor(left); };
        while (m_result.stopped.empty() && isInTime(wait)) {
            const std::size_t count = output.read(piece.data(), piece.size()).value_or(0);
            if (count == 0) {
                return;
            }
            take({piece.data(), count});
        }
    }

    /// Waits for the program's end, which may be long behind that of its output: a module may close that.
    [[nodiscard]] Examination ended(platform::Program& program) && {
        const auto wait = [&](std::chrono::milliseconds left) { return program.waitFor(left); };
        if (!m_result.stopped.empty() || !isInTime(wait)) {
            program.end();
        }
        m_result.isInterrupted = platform::interruption() != 0;
        m_result.waited = Clock::now() - m_begin;
        const int status = program.wait();
        const bool isComplete = m_result.facts.contains("ended");
        if (isComplete && m_result.stopped.empty()) {
            m_result.underWay.clear();
        } else if (isComplete) {
            m_result.underWay = "ending the process";
        } else if (!m_result.isInterrupted) {
            const std::string end = platform::Program::describeEnd(status);
            m_result.end = end.empty() ? "exit status " + std::to_string(status) : end;
        }
        return std::move(m_result);
    }

private:
    /// `wait` waits for what is to happen, up to the time that the step has left.
    template <class Wait>
    bool isInTime(Wait wait) {
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_begin);
        if (passed < m_limit && wait(m_limit - passed)) {
            return true;
        }
        if (platform::interruption() == 0) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(m_limit).count();
            m_result.isOverdue = true;
            m_result.stopped = "did not end within " + std::to_string(seconds) + " s";
        }
        return false;
    }

    void take(std::string_view piece) {
        for (const char c : piece) {
            if (c != '\n') {
                m_line += c;
                continue;
            }
            takeLine();
            m_line.clear();
        }
        if (m_line.size() > kLongestReportLine) {
            m_result.stopped = "printed a line of more than 16 MiB into the report";
        }
    }

    void takeLine() {
        const std::string before = m_result.underWay;
        m_result.take(m_line);
        m_begin = Clock::now();
        if (m_result.underWay != before) {
            m_onStep(m_result.underWay);
        }
    }

    std::chrono::milliseconds m_limit;
    const std::function<void(const std::string& step)>& m_onStep;
    Examination m_result;
    std::string m_line;
    Clock::time_point m_begin = Clock::now();
};

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

Examination runExamination(const std::vector<std::string>& command, std::chrono::milliseconds limit,
                           const std::function<void(const std::string& step)>& onStep) {
    std::optional<platform::Program> program = platform::Program::start(command);
    if (!program) {
        throw PluginError("cannot start \"" + command.front() + "\": " + platform::Program::lastError());
    }
    Reading reading(limit, onStep);
    reading.readAll(program->output());
    return std::move(reading).ended(*program);
}

} // namespace host
