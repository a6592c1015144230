#include "tests/fake/module/Gate.h"

namespace Fake {

void Gate::reset() {
    m_recording = true;
    m_lines.clear();
    m_sequence = 0;
    restartCount();
    clearAnswers();
    m_hooks = {};
}

void Gate::restartCount() {
    m_total = 0;
    m_counts = {};
}

void Gate::countCall(Function function) {
    ++m_sequence;
    ++m_total;
    ++m_counts[index(function)];
}

Passage Gate::passage(Function function) {
    return {nextAnswer(function), m_hooks[index(function)]};
}

std::optional<Answer> Gate::nextAnswer(Function function) {
    if (!m_byNumber.empty()) {
        const auto found = m_byNumber.find(m_sequence);
        if (found != m_byNumber.end()) {
            const Answer answer = found->second;
            m_byNumber.erase(found);
            return answer;
        }
    }
    std::deque<Queued>& queue = m_queues[index(function)];
    if (queue.empty()) {
        return m_always[index(function)];
    }
    const std::optional<Answer> answer = queue.front().answer;
    if (--queue.front().times == 0) {
        queue.pop_front();
    }
    return answer;
}

void Gate::queue(Function function, std::optional<Answer> answer, unsigned times) {
    if (times != 0) {
        m_queues[index(function)].push_back({answer, times});
    }
}

void Gate::clearAnswers() {
    m_byNumber.clear();
    for (std::deque<Queued>& queue : m_queues) {
        queue.clear();
    }
    m_always = {};
}

Gate& gate() {
    static Gate instance;
    return instance;
}

} // namespace Fake
