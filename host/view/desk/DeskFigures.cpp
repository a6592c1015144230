#include "host/view/desk/DeskFigures.h"

#include <algorithm>
#include <map>

namespace host::view {

namespace {

using desk::AttemptRecord;
using desk::DeskRecord;
using desk::Moment;
using desk::StepRecord;

struct Collected {
    StepTotal total;
    std::vector<std::int64_t> durations;
};

/// The value at this share of the sorted ones; of an even number the lower of the two in the middle.
std::int64_t atPercent(const std::vector<std::int64_t>& sorted, std::size_t percent) {
    const std::size_t rank = (sorted.size() * percent + 99) / 100;
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

StepTotal summed(Collected&& step) {
    std::sort(step.durations.begin(), step.durations.end());
    step.total.count = step.durations.size();
    if (!step.durations.empty()) {
        step.total.median = atPercent(step.durations, 50);
        step.total.percentile = atPercent(step.durations, 95);
        step.total.longest = step.durations.back();
    }
    return std::move(step.total);
}

/// A clock that was set back gives no negative duration.
void collect(const StepRecord& step, bool isUnderWay, Collected& collected) {
    collected.total.number = step.number;
    collected.total.name = step.name;
    if (step.ended && !step.hasFailed) {
        collected.durations.push_back(nanosecondsOf(std::max<Moment>(*step.ended - step.begun, 0)));
    } else if (!isUnderWay) {
        ++collected.total.failures;
    }
}

} // namespace

RowCounts countRows(const DeskRecord& record) {
    RowCounts counts;
    for (const desk::RowRecord& row : record.rows) {
        switch (row.state) {
        case desk::RowState::Waiting:
            ++counts.waiting;
            break;
        case desk::RowState::Running:
            ++counts.running;
            break;
        case desk::RowState::Done:
            ++counts.done;
            break;
        case desk::RowState::Failed:
            ++counts.failed;
            break;
        case desk::RowState::Dropped:
            ++counts.dropped;
            break;
        }
    }
    return counts;
}

std::vector<StepTotal> stepTotalsOf(const DeskRecord& record) {
    std::map<int, Collected> steps;
    for (const AttemptRecord& attempt : record.attempts) {
        for (const StepRecord& step : attempt.steps) {
            const bool isUnderWay = !step.ended && attempt.state == desk::AttemptState::Running;
            collect(step, isUnderWay, steps[step.number]);
        }
    }
    std::vector<StepTotal> totals;
    for (auto& [number, step] : steps) {
        totals.push_back(summed(std::move(step)));
    }
    return totals;
}

Moment endOf(const AttemptRecord& attempt, Moment now) {
    Moment end = attempt.begun;
    for (const StepRecord& step : attempt.steps) {
        end = std::max(end, step.ended.value_or(step.begun));
    }
    if (attempt.ended) {
        return std::max(end, *attempt.ended);
    }
    return attempt.state == desk::AttemptState::Running ? std::max(end, now) : end;
}

std::vector<Period> busyPeriodsOf(const DeskRecord& record, Moment longestPause) {
    std::vector<Period> all;
    for (const AttemptRecord& attempt : record.attempts) {
        all.emplace_back(attempt.begun, endOf(attempt, record.read));
    }
    std::sort(all.begin(), all.end());
    std::vector<Period> periods;
    for (const Period& period : all) {
        if (!periods.empty() && period.first - periods.back().second <= longestPause) {
            periods.back().second = std::max(periods.back().second, period.second);
        } else {
            periods.push_back(period);
        }
    }
    return periods;
}

const char* phraseFor(desk::AttemptState state) noexcept {
    switch (state) {
    case desk::AttemptState::Running:
        return "under way";
    case desk::AttemptState::Done:
        return "done";
    case desk::AttemptState::Failed:
        return "failed";
    case desk::AttemptState::Interrupted:
        return "interrupted";
    case desk::AttemptState::Undone:
        return "rolled back";
    case desk::AttemptState::Replaced:
        return "replaced";
    }
    return "";
}

} // namespace host::view
