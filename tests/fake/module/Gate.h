#pragma once

#include "tests/fake/Function.h"
#include "tests/fake/module/State.h"

#include <array>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What stands between a caller and the model: the record, the answers, the hooks, and the function lists. Guarded by
// State::mutex.

namespace Fake {

enum class When : unsigned { Before, After };

struct Answer {
    CK_RV rv;
    When when;
};

struct Hook {
    void (*thunk)() = nullptr;
    void* context = nullptr;
};

/// What one call meets at the gate.
struct Passage {
    std::optional<Answer> answer;
    Hook hook;
};

class Gate {
public:
    void reset();

    // One call: counted first, then perhaps recorded, then let through.
    void countCall(Function function);
    [[nodiscard]] bool isRecording() const { return m_recording; }
    void record(std::string line) { m_lines.push_back(std::move(line)); }
    [[nodiscard]] Passage passage(Function function);

    std::vector<std::string>& lines() { return m_lines; }
    void setRecording(bool on) { m_recording = on; }
    [[nodiscard]] unsigned long count() const { return m_total; }
    [[nodiscard]] unsigned long count(Function function) const { return m_counts[index(function)]; }
    void restartCount();

    /// nullopt as answer: the calls pass.
    void queue(Function function, std::optional<Answer> answer, unsigned times);
    void always(Function function, Answer answer) { m_always[index(function)] = answer; }
    void atCall(unsigned long n, Answer answer) { m_byNumber[m_sequence + n] = answer; }
    void clearAnswers();
    void setHook(Function function, Hook hook) { m_hooks[index(function)] = hook; }

private:
    struct Queued {
        std::optional<Answer> answer;
        unsigned times;
    };

    static std::size_t index(Function function) { return static_cast<std::size_t>(function); }
    std::optional<Answer> nextAnswer(Function function);

    bool m_recording = true;
    std::vector<std::string> m_lines;
    unsigned long m_sequence = 0; ///< calls since reset; unlike the totals never restarted
    unsigned long m_total = 0;
    std::array<unsigned long, kFunctionCount> m_counts = {};
    std::map<unsigned long, Answer> m_byNumber;
    std::array<std::deque<Queued>, kFunctionCount> m_queues;
    std::array<std::optional<Answer>, kFunctionCount> m_always;
    std::array<Hook, kFunctionCount> m_hooks;
};

/// The one gate of this copy of the library.
Gate& gate();

/// The list that callers get: every function through the gate. Null when so told. Call these four under the lock.
CK_FUNCTION_LIST* publicList();
void setNullList(bool null);
void setNullEntry(Function function, bool null);
void restoreLists();

/// The model alone; its functions take the lock themselves.
const CK_FUNCTION_LIST* honestList();

/// C_GetFunctionList through the gate.
CK_RV getFunctionList(CK_FUNCTION_LIST** list);

} // namespace Fake
