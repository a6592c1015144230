#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "host/plugin/Texts.h"
#include "host/view/Kinds.h"
#include "host/view/Pictures.h"
#include "host/view/Shown.h"
#include "host/view/SvgPieces.h"

namespace host::view {

namespace {

constexpr double kWidth = 1280;
constexpr double kGutter = 190;
constexpr double kRight = 20;
constexpr double kTop = 92;
constexpr double kRow = 20;
constexpr double kBar = 14;
constexpr double kLetter = 6.2;    // about the width of a character
constexpr double kLeastStep = 0.5; // what begins and ends closer to the one before is not drawn
constexpr int kTicks = 8;
constexpr std::uint32_t kNoResult = ~std::uint32_t{0};
constexpr const char* kEndsHere = " text-anchor=\"end\"";

/// The begin of a text that fits; empty when less than three characters do.
std::string fitting(const std::string& text, double width) {
    const std::string shown = printable(text);
    const auto room = static_cast<std::size_t>(std::max(0.0, width / kLetter));
    return columns(shown) <= room ? shown : "";
}

class Picture {
public:
    explicit Picture(const Timeline& timeline) : m_timeline(timeline) {}

    std::string text() {
        drawAxis();
        for (const ThreadBlock& block : m_timeline.threads) {
            drawBlock(block);
        }
        drawGrid();
        const double height = m_y + 20;
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(kWidth) + "\" height=\"" + number(height) +
               "\" viewBox=\"0 0 " + number(kWidth) + " " + number(height) +
               "\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\"11\" fill=\"#1d2733\">\n" + patterns() +
               rectangle(0, 0, kWidth, height, "#ffffff") + "/>\n" + head() + m_grid + m_text + "</svg>\n";
    }

private:
    /// The place of a time on the axis, in pixels.
    [[nodiscard]] double place(std::int64_t shown) const {
        return kGutter +
               static_cast<double>(shown) / static_cast<double>(m_timeline.length) * (kWidth - kGutter - kRight);
    }

    /// Each kind has its pattern beside its colour: strokes of its own direction.
    static std::string patterns() {
        constexpr std::array<const char*, kKinds.size() + 1> kStrokes = {
            "", "M0 3H6", "M3 0V6", "M0 6L6 0", "M0 0L6 6", "M0 3H6M3 0V6", "M0 6L6 0M0 0L6 6"};
        std::string text = "<defs>\n";
        for (std::size_t i = 0; i < kStrokes.size(); ++i) {
            const char* colour = i < kKinds.size() ? kKinds[i].colour : kFailureColour;
            text += "<pattern id=\"k" + std::to_string(i) +
                    "\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\"><path d=\"M0 0H6V6H0Z\" fill=\"" +
                    colour + "\"/><path d=\"" + kStrokes[i] + "\" stroke=\"#ffffff\" stroke-opacity=\"0.55\"/>" +
                    "</pattern>\n";
        }
        return text + "</defs>\n";
    }

    static std::string fillOf(std::size_t pattern) { return "url(#k" + std::to_string(pattern) + ")"; }

    [[nodiscard]] std::string head() const {
        std::string text = label(20, 28, "PKCS #11 calls", " font-size=\"18\" font-weight=\"bold\"") +
                           label(20, 46, summaryOf(m_timeline));
        double x = 20;
        for (std::size_t i = 0; i <= kKinds.size(); ++i) {
            const std::string name = i < kKinds.size() ? kKinds[i].name : "failed";
            text += rectangle(x, 56, 14, 12, fillOf(i)) + "/>\n" + label(x + 19, 66, name);
            x += 40 + kLetter * static_cast<double>(name.size());
        }
        return text;
    }

    /// Places and times of the axis: round times, far enough from each other to be read.
    void drawAxis() {
        constexpr double kLeastDistance = 70;
        const double wanted = static_cast<double>(m_timeline.length) / kTicks;
        const double size = std::pow(10.0, std::floor(std::log10(wanted)));
        const double factor = wanted <= size ? 1 : (wanted <= 2 * size ? 2 : (wanted <= 5 * size ? 5 : 10));
        const auto step = std::max<std::int64_t>(static_cast<std::int64_t>(size * factor), 1);
        double last = -kLeastDistance;
        for (const Segment& segment : m_timeline.segments) {
            const std::int64_t first = (step - segment.begin % step) % step;
            for (std::int64_t offset = first; offset <= segment.end - segment.begin; offset += step) {
                const double x = place(segment.shown + offset);
                if (x - last >= kLeastDistance) {
                    m_axis.push_back(last = x);
                    m_text += label(x, kTop - 6, durationText(segment.begin + offset),
                                    " text-anchor=\"middle\" fill=\"#5b6775\"");
                }
            }
        }
    }

    void drawGridLine(double x, const std::string& look) {
        m_grid += "<path d=\"M" + number(x) + " " + number(kTop) + "V" + number(m_y - 8) + "\" " + look + "/>\n";
    }

    /// Round times, and pauses where they are far enough from each other to be seen.
    void drawGrid() {
        constexpr double kLeastDistance = 2;
        for (const double x : m_axis) {
            drawGridLine(x, "stroke=\"#e6eaef\"");
        }
        double last = 0;
        for (std::size_t i = 1; i < m_timeline.segments.size(); ++i) {
            const double x = place(m_timeline.segments[i].shown);
            if (x - last >= kLeastDistance) {
                drawGridLine(last = x, "stroke=\"#8a94a3\" stroke-dasharray=\"3 3\"");
            }
        }
    }

    void drawBlock(const ThreadBlock& block) {
        m_text +=
            label(20, m_y + 14, "Process " + std::to_string(block.process) + ", thread " + std::to_string(block.thread),
                  " font-weight=\"bold\"");
        m_y += kRow;
        drawSpans("Commands", block.commands);
        drawSpans("Scripts", block.scripts);
        for (const Lane& lane : block.lanes) {
            drawLane(lane);
        }
        m_y += 8;
        m_text += "<path d=\"M20 " + number(m_y - 4) + "H" + number(kWidth - kRight) + "\" stroke=\"#c9d1da\"/>\n";
    }

    void drawSpans(const char* name, const std::vector<std::size_t>& spans) {
        if (spans.empty()) {
            return;
        }
        m_text += label(32, m_y + 12, name, " fill=\"#5b6775\"");
        std::array<double, 2> drawn = {}; // where the last one that succeeded ends, and the last one that failed
        for (const std::size_t i : spans) {
            const Span& span = m_timeline.spans[i];
            const double end = std::max(place(span.end), place(span.begin) + 1.5);
            double& last = drawn[span.error.empty() ? 0 : 1];
            if (end >= last + kLeastStep) {
                drawSpan(span, end, spans.size() == 1);
                last = end;
            }
        }
        m_y += kRow;
    }

    void drawSpan(const Span& span, double end, bool isAlone) {
        const double x = place(span.begin);
        const bool hasFailed = !span.error.empty();
        m_text += rectangle(x, m_y + 1, end - x, kBar, hasFailed ? "#fbe4e7" : "#e4ebf3",
                            std::string(" rx=\"2\" stroke=\"") + (hasFailed ? kFailureColour : "#9fb0c3") + "\"") +
                  "><title>" + escaped(span.name) + "</title></rect>\n";
        const bool isInside = !fitting(span.name, end - x - 6).empty();
        const double need = kLetter * static_cast<double>(columns(printable(span.name))) + 6;
        const bool isBefore = !isInside && end + need > kWidth;
        const double from = isInside ? x + 4 : (isBefore ? x - 3 : end + 3);
        m_text += isInside || isAlone
                      ? label(from, m_y + 12, span.name, std::string(" font-size=\"10\"") + (isBefore ? kEndsHere : ""))
                      : "";
    }

    void drawLane(const Lane& lane) {
        std::string name = "No session";
        if (lane.sessions.size() == 1) {
            name = "Session " + std::to_string(lane.sessions.front().handle);
        } else if (!lane.sessions.empty()) {
            name = countText(lane.sessions.size(), "session");
        }
        m_text += label(32, m_y + 12, name, " fill=\"#5b6775\"");
        double drawn = 0;
        for (const SessionSpan& session : lane.sessions) {
            const double x = place(session.begin);
            const double end = std::max(place(session.end), x + 1);
            if (end >= drawn + kLeastStep) {
                m_text += rectangle(x, m_y - 1, end - x, kBar + 4, "#f0f3f7", " stroke=\"#dbe2ea\"") + "/>\n";
                drawn = end;
            }
        }
        drawBars(lane);
        m_y += kRow;
    }

    struct Bar {
        double from = 0;
        double to = -1;
        std::size_t pattern = 0;
        const Call* call = nullptr;
        std::size_t count = 0;
    };

    void drawBars(const Lane& lane) {
        Bar bar;
        double labelled = 0;
        std::map<std::pair<std::uint32_t, std::uint32_t>, double>
            taken; // the half pixel that each look has filled last
        for (const std::size_t i : lane.calls) {
            const PlacedCall& placed = m_timeline.calls[i];
            const Call& call = placed.call;
            const double from = place(placed.shown);
            const double to = std::max(place(placed.shown + call.duration), from + 0.8);
            const auto kind = static_cast<std::uint32_t>(kindOf(m_timeline.functions[call.function]));
            const std::size_t pattern = call.hasFailed ? kKinds.size() : kind;
            const auto look = call.hasFailed ? std::pair(call.function, call.result) : std::pair(kind, kNoResult);
            const auto [last, isFirst] = taken.try_emplace(look, std::floor(from * 2));
            if (!isFirst && to - from < 1 && last->second == std::floor(from * 2)) {
                continue;
            }
            last->second = std::floor(from * 2);
            const bool isSame =
                bar.count != 0 && bar.pattern == pattern && from <= bar.to + 0.2 &&
                (!call.hasFailed || (call.result == bar.call->result && call.function == bar.call->function));
            if (!isSame) {
                drawBar(bar, labelled);
                bar = {from, to, pattern, &call, 0};
            }
            bar.to = std::max(bar.to, to);
            ++bar.count;
        }
        drawBar(bar, labelled);
    }

    /// A failure that programs do not expect.
    [[nodiscard]] bool isNamed(const Bar& bar) const {
        return bar.call->hasFailed &&
               !isOftenExpected(m_timeline.functions[bar.call->function], m_timeline.results[bar.call->result]);
    }

    void drawBar(const Bar& bar, double& labelled) {
        if (bar.count == 0) {
            return;
        }
        const std::string& function = m_timeline.functions[bar.call->function];
        const std::string& result = m_timeline.results[bar.call->result];
        const std::string title = bar.count == 1 ? function + " " + result + ", " + durationText(bar.call->duration)
                                                 : std::to_string(bar.count) + " calls from " + function + " on";
        const double width = std::max(bar.to - bar.from, bar.call->hasFailed ? 2.5 : 0.8);
        // What programs expect is half as high, so that it does not hide the rest.
        const double lower = bar.call->hasFailed && !isNamed(bar) ? kBar / 2 : 0;
        m_text += rectangle(bar.from, m_y + 1 + lower, width, kBar - lower, fillOf(bar.pattern)) + "><title>" +
                  escaped(title) + "</title></rect>\n";
        if (isNamed(bar)) {
            nameFailure(bar, result, width, labelled);
        } else if (bar.count == 1 && !fitting(function, width - 6).empty()) {
            writeName(bar.from + 3, function, "#1d2733");
        }
    }

    /// Behind the bar, or before it at the picture's edge; nothing where another name stands.
    void nameFailure(const Bar& bar, const std::string& result, double width, double& labelled) {
        const double need = kLetter * static_cast<double>(columns(printable(result))) * 1.1 + 8; // bold
        const bool isBehind = bar.from + width + need < kWidth;
        if ((isBehind ? bar.from + width : bar.from - need) < labelled) {
            return;
        }
        if (isBehind) {
            writeName(bar.from + width + 3, result, kFailureColour);
        } else {
            writeName(bar.from - 3, result, kFailureColour, kEndsHere);
        }
        labelled = bar.from + width + (isBehind ? need : 0);
    }

    void writeName(double x, const std::string& name, const char* colour, const char* more = "") {
        m_text += label(x, m_y + 12, name,
                        std::string(" font-size=\"10\" font-weight=\"bold\" stroke=\"#ffffff\" stroke-width=\"3\" "
                                    "paint-order=\"stroke\" fill=\"") +
                            colour + "\"" + more);
    }

    const Timeline& m_timeline;
    std::string m_grid;
    std::string m_text;
    std::vector<double> m_axis;
    double m_y = kTop;
};

} // namespace

std::string pictureOf(const Timeline& timeline) {
    return Picture(timeline).text();
}

} // namespace host::view
