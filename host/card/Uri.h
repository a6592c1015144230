#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace host {

/// A `pkcs11:` URI (RFC 7512) that names a token, and perhaps an object on it, a module and the source of a PIN. All
/// texts are decoded; what the URI does not name is not there.
struct Pkcs11Uri {
    std::optional<std::string> token;
    std::optional<std::string> manufacturer;
    std::optional<std::string> model;
    std::optional<std::string> serial;
    std::optional<std::string> slotDescription;
    std::optional<std::string> object; ///< a label
    std::optional<std::string> id;     ///< bytes
    std::optional<std::string> type;   ///< "cert", "private", "public", "data", "secret-key"
    std::optional<std::string> modulePath;
    std::optional<std::string> pinSource; ///< "file:PATH", a path, or "|PROGRAM"

    /// Returns true when a part of it chooses between tokens.
    [[nodiscard]] bool namesToken() const noexcept {
        return token || manufacturer || model || serial || slotDescription;
    }
};

/// Reads a URI. UsageError says which attribute is wrong: an unknown one, one that stands twice, a value with a
/// character that has to be encoded, a bad "%", and "pin-value", for a PIN never stands on a command line.
[[nodiscard]] Pkcs11Uri readUri(std::string_view text);

} // namespace host
