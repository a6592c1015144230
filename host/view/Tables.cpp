#include <algorithm>

#include "host/plugin/Texts.h"
#include "host/view/Pictures.h"
#include "host/view/Shown.h"
#include "host/view/Statistics.h"

namespace host::view {

namespace {

constexpr std::size_t kNameRoom = 20;
constexpr std::size_t kCountRoom = 7;
constexpr std::size_t kTimeRoom = 8;
constexpr std::size_t kWidth = kNameRoom + kCountRoom + 4 * kTimeRoom;

std::string right(const std::string& text, std::size_t room) {
    std::string cell;
    cell.append(room - std::min(room, columns(text)), ' ').append(text);
    return cell;
}

/// A name before columns; one that is too long has a line of its own.
std::string named(const std::string& name, std::size_t room) {
    std::string cell = printable(name);
    const std::size_t width = columns(cell);
    if (width >= room) {
        return cell.append("\n").append(room, ' ');
    }
    return cell.append(room - width, ' ');
}

std::string totalsTable(const Timeline& timeline) {
    std::string text = named("Function", kNameRoom) + right("count", kCountRoom);
    for (const char* head : {"sum", "median", "95 %", "longest"}) {
        text += right(head, kTimeRoom);
    }
    text += "\n";
    for (const Total& total : totalsOf(timeline)) {
        text += named(total.function, kNameRoom) + right(std::to_string(total.count), kCountRoom) +
                right(durationText(static_cast<std::int64_t>(total.sum)), kTimeRoom);
        for (const std::int64_t time : {total.median, total.percentile, total.longest}) {
            text += right(durationText(time), kTimeRoom);
        }
        text += "\n";
    }
    return text;
}

std::string failureLines(const Timeline& timeline) {
    std::string text;
    for (const FailureGroup& group : failuresOf(timeline)) {
        const PlacedCall& first = timeline.calls[group.first];
        text += "  " + printable(group.function) + " " + group.result + "\n    " + timesText(group.count) +
                ", first after " + durationText(first.call.time - timeline.start) +
                (group.isExpected ? "; often expected" : "") + "\n";
    }
    return text.empty() ? "" : "\nFailures:\n" + text;
}

std::string spanLines(const Timeline& timeline) {
    std::string text;
    for (const Span& span : timeline.spans) {
        std::string name(span.isCommand ? 0 : 2, ' ');
        name.append(span.name).append(span.error.empty() ? "" : ", ERROR " + span.error);
        text += named(name, kWidth - kCountRoom - 2 * kTimeRoom) + right(std::to_string(span.calls), kCountRoom) +
                right(durationText(span.inModule), kTimeRoom) + right(durationText(span.end - span.begin), kTimeRoom) +
                "\n";
    }
    if (text.empty()) {
        return text;
    }
    std::string head = "\n";
    head.append(named("Command, script", kWidth - kCountRoom - 2 * kTimeRoom)).append(right("calls", kCountRoom));
    return head.append(right("module", kTimeRoom)).append(right("all", kTimeRoom)).append("\n").append(text);
}

/// A paragraph in lines of the table's width.
std::string paragraph(const std::string& text) {
    std::string lines;
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        if (!line.empty() && columns(line) + 1 + columns(word) > kWidth) {
            lines.append(line).append("\n");
            line.clear();
        }
        line.append(line.empty() ? 0 : 1, ' ').append(word);
        at = end + 1;
    }
    return lines + line + "\n";
}

} // namespace

std::string summaryOf(const Timeline& timeline) {
    const std::int64_t span = timeline.segments.back().end;
    return countText(timeline.calls.size(), "call") + ", " + std::to_string(timeline.failures) + " failed; " +
           countText(timeline.processes, "process") + ", " + countText(timeline.threads.size(), "thread") + ", " +
           countText(timeline.sessions, "session") + "; from " + instantText(timeline.start) + ", " +
           durationText(span) + " long";
}

std::string tablesOf(const Timeline& timeline) {
    std::string text = paragraph(summaryOf(timeline));
    for (const std::string& note : timeline.notes) {
        text += paragraph(printable(note));
    }
    return text + "\n" + totalsTable(timeline) + spanLines(timeline) + failureLines(timeline);
}

} // namespace host::view
