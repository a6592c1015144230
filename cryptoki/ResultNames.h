#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Names without the PKCS #11 types, for programs that read results in a trace and call no module.

namespace cryptoki {

/// The standard's name of a result, "CKR_PIN_INCORRECT"; its number, "result 0x80000001", where the standard has none.
[[nodiscard]] std::string resultName(std::uint32_t result);
/// The result that resultName gives this text for, also as "0x80000001" alone; nullopt for other texts.
[[nodiscard]] std::optional<std::uint32_t> resultNumber(std::string_view name) noexcept;

} // namespace cryptoki
