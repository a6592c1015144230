#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host::desk {

/// Microseconds since the Unix epoch, UTC.
using Moment = std::int64_t;

enum class RowState { Waiting, Running, Done, Failed, Dropped };

/// A person of the list.
struct RowRecord {
    std::int64_t row = 0; ///< number in the list, from 1
    std::string who;      ///< the value of the list's first column, UTF-8
    RowState state = RowState::Waiting;
    std::string reason; ///< of the last failure; empty without one
    std::string remedy; ///< what a person can do about it
};

/// Undone: it failed, and what was made was removed or erased. Replaced: its card was issued and then lost.
enum class AttemptState { Running, Done, Failed, Interrupted, Undone, Replaced };

/// One step of one attempt. A step that is not there was never begun.
struct StepRecord {
    int number = 0;   ///< in the plan, from 1
    std::string name; ///< "generate-key"
    Moment begun = 0;
    std::optional<Moment> ended; ///< none: it was under way when its process ended
    bool hasFailed = false;
};

/// A card on its way to a person. A row has several when one failed, was interrupted, or was lost and issued anew.
struct AttemptRecord {
    std::int64_t attempt = 0; ///< unique in the desk
    std::int64_t row = 0;
    AttemptState state = AttemptState::Running;
    std::string station; ///< who last worked on it
    std::string reader;  ///< as shown to a person
    std::string serial;  ///< of the card; empty until it has one
    Moment begun = 0;
    std::optional<Moment> ended;
    std::string reason; ///< why it is not done; empty for Done and Running
    std::string remedy;
    std::vector<StepRecord> steps; ///< in the order in which they began
};

/// A certificate that was (or may have been) signed and is on no good card.
struct RevocationRecord {
    std::int64_t row = 0;
    std::int64_t attempt = 0;
    std::string certificate; ///< PEM; empty: the authority may have signed one, but its answer never came
    std::string reason;
    Moment noted = 0;
};

/// Everything that a desk's journal holds, at one moment.
struct DeskRecord {
    std::string plan;                    ///< the plan's name
    std::vector<std::string> steps;      ///< names of the plan's steps in their order
    Moment read = 0;                     ///< when this was read
    std::vector<RowRecord> rows;         ///< by number
    std::vector<AttemptRecord> attempts; ///< by number
    std::vector<RevocationRecord> revocations;
};

} // namespace host::desk
