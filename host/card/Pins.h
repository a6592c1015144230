#pragma once

#include <string>
#include <string_view>

#include "host/card/Token.h"

namespace host {

/// Where a PIN comes from.
struct PinSource {
    std::string kind = "prompt"; ///< "prompt", "env", "file", "fd" or "command"
    std::string value;           ///< behind the colon
};

/// Reads `prompt`, `env:NAME`, `file:PATH`, `fd:N` or `command:PROGRAM`. UsageError for anything else, which is not
/// repeated: it may be a PIN.
[[nodiscard]] PinSource readPinSource(std::string_view text);
/// The "pin-source" of a URI: `file:PATH`, a full path, or `|PROGRAM`.
[[nodiscard]] PinSource pinSourceOfUri(std::string_view text);

/// A PIN that is valid now, after its state was asked and found fit (see Token::guardPin). In a dry run nobody is asked
/// at a terminal; the PIN is then empty.
[[nodiscard]] WipedBytes readCurrentPin(const PinSource& source, PinRole role, Token& token);

/// A PIN that is to be set: typed twice at a terminal, checked against the token's lengths, and refused when it holds a
/// character that nobody can type. At a terminal a person may try three times. In a dry run nobody is asked; the PIN is
/// then empty.
[[nodiscard]] WipedBytes readNewPin(const PinSource& source, PinRole role, const Token& token);

/// The passphrase of a file. At a terminal `question` is asked.
[[nodiscard]] WipedBytes readPassphrase(const PinSource& source, const std::string& question, Person& person);

} // namespace host
