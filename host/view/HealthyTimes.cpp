#include "host/view/HealthyTimes.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

struct Healthy {
    std::string_view function;
    std::uint64_t nanoseconds;
};

constexpr std::array<Healthy, 15> kHealthy = {{
    {"C_GetFunctionList", 220},
    {"C_Initialize", 3'000'000},
    {"C_GetInfo", 1'100},
    {"C_GetSlotList", 770},
    {"C_GetSlotInfo", 22'000},
    {"C_GetTokenInfo", 75'000},
    {"C_GetMechanismList", 630},
    {"C_GetMechanismInfo", 730},
    {"C_OpenSession", 3'400},
    {"C_GetSessionInfo", 940},
    {"C_FindObjectsInit", 21'000},
    {"C_FindObjects", 800},
    {"C_FindObjectsFinal", 630},
    {"C_CloseSession", 2'500},
    {"C_Finalize", 33'000},
}};

} // namespace

std::optional<std::uint64_t> healthyTime(std::string_view function) noexcept {
    const auto* const found =
        std::find_if(kHealthy.begin(), kHealthy.end(), [&](const Healthy& row) { return row.function == function; });
    return found == kHealthy.end() ? std::nullopt : std::optional(found->nanoseconds);
}

bool isSlow(std::string_view function, std::uint64_t nanoseconds) noexcept {
    constexpr std::uint64_t kNoticed = 100'000'000;
    return nanoseconds >= kNoticed && nanoseconds >= 10 * healthyTime(function).value_or(0);
}

} // namespace host
