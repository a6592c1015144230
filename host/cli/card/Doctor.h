#pragma once

#include <functional>
#include <string>

#include "host/cli/CardTable.h"
#include "host/plugin/Answers.h"
#include "host/view/Findings.h"

namespace host {

/// Gets each step of the write test before it begins: the module may end this process in it.
using BeforeStep = std::function<void(const std::string& step)>;

/// Issues and removes a test credential and puts what happened into `report`. Returns Success, or the status of the
/// first step that failed. CardFailure when nothing was written.
using WriteTest = ExitStatus (*)(CardRun& run, Json& report, const BeforeStep& beforeStep);

/// Examines the module of the command in a process of its own and answers with the report. Without `writeTest` the
/// build has none, and --write-test is refused.
void runDoctor(CardRun& run, WriteTest writeTest);

/// The row of the command that calls `run`, which calls runDoctor.
[[nodiscard]] CardCommand doctorRow(void (*run)(CardRun& run));

} // namespace host
