#pragma once

#include <string>
#include <string_view>

#include "host/plugin/Errors.h"
#include "host/x509/Bytes.h"
#include "host/x509/PrivateKey.h"
#include "text/Hexadecimal.h"

namespace tests {

inline constexpr const char* kName = "file \"x\"";

inline std::string hexadecimal(host::x509::ByteView bytes) {
    std::string digits(bytes.size() * 2, '\0');
    text::encodeHexadecimal(bytes, digits.data());
    return digits;
}

inline host::x509::AskPassphrase passphrase(std::string_view text) {
    return [text] { return WipedBytes(text.begin(), text.end()); };
}

/// For keys that are not encrypted.
inline host::x509::AskPassphrase noPassphrase() {
    return []() -> WipedBytes { throw host::UsageError("asked for a passphrase"); };
}

/// The message of the UsageError that `call` throws; "no error" without one.
template <class Call>
std::string errorOf(Call call) {
    try {
        (void)call();
    } catch (const host::UsageError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace tests
