#pragma once

#include <algorithm>
#include <iterator>
#include <string>

#include "cryptoki/cryptoki.h"
#include "host/inspect/TokenView.h"
#include "host/plugin/Texts.h"

// What the structures of a module say, as texts and numbers.

namespace host {

/// A field's bytes up to its first zero byte, without the blanks that fill it.
template <class Byte, std::size_t Size>
[[nodiscard]] std::string fieldText(const Byte (&field)[Size]) {
    const auto* const end = std::find(std::begin(field), std::end(field), Byte{0});
    return std::string(trimmed(std::string(std::begin(field), end)));
}

/// "2.40"
[[nodiscard]] std::string versionText(const CK_VERSION& version);

/// The description as the plug-in names the reader: only the blanks at the end of the whole field are cut.
[[nodiscard]] std::string readerName(const CK_SLOT_INFO& info);

[[nodiscard]] TokenView tokenView(const CK_TOKEN_INFO& info);

} // namespace host
