#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace host {

/// Where the healthy figures come from, for a report.
inline constexpr const char* kHealthySource =
    "medians of \"bench/run doctor\": SoftHSM2 2.6.1 on Linux, its token in memory, two busy processors";

/// How long a call of this function takes on a module that has nothing to wait for, in nanoseconds; nullopt for a
/// function that was not measured.
[[nodiscard]] std::optional<std::uint64_t> healthyTime(std::string_view function) noexcept;

/// A call is slow when a person notices it, from 100 ms on, and when it takes ten times as long as a healthy one.
[[nodiscard]] bool isSlow(std::string_view function, std::uint64_t nanoseconds) noexcept;

} // namespace host
