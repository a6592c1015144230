#include "host/cli/desk/ProgressBlock.h"

#include <algorithm>

#include "host/plugin/Texts.h"

namespace host {

namespace {

using Clock = ProgressBlock::Clock;

constexpr std::size_t kStepWidth = 17; ///< "write-certificate"
constexpr std::size_t kTimeWidth = 11; ///< "59 min 59 s"
constexpr std::size_t kGap = 2;
constexpr std::size_t kWidestBar = 30;
constexpr std::size_t kNarrowestBar = 5;
/// Readers whose cards are finished and that are shown beside those that work.
constexpr std::size_t kMostFinished = 8;
/// Modules that give each card a reader of its own name would fill the memory.
constexpr std::size_t kMostKept = 256;
/// The rate is that of so many cards.
constexpr std::size_t kMarks = 32;

std::chrono::seconds secondsOf(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::seconds>(duration);
}

std::string rateText(double perMinute) {
    const auto tenths = static_cast<std::int64_t>(perMinute * 10 + 0.5);
    const std::string tenth = tenths < 100 ? "." + std::to_string(tenths % 10) : "";
    return std::to_string(tenths / 10) + tenth + " a minute";
}

std::string withoutEnd(std::string text) {
    text.resize(trimmed(text).size());
    return text;
}

/// Two columns share the room: each takes what it needs while both fit, else none less than half for the other's sake.
std::pair<std::size_t, std::size_t> shared(std::size_t first, std::size_t second, std::size_t room) {
    if (first + second <= room) {
        return {first, second};
    }
    const std::size_t half = room / 2;
    if (first <= half) {
        return {first, room - first};
    }
    return second <= half ? std::pair(room - second, second) : std::pair(room - half, half);
}

} // namespace

std::string durationText(std::chrono::seconds duration) {
    const auto seconds = duration.count();
    if (seconds < 60) {
        return std::to_string(seconds) + " s";
    }
    if (seconds < 600) {
        return std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
    }
    if (seconds < 3600) {
        return std::to_string(seconds / 60) + " min";
    }
    return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

void ProgressBlock::take(const desk::Event& event, Clock::time_point now) {
    switch (event.kind) {
    case desk::Event::Kind::Begun:
    case desk::Event::Kind::Resumed:
        return begin(event, now);
    case desk::Event::Kind::Step:
        if (Reader* const reader = readerOf(event.row)) {
            reader->step = event.step;
            reader->stepBegun = now;
        }
        return;
    case desk::Event::Kind::Done:
        end(event, "done", now);
        if (m_stand) {
            ++m_stand->done;
            mark(now);
        }
        return;
    case desk::Event::Kind::Failed:
        return end(event, "failed", now);
    case desk::Event::Kind::Interrupted:
        return end(event, "interrupted", now);
    default:
        return;
    }
}

void ProgressBlock::take(const desk::Stand& stand, Clock::time_point now) {
    m_stand = stand;
    mark(now);
}

void ProgressBlock::begin(const desk::Event& event, Clock::time_point now) {
    const std::string name = printable(event.reader);
    auto reader = std::find_if(m_readers.begin(), m_readers.end(), [&](const Reader& r) { return r.name == name; });
    if (reader == m_readers.end()) {
        const auto oldest =
            std::find_if(m_readers.begin(), m_readers.end(), [](const Reader& r) { return r.ended.has_value(); });
        if (m_readers.size() >= kMostKept && oldest != m_readers.end()) {
            m_readers.erase(oldest);
        }
        reader = m_readers.emplace(m_readers.end());
    }
    *reader = {name, event.row, printable(event.who), "begun", now, now, std::nullopt};
}

void ProgressBlock::end(const desk::Event& event, const char* how, Clock::time_point now) {
    if (Reader* const reader = readerOf(event.row)) {
        reader->step = how;
        reader->ended = now;
    }
}

/// A row is worked on by one reader at a time; the names of readers may change under way.
ProgressBlock::Reader* ProgressBlock::readerOf(std::int64_t row) {
    const auto reader =
        std::find_if(m_readers.begin(), m_readers.end(), [&](const Reader& r) { return !r.ended && r.row == row; });
    return reader == m_readers.end() ? nullptr : &*reader;
}

void ProgressBlock::mark(Clock::time_point now) {
    const std::int64_t finished = m_stand->done + m_stand->failed;
    if (!m_marks.empty() && m_marks.back().finished == finished) {
        return;
    }
    if (!m_marks.empty() && m_marks.back().finished > finished) {
        m_marks.clear(); // failed rows wait again
    }
    m_marks.push_back({now, finished});
    if (m_marks.size() > kMarks) {
        m_marks.pop_front();
    }
}

std::optional<double> ProgressBlock::finishedPerMinute() const {
    if (m_marks.size() < 2 || m_marks.back().when == m_marks.front().when) {
        return std::nullopt;
    }
    const std::chrono::duration<double, std::ratio<60>> minutes = m_marks.back().when - m_marks.front().when;
    return static_cast<double>(m_marks.back().finished - m_marks.front().finished) / minutes.count();
}

/// All where there is room. Else those that work, then those that ended last, in their own order.
std::vector<const ProgressBlock::Reader*> ProgressBlock::shown(std::size_t most) const {
    std::vector<const Reader*> ranked;
    for (const Reader& reader : m_readers) {
        ranked.push_back(&reader);
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const Reader* a, const Reader* b) {
        return !a->ended || !b->ended ? !a->ended && b->ended.has_value() : *a->ended > *b->ended;
    });
    const auto working = static_cast<std::size_t>(
        std::count_if(ranked.begin(), ranked.end(), [](const Reader* r) { return !r->ended; }));
    std::size_t count = std::min(ranked.size(), working + kMostFinished);
    if (count > most || count < ranked.size()) {
        count = std::min(count, most == 0 ? 0 : most - 1); // a line says how many more there are
    }
    ranked.resize(count);
    std::vector<const Reader*> chosen;
    for (const Reader& reader : m_readers) {
        if (std::find(ranked.begin(), ranked.end(), &reader) != ranked.end()) {
            chosen.push_back(&reader);
        }
    }
    return chosen;
}

std::vector<std::string> ProgressBlock::readerLines(const std::vector<const Reader*>& readers, std::size_t room,
                                                    Clock::time_point now) const {
    std::size_t widestName = 0;
    std::size_t widestWho = 0;
    for (const Reader* const reader : readers) {
        widestName = std::max(widestName, shownWidth(reader->name));
        widestWho = std::max(widestWho, shownWidth(reader->who));
    }
    constexpr std::size_t kRest = kGap + kGap + kStepWidth + kGap + kTimeWidth;
    const auto [name, who] = shared(widestName, widestWho, room > kRest ? room - kRest : 0);
    const std::string gap(kGap, ' ');
    std::vector<std::string> lines;
    for (const Reader* const reader : readers) {
        const Clock::duration time = reader->ended ? *reader->ended - reader->begun : now - reader->stepBegun;
        const std::string line = fitted(reader->name, name) + gap + fitted(reader->who, who) + gap +
                                 fitted(reader->step, kStepWidth) + gap + durationText(secondsOf(time));
        lines.push_back(withoutEnd(fitted(line, room)));
    }
    return lines;
}

std::string ProgressBlock::bar(std::size_t room, bool hasEnded) const {
    const std::int64_t finished = m_stand->done + m_stand->failed;
    std::string text = std::to_string(m_stand->done) + " of " + std::to_string(m_stand->total);
    text += m_stand->failed == 0 ? "" : ", " + std::to_string(m_stand->failed) + " failed";
    if (const std::optional<double> rate = finishedPerMinute()) {
        text += ", " + rateText(*rate);
        const double left = static_cast<double>(m_stand->total - finished) / *rate * 60;
        text += hasEnded ? "" : ", " + durationText(std::chrono::seconds(static_cast<std::int64_t>(left))) + " left";
    }
    const std::size_t used = text.size() + 3; // brackets and a blank
    if (m_stand->total > 0 && room >= used + kNarrowestBar) {
        const std::size_t width = std::min(room - used, kWidestBar);
        const std::size_t filled =
            width * static_cast<std::size_t>(finished) / static_cast<std::size_t>(m_stand->total);
        std::string marks(width, '-');
        std::fill_n(marks.begin(), filled, '#');
        text = std::string("[").append(marks).append("] ").append(text);
    }
    return withoutEnd(fitted(text, room));
}

std::vector<std::string> ProgressBlock::lines(const platform::TerminalWindow& window, Clock::time_point now) const {
    if (!m_stand) {
        return {};
    }
    const std::size_t room = std::max<std::size_t>(window.columns, 2) - 1;
    const std::size_t most = std::max<std::size_t>(window.lines, 2) - 2; // the bar, and the cursor's line
    const std::vector<const Reader*> readers = shown(most);
    std::vector<std::string> lines = readerLines(readers, room, now);
    if (readers.size() < m_readers.size() && most > 0) {
        const std::string more = "and " + std::to_string(m_readers.size() - readers.size()) + " more readers";
        lines.push_back(withoutEnd(fitted(more, room)));
    }
    lines.push_back(bar(room, false));
    return lines;
}

std::vector<std::string> ProgressBlock::lastLines(const platform::TerminalWindow& window) const {
    return m_stand ? std::vector{bar(std::max<std::size_t>(window.columns, 2) - 1, true)} : std::vector<std::string>();
}

} // namespace host
