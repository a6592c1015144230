#include <string>
#include <string_view>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/view/CallReader.h"
#include "host/view/Pictures.h"
#include "host/view/Timeline.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// A record, and a trace behind the first zero byte. Both are what anybody may have sent.

namespace {

using Fuzz::require;
using host::view::Timeline;

/// Every call and script has its place on the axis, and stands in one row.
void requirePlaces(const Timeline& timeline) {
    std::size_t placed = 0;
    for (const host::view::ThreadBlock& block : timeline.threads) {
        for (const host::view::Lane& lane : block.lanes) {
            placed += lane.calls.size();
        }
    }
    require(placed == timeline.calls.size(), "each call stands in one row");
    for (const host::view::PlacedCall& call : timeline.calls) {
        require(call.shown >= 0 && call.shown + call.call.duration <= timeline.length, "a call is on the axis");
    }
    for (const host::view::Span& span : timeline.spans) {
        require(span.begin >= 0 && span.begin <= span.end && span.end <= timeline.length, "a script is on the axis");
    }
}

/// Lines of what a terminal and XML allow.
void requirePrintable(std::string text) {
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    require(host::printable(text) == text, "a text has no orders to the terminal");
}

void show(const Timeline& timeline) {
    requirePlaces(timeline);
    requirePrintable(host::view::tablesOf(timeline));
    requirePrintable(host::view::pictureOf(timeline));
    requirePrintable(host::view::pageOf(timeline));
}

} // namespace

void Fuzz::timeline(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = text.find('\0');
    try {
        host::view::Calls calls;
        host::view::addCalls(calls, text.substr(0, end), "record");
        if (!calls.all.empty()) {
            show(
                host::view::makeTimeline(std::move(calls), end == std::string_view::npos
                                                               ? host::view::Trace()
                                                               : host::view::readTrace(text.substr(end + 1), "trace")));
        }
    } catch (const host::UsageError& error) {
        require(*error.what() != '\0', "a refusal says why");
    }
}
