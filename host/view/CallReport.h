#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "host/plugin/Answers.h"

namespace host {

/// What an examination says while it goes on, as lines of JSON: each step before it is taken, so that a reader knows
/// which one ended the process or hangs, how each call ended and how long it took, and what was found.
///
///     CallReport report(write);
///     const auto rv = report.call("C_GetInfo", [&] { return functions->C_GetInfo(&info); });
///     report.fact("manufacturer", "Example");
///
///     {"calling":"C_GetInfo"}
///     {"call":"C_GetInfo","result":"CKR_OK","nanoseconds":1200}
///     {"fact":"manufacturer","value":"Example"}
class CallReport {
public:
    using Write = std::function<void(const std::string& line)>;

    explicit CallReport(Write write) : m_write(std::move(write)) {}

    /// A step that is no call of the module: "loading the module".
    void step(const std::string& name) const { m_write(jsonLine({{"calling", name}})); }
    void fact(const std::string& name, Json value) const {
        m_write(jsonLine({{"fact", name}, {"value", std::move(value)}}));
    }

    /// Announces `call`, makes it and reports its result, a CK_RV, which it returns.
    template <class Call>
    auto call(const char* name, Call&& call) const {
        step(name);
        const auto begin = std::chrono::steady_clock::now();
        const auto result = std::forward<Call>(call)();
        finish(name, static_cast<std::uint32_t>(result), std::chrono::steady_clock::now() - begin);
        return result;
    }

private:
    void finish(const char* name, std::uint32_t result, std::chrono::nanoseconds duration) const;

    Write m_write;
};

} // namespace host
