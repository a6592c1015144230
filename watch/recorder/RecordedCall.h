#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "watch/calls/ArgumentText.h"
#include "watch/calls/Binding.h"
#include "watch/calls/JsonLine.h"

namespace watch {

/// One call of the module on its way into the record: made before the module is called, finished after it.
///
///     RecordedCall call(id, words);
///     const CK_RV result = module.C_Login(...);
///     call.finish(result);
///
/// What goes wrong here (no record, no memory) never shows in the call.
class RecordedCall {
public:
    RecordedCall(FunctionId id, Words words) noexcept;
    /// A call that is not in the table: the caller writes the arguments.
    explicit RecordedCall(std::string_view name) noexcept;
    RecordedCall(const RecordedCall&) = delete;
    RecordedCall& operator=(const RecordedCall&) = delete;
    ~RecordedCall() = default;

    /// Writes the line.
    void finish(CK_RV result) noexcept;

    [[nodiscard]] bool isRecorded() const noexcept { return m_isRecorded; }
    /// Where a call that is not in the table writes "in" and "out", each as an object.
    [[nodiscard]] JsonLine& inputs() noexcept { return m_inputs; }
    [[nodiscard]] JsonLine& outputs() noexcept { return m_outputs; }

private:
    void start() noexcept;
    [[nodiscard]] bool isAboutOpenObject() noexcept;
    void write(CK_RV result, std::chrono::nanoseconds duration) noexcept;

    std::string_view m_name;
    std::optional<FunctionId> m_id; ///< none for a call that is not in the table
    Words m_words;
    bool m_isRecorded;
    std::uint64_t m_number = 0;
    std::chrono::system_clock::time_point m_time;
    std::chrono::steady_clock::time_point m_start;
    Rooms m_rooms;
    JsonLine m_inputs;
    JsonLine m_outputs;
};

} // namespace watch
