#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace host::view {

/// What a call is about. The page and the picture give each kind a colour and a pattern.
enum class Kind : std::size_t { Module, Session, Login, Objects, Keys, Cryptography };

struct KindRow {
    const char* name;
    const char* colour; ///< told apart without red and green, too; red is for failures
};

inline constexpr std::array<KindRow, 6> kKinds = {{
    {"module and slots", "#8a94a3"},
    {"sessions", "#56b4e9"},
    {"PINs and login", "#e69f00"},
    {"objects", "#009e73"},
    {"keys", "#a05fb4"},
    {"cryptography", "#0b6cb8"},
}};

inline constexpr const char* kFailureColour = "#c8102e";

/// The kind of a function by its name, "C_Login"; Module for an unknown one.
[[nodiscard]] Kind kindOf(std::string_view function) noexcept;

/// Whether programs expect this result of the function in the course of their work, such as a buffer that is too small
/// when a length is asked for.
[[nodiscard]] bool isOftenExpected(std::string_view function, std::string_view result) noexcept;

} // namespace host::view
