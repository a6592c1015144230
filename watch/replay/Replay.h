#pragma once

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "watch/calls/Binding.h"
#include "watch/record/RecordReader.h"
#include "watch/replay/Matching.h"

namespace watch {

/// A record that answers calls.
///
/// Strict: the program makes the recorded calls in their order. Loose: each call is answered by the first recorded call
/// of the same function and arguments that was not played yet; else by the last one played; else, attributes by what
/// the record knows of the object; else by the nearest one, with the same session, object, slot, mechanism and user
/// type. Any other call answers CKR_FUNCTION_FAILED, and standard error says which it was.
class Replay {
public:
    /// Reads the environment and the record. Returns false when the record cannot be played; standard error says why.
    [[nodiscard]] bool load();
    /// Takes the calls of one process of a record: the one of this number, or that of the first line when it is empty.
    void take(std::vector<RecordedLine> lines, const std::string& process, bool isStrict);

    /// The functions that the recorded module's list lacks.
    [[nodiscard]] bool isAbsent(std::string_view function) const;

    [[nodiscard]] CK_RV call(FunctionId id, Words words) noexcept;

private:
    struct Step {
        RecordedLine line;
        bool isPlayed = false;
    };
    /// The calls of one function.
    struct Calls {
        std::vector<std::size_t> places; ///< in m_steps
        std::size_t next = 0;            ///< all before it are played
    };
    struct Outcome {
        CK_RV result = CKR_FUNCTION_FAILED;
        std::chrono::milliseconds delay{0};
    };
    /// What the record knows of an attribute, and the result of the call that read it.
    struct KnownAttribute {
        Json entry;
        CK_RV result = CKR_OK;
    };

    void add(RecordedLine line);
    void noteFunctionList(const RecordedLine& line);
    void noteAttributes(const RecordedLine& line);
    Outcome play(FunctionId id, Words words);
    std::chrono::milliseconds delayOf(const RecordedLine& line);
    Step* strictStep(FunctionId id, const Json& made);
    Step* looseStep(FunctionId id, const Json& made);
    Step* nearestStep(FunctionId id, const Json& made);
    bool answerAttributes(Words words, CK_RV& result) const;
    void complainOfMissing(const Function& function, const Json& made) const;
    void complain(const std::string& text) const;

    std::mutex m_mutex;
    std::string m_path;
    bool m_isStrict = false;
    bool m_hasDelays = false;
    std::chrono::nanoseconds m_owed{0}; ///< of all calls' time, what was not yet waited for
    std::vector<Step> m_steps;
    std::array<Calls, kFunctions.size()> m_byFunction;
    std::size_t m_next = 0;                                                            ///< of the strict mode
    std::map<std::uint64_t, std::map<CK_ATTRIBUTE_TYPE, KnownAttribute>> m_attributes; ///< by recorded object
    std::vector<std::string> m_absent;
    HandleMaps m_handles;
};

} // namespace watch
