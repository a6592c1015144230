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

/// How deep a job is checked.
enum class JobDepth {
    Shape, ///< only whether each step is well formed; `run` answers the others with "error"
    Whole, ///< also what the scripts take, which files are there, and which instances live
};

/// The result of checking a job.
struct JobReport {
    std::size_t steps = 0;
    std::vector<JobFault> faults; ///< in the order of the steps
};

/// Reads a job to its end. Nothing is called, nobody is asked for a secret, and no secret is read. UsageError as
/// JobReader.
[[nodiscard]] JobReport checkJob(JobReader& reader, JobDepth depth);

} // namespace host
