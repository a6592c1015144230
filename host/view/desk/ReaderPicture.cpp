#include "host/view/desk/ReaderPicture.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "host/plugin/Texts.h"
#include "host/view/Kinds.h"
#include "host/view/Shown.h"
#include "host/view/SvgPieces.h"
#include "host/view/desk/DeskFigures.h"

namespace host::view {

namespace {

using desk::AttemptRecord;
using desk::AttemptState;
using desk::Moment;

constexpr Moment kSecond = 1'000'000;
constexpr double kWidth = 1280;
constexpr double kGutter = 250;
constexpr double kRight = 24;
constexpr double kTop = 62;
constexpr double kRow = 24;
constexpr double kBar = 16;
constexpr double kLeastBar = 1.5;
constexpr double kLetter = 7; // about the width of a character, in wide fonts
constexpr double kTickDistance = 110;

/// From the best to the worst: of bars that share a pixel the worst shows.
struct StateRow {
    AttemptState state;
    const char* colour; ///< told apart without red and green, too
    const char* strokes;
};
constexpr std::array<StateRow, 6> kStates = {{
    {AttemptState::Done, "#009e73", ""},
    {AttemptState::Running, "#56b4e9", "M3 0V6"},
    {AttemptState::Replaced, "#a05fb4", "M0 3H6"},
    {AttemptState::Undone, "#8a94a3", "M0 6L6 0"},
    {AttemptState::Interrupted, "#e69f00", "M0 0L6 6"},
    {AttemptState::Failed, kFailureColour, "M0 6L6 0M0 0L6 6"},
}};

std::size_t placeOf(AttemptState state) {
    const auto row = std::find_if(kStates.begin(), kStates.end(), [&](const StateRow& r) { return r.state == state; });
    return static_cast<std::size_t>(row - kStates.begin());
}

/// The time of day, with the date where the picture shows several days.
std::string clockText(Moment moment, bool hasDays, bool hasSeconds) {
    const std::string text = instantText(nanosecondsOf(moment)); // "2026-01-31 12:00:00.…"
    return (hasDays ? text.substr(5, 6) : "") + text.substr(11, hasSeconds ? 8 : 5);
}

std::string shortened(const std::string& text, double width) {
    const std::string shown = printable(text);
    const auto room = static_cast<std::size_t>(width / kLetter);
    if (columns(shown) <= room) {
        return shown;
    }
    std::string begin;
    std::size_t count = 0;
    for (const char c : shown) {
        const bool isNewCharacter = (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
        if (isNewCharacter && ++count >= room) {
            break;
        }
        begin += c;
    }
    return begin + "\xE2\x80\xA6";
}

/// The pixels of moments: all busy periods, with a pause of the same width between each two.
class Axis {
public:
    explicit Axis(std::vector<Period> periods) : m_periods(std::move(periods)) {
        double length = 0;
        for (const Period& period : m_periods) {
            length += lengthOf(period);
        }
        const auto pauses = static_cast<double>(m_periods.size() - 1);
        const double pause = std::min(24.0, kWidth / 3 / std::max(pauses, 1.0));
        m_scale = (kWidth - kGutter - kRight - pauses * pause) / length;
        double x = kGutter;
        for (const Period& period : m_periods) {
            m_begins.push_back(x);
            x += lengthOf(period) * m_scale + pause;
        }
    }

    [[nodiscard]] double place(Moment moment) const {
        const auto after = std::upper_bound(m_periods.begin(), m_periods.end(), moment,
                                            [](Moment m, const Period& period) { return m < period.first; });
        const auto i = static_cast<std::size_t>(std::max<std::ptrdiff_t>(after - m_periods.begin(), 1) - 1);
        return m_begins[i] + static_cast<double>(moment - m_periods[i].first) * m_scale;
    }

    /// Moments of whole units of time that are far enough from each other.
    [[nodiscard]] std::vector<Moment> ticks() const {
        const Moment step = tickStep();
        std::vector<Moment> ticks;
        double last = -kTickDistance;
        for (const Period& period : m_periods) {
            for (Moment tick = (period.first + step - 1) / step * step; tick <= period.second; tick += step) {
                if (const double x = place(tick); x - last >= kTickDistance) {
                    ticks.push_back(tick);
                    last = x;
                }
            }
        }
        return ticks;
    }

    [[nodiscard]] bool hasDays() const {
        constexpr Moment kDay = 86400 * kSecond;
        return m_periods.front().first / kDay != m_periods.back().second / kDay;
    }
    [[nodiscard]] bool hasSeconds() const { return tickStep() < 60 * kSecond; }
    /// Where pauses were cut out.
    [[nodiscard]] std::vector<double> pauses() const {
        std::vector<double> places;
        for (std::size_t i = 1; i < m_periods.size(); ++i) {
            places.push_back((m_begins[i] + place(m_periods[i - 1].second)) / 2);
        }
        return places;
    }

private:
    static double lengthOf(const Period& period) {
        return static_cast<double>(std::max(period.second - period.first, kSecond));
    }

    [[nodiscard]] Moment tickStep() const {
        for (const Moment seconds : {1, 5, 10, 30, 60, 300, 600, 1800, 3600, 10800, 21600}) {
            if (static_cast<double>(seconds * kSecond) * m_scale >= kTickDistance) {
                return seconds * kSecond;
            }
        }
        return 86400 * kSecond;
    }

    std::vector<Period> m_periods;
    std::vector<double> m_begins;
    double m_scale = 0; ///< pixels of a microsecond
};

struct Bar {
    double from = 0;
    double to = 0;
    std::size_t state = 0; ///< in kStates
    std::size_t count = 0;
    const AttemptRecord* attempt = nullptr; ///< the first
};

class Picture {
public:
    explicit Picture(const desk::DeskRecord& record) : m_record(record), m_axis(busyPeriodsOf(record, kLongestPause)) {
        for (const desk::RowRecord& row : record.rows) {
            m_people[row.row] = &row.who;
        }
        for (const AttemptRecord& attempt : record.attempts) {
            m_readers[{attempt.station, attempt.reader}].push_back(&attempt);
        }
    }

    [[nodiscard]] std::string text() const {
        const double height = kTop + kRow * static_cast<double>(m_readers.size()) + 12;
        std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + number(kWidth) + " " +
                           number(height) + "\" role=\"img\" aria-label=\"Cards of each reader on a time axis\"" +
                           " font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\" fill=\"#1d2733\">\n" +
                           patterns() + legend() + grid(height - 12);
        double y = kTop;
        for (const auto& [name, attempts] : m_readers) {
            text += row(name.first, name.second, attempts, y);
            y += kRow;
        }
        return text + "</svg>\n";
    }

private:
    static std::string patterns() {
        std::string text = "<defs>\n";
        for (std::size_t i = 0; i < kStates.size(); ++i) {
            text += "<pattern id=\"s" + std::to_string(i) +
                    "\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\"><path d=\"M0 0H6V6H0Z\" fill=\"" +
                    kStates[i].colour + "\"/><path d=\"" + kStates[i].strokes +
                    "\" stroke=\"#ffffff\" stroke-opacity=\"0.55\"/></pattern>\n";
        }
        return text + "</defs>\n";
    }

    static std::string fillOf(std::size_t state) { return "url(#s" + std::to_string(state) + ")"; }

    static std::string legend() {
        std::string text;
        double x = kGutter;
        for (std::size_t i = 0; i < kStates.size(); ++i) {
            const std::string name = phraseFor(kStates[i].state);
            text += rectangle(x, 10, 14, 12, fillOf(i)) + "/>\n" + label(x + 19, 20, name);
            x += 46 + kLetter * static_cast<double>(name.size());
        }
        return text;
    }

    [[nodiscard]] std::string grid(double bottom) const {
        std::string text;
        for (const Moment tick : m_axis.ticks()) {
            const double x = m_axis.place(tick);
            const std::string time = clockText(tick, m_axis.hasDays(), m_axis.hasSeconds());
            const double last = kWidth - kLetter * static_cast<double>(time.size()) / 2;
            text += "<path d=\"M" + number(x) + " " + number(kTop - 8) + "V" + number(bottom) +
                    "\" stroke=\"#e6eaef\"/>\n" +
                    label(std::min(x, last), kTop - 14, time, " text-anchor=\"middle\" fill=\"#5b6775\"");
        }
        for (const double x : m_axis.pauses()) {
            text += "<path d=\"M" + number(x) + " " + number(kTop - 8) + "V" + number(bottom) +
                    "\" stroke=\"#8a94a3\" stroke-dasharray=\"3 3\"/>\n";
        }
        return text;
    }

    [[nodiscard]] std::string row(const std::string& station, const std::string& reader,
                                  const std::vector<const AttemptRecord*>& attempts, double y) const {
        const std::string name = station.empty() ? reader : station + ": " + reader;
        std::string text = label(8, y + 12, shortened(name, kGutter - 16));
        for (const Bar& bar : barsOf(attempts)) {
            text += rectangle(bar.from, y, bar.to - bar.from, kBar, fillOf(bar.state)) + "><title>" +
                    escaped(titleOf(bar)) + "</title></rect>\n";
        }
        return text;
    }

    [[nodiscard]] std::vector<Bar> barsOf(std::vector<const AttemptRecord*> attempts) const {
        std::stable_sort(attempts.begin(), attempts.end(),
                         [](const AttemptRecord* a, const AttemptRecord* b) { return a->begun < b->begun; });
        std::vector<Bar> bars;
        for (const AttemptRecord* const attempt : attempts) {
            const double from = m_axis.place(attempt->begun);
            // A line of the paper between two cards, where there is room for it.
            const double to = std::max(m_axis.place(endOf(*attempt, m_record.read)) - 0.5, from + kLeastBar);
            const std::size_t state = placeOf(attempt->state);
            if (!bars.empty() && from < bars.back().from + kLeastBar) {
                bars.back().to = std::max(bars.back().to, to);
                bars.back().state = std::max(bars.back().state, state);
                ++bars.back().count;
            } else {
                bars.push_back({from, to, state, 1, attempt});
            }
        }
        return bars;
    }

    [[nodiscard]] std::string titleOf(const Bar& bar) const {
        const char* const state = phraseFor(kStates[bar.state].state);
        if (bar.count > 1) {
            return std::to_string(bar.count) + " cards, the worst " + state;
        }
        const AttemptRecord& attempt = *bar.attempt;
        const auto person = m_people.find(attempt.row);
        return "Row " + std::to_string(attempt.row) + (person == m_people.end() ? "" : ", " + *person->second) + ": " +
               state + " in " + durationText(nanosecondsOf(endOf(attempt, m_record.read) - attempt.begun)) +
               (attempt.reason.empty() ? "" : "; " + attempt.reason);
    }

    const desk::DeskRecord& m_record;
    Axis m_axis;
    std::map<std::int64_t, const std::string*> m_people;
    std::map<std::pair<std::string, std::string>, std::vector<const AttemptRecord*>> m_readers;
};

} // namespace

std::string readerPictureOf(const desk::DeskRecord& record) {
    return record.attempts.empty() ? "" : Picture(record).text();
}

} // namespace host::view
