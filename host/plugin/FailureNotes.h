#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/RefusedLogouts.h"

struct RylogRecord;

namespace host {

/// A PKCS #11 call, or a step made of such calls, that the trace reports as failed.
struct FailedCall {
    std::string method;   ///< of the plug-in: "writeCertificate"
    std::string function; ///< "C_CreateObject", or a step: "login"
    std::uint32_t result = 0;
};

/// Reads "PKCS11Client::METHOD : FUNCTION 0xNN : failed" and its variants; nullopt when the line is not such a report.
[[nodiscard]] std::optional<FailedCall> readFailedCall(std::string_view line);

/// The parameter that "PKCS11Client::METHOD: ID parameter not found" or "…: Bad parameter ID: VALUE" refuses, as "PIN
/// is missing" or "PINID is bad"; nullopt when the line is not such a report. The result never contains the value.
[[nodiscard]] std::optional<std::string> readRefusedParameter(std::string_view line);

/// What went wrong inside the plug-in during one script.
struct Failures {
    std::vector<FailedCall> calls; ///< in their order, the last ones when there are many
    std::string parameter;         ///< "PIN is missing"; empty when no parameter was refused
    std::size_t removed = 0;       ///< objects that went, when removals are counted
};

/// Notes what the trace reports as failed on this thread while it lives, and says on standard error when a logout is
/// tried again and again. Make it, use it and let it go on one thread; an inner one takes over for its life.
///
///     FailureNotes notes;
///     notes.clear();
///     ... execute ...
///     const Failures failures = notes.failures();
class FailureNotes {
public:
    FailureNotes() noexcept;
    FailureNotes(const FailureNotes&) = delete;
    FailureNotes& operator=(const FailureNotes&) = delete;
    ~FailureNotes();

    void clear();
    /// As clear, and from now on counts the objects that are removed, which takes more of the trace.
    void countRemovals();
    [[nodiscard]] Failures failures() const;

private:
    static void receive(void* context, const RylogRecord* record);
    void note(std::string_view line);

    FailureNotes* m_outer; ///< of the same thread; null without one
    RefusedLogouts m_refusedLogouts;
    std::deque<FailedCall> m_calls;
    std::string m_parameter;
    std::size_t m_removed = 0;
};

} // namespace host
