#include "host/cli/desk/ProgressLines.h"

#include <array>

#include "host/plugin/Answers.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr std::array kEvents = {"begun",       "resumed",    "step",    "done", "failed",
                                "interrupted", "left-alone", "waiting", "note", "end"};

const char* nameOf(desk::Event::Kind kind) {
    return kEvents[static_cast<std::size_t>(kind)];
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

/// What happened, behind who it happened to.
std::string sentence(const desk::Event& event) {
    const std::string text = printable(firstLine(event.text));
    switch (event.kind) {
    case desk::Event::Kind::Begun:
        return "a card is begun";
    case desk::Event::Kind::Resumed:
        return "an interrupted card goes on";
    case desk::Event::Kind::Step:
        return event.step;
    case desk::Event::Kind::Done:
        return "the card is done";
    case desk::Event::Kind::Failed:
        return "FAILED: " + text;
    case desk::Event::Kind::Interrupted:
        return "interrupted: " + text;
    case desk::Event::Kind::LeftAlone:
        return "the card is left alone: " + text;
    default:
        return text;
    }
}

} // namespace

std::string linesOf(const desk::Event& event) {
    std::string line = event.reader.empty() ? "" : printable(event.reader) + ": ";
    if (event.row != 0) {
        line += "row " + std::to_string(event.row) + ", " + printable(event.who) + ": ";
    }
    line += sentence(event) + "\n";
    const std::size_t remedy = event.text.find('\n');
    if (remedy != std::string::npos) {
        line += "  " + printable(event.text.substr(remedy + 1)) + "\n";
    }
    return line;
}

void PlainProgress::tell(const desk::Event& event) {
    const std::string line = linesOf(event);
    const std::lock_guard<std::mutex> lock(m_mutex);
    // A reader of the lines who has gone does not end the batch.
    [[maybe_unused]] const bool isWritten = m_output.result(line);
}

void JsonProgress::tell(const desk::Event& event) {
    Json line = {{"event", nameOf(event.kind)}};
    if (!event.reader.empty()) {
        line["reader"] = event.reader;
    }
    if (event.row != 0) {
        line["row"] = event.row;
        line["who"] = event.who;
    }
    if (!event.step.empty()) {
        line["step"] = event.step;
    }
    if (!event.text.empty()) {
        line["text"] = firstLine(event.text);
    }
    const std::string text = jsonLine(line);
    const std::lock_guard<std::mutex> lock(m_mutex);
    [[maybe_unused]] const bool isWritten = m_output.result(text);
}

} // namespace host
