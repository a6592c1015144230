#pragma once

#include <string>
#include <vector>

#include "host/scripts/JobReader.h"

namespace host {

/// A step with something wrong, found without carrying out anything.
struct JobFault {
    std::size_t step;  ///< its number, from 0
    std::string where; ///< "line 3", "step 2"
    std::string text;
};

/// How far a job is looked at.
enum class JobDepth {
    Shape, ///< whether its steps are steps: what `run` answers with "error" whatever else is there
    Whole, ///< also what the scripts take, which files are there, and which instances live
};

/// What looking at a job has shown.
struct JobReport {
    std::size_t steps = 0;
    std::vector<JobFault> faults; ///< in the order of the steps
};

/// Reads a job to its end. Nothing is called, nobody is asked for a secret, and no secret is read. UsageError as
/// JobReader.
[[nodiscard]] JobReport checkJob(JobReader& reader, JobDepth depth);

} // namespace host
