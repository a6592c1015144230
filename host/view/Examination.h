#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/Answers.h"

namespace host {

/// How often a function was called, and for how long.
struct CallTimes {
    std::vector<std::uint64_t> nanoseconds;
    std::map<std::string, int> failures; ///< how often each result other than CKR_OK came
};

/// What came out of the examination of a module.
struct Examination {
    Json facts = Json::object();            ///< by name, as Examiner.h lists them; `slots` has all of `slot`
    std::map<std::string, CallTimes> calls; ///< by function
    std::string underWay;                   ///< the step that was not finished; empty when the examination ended
    std::chrono::nanoseconds waited{};      ///< for this step
    std::string end;                        ///< how the process came to its end, when the module ended it
    std::string stopped;                    ///< why the process was ended from here: "did not end within 120 s"
    bool isOverdue = false;                 ///< the step took longer than it may
    bool isInterrupted = false;             ///< a person did not wait for the step

    /// Takes one line of the report. Other lines are ignored: a module may print what it likes.
    void take(std::string_view line);
};

/// How long a step may take before the examination is ended, if nothing else is asked for.
inline constexpr std::chrono::seconds kStepLimit{120};

/// Runs `command`, a program that examines a module and prints the report of CallReport, and reads it to the end.
/// `onStep` gets each step before it is waited for. The program is ended hard when a step takes longer than `limit`, or
/// a line is longer than 16 MiB. PluginError when the program cannot be started.
[[nodiscard]] Examination runExamination(const std::vector<std::string>& command, std::chrono::milliseconds limit,
                                         const std::function<void(const std::string& step)>& onStep);

} // namespace host
