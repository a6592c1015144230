#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace host {

/// How a PIN stands, by the token's flags. A token that keeps no such flags shows Fine.
enum class PinState { Fine, WasWrong, LastTry, Locked, ToBeChanged };

/// Memory of a token in bytes; nothing where the token does not tell.
struct MemoryView {
    std::optional<std::uint64_t> total;
    std::optional<std::uint64_t> free;
};

/// What a token says of itself. Texts are the bytes up to the first zero byte without blanks at the end; they should be
/// UTF-8, but a module may answer anything.
struct TokenView {
    std::string label;
    std::string manufacturer;
    std::string model;
    std::string serial;
    std::string hardwareVersion; ///< "1.0"
    std::string firmwareVersion;
    bool isInitialised = false;
    bool isReadOnly = false;
    bool needsLogin = false;
    bool hasUserPin = false;
    bool hasPinPad = false; ///< PINs are typed at the reader
    PinState userPin = PinState::Fine;
    PinState officerPin = PinState::Fine;
    std::uint64_t shortestPin = 0; ///< in bytes
    std::optional<std::uint64_t> longestPin;
    MemoryView publicMemory;
    MemoryView privateMemory;
};

/// A reader as the module knows it.
struct SlotView {
    std::uint64_t id = 0;
    std::string name;               ///< the description's bytes, as the plug-in names the reader
    std::optional<TokenView> token; ///< nothing: there is no token, or it does not answer
    bool hasAnswered = true;        ///< false: a token is there and its information cannot be read
};

/// The one word for a token's state: the first that holds of absent, blank, so-pin-locked, user-pin-locked,
/// no-user-pin, last-try (the user's), read-only and ready.
[[nodiscard]] const char* stateOf(const SlotView& slot);
/// "fine", "was wrong", "last try", "locked", "to be changed".
[[nodiscard]] const char* nameOf(PinState state);

} // namespace host
