#pragma once

#include "tests/faults/matrix/Story.h"

namespace Faults {

/// A fresh executor brought to that state on the scripted module. Throws std::logic_error when it cannot be.
[[nodiscard]] Conformance::Executor begin(Start start);

/// Plays a story's request once on a fresh executor and the scripted module as after its reset, and checks everything
/// against `expected`: the calls, "ERROR", the outputs, the module's sessions and logins, what the executor holds (by
/// its next operations), and that all of it can be taken down. Empty when all is as expected, else what is not.
/// `answer` sets the module up just before the request.
[[nodiscard]] std::string play(const Story& story, const std::function<void(Fake::Module&)>& answer,
                               const Calls& expectedCalls, const std::string& expectedError,
                               const std::vector<Output>& expectedOutputs, const Now& expectedAfter);

/// The good run itself.
[[nodiscard]] std::string playGood(const Story& story);

/// The cell of one call and one code. CKR_OK lets the module act and changes nothing; every other code comes in place
/// of the module's work.
[[nodiscard]] std::string playCell(const Story& story, std::size_t step, CK_RV code);

} // namespace Faults
