#pragma once

#include <cstddef>
#include <cstdint>

#include "text/SecretBuffer.h"
#include "zel/Parameter.h"
#include "zel/TString.h"

// Conversions between the texts that cross the executor's border and the bytes that Cryptoki takes. A value is kept as
// plain text or, when it stands for bytes, as upper-case hexadecimal text with two digits a byte. Narrow text is always
// UTF-8. The only failure is std::bad_alloc.

/// The value in internal form, by the parameter's encoding: Base64 becomes hexadecimal text; text of a type other than
/// raw becomes the hexadecimal text of its UTF-8 bytes; plain and hexadecimal values stay as they are. Undecodable
/// Base64 and an unknown encoding give the empty text, the latter with a level-1 trace line.
[[nodiscard]] Zel::TString getValueFromEncoding(const Zel::Parameter& parameter);

/// Decode a text. For an undecodable text the buffer is null and `length` 0xFFFFFFFF; the empty text counts as
/// undecodable.
[[nodiscard]] SecretBuffer TStringB642Binary(const Zel::TString& text, std::uint32_t* length = nullptr);
[[nodiscard]] SecretBuffer TStringHex2Binary(const Zel::TString& text, std::uint32_t* length = nullptr);

/// Base64 without line breaks. For answers, which are public: the text is not wiped.
[[nodiscard]] Zel::TString Binary2TStringB64(const std::uint8_t* bytes, std::size_t length);
/// Upper-case hexadecimal, two digits a byte.
[[nodiscard]] Zel::TString Binary2TStringHex(const std::uint8_t* bytes, std::size_t length);

/// UTF-8 bytes, zero-terminated, up to the text's first zero character.
[[nodiscard]] SecretBuffer TString2Utf8(const Zel::TString& text);
[[nodiscard]] SecretBuffer WChar2Utf8(const wchar_t* wide);
/// Text of zero-terminated UTF-8.
[[nodiscard]] Zel::TString Utf82TString(const char* utf8);
/// Text of exactly `length` bytes of UTF-8, up to the first zero byte if there is one: for Cryptoki's blank-padded
/// fields without terminator.
[[nodiscard]] Zel::TString Utf82TString(const std::uint8_t* utf8, std::size_t length);

/// (encoding 4, id, type 0, hexadecimal text of the UTF-8 bytes).
[[nodiscard]] Zel::Parameter makeHexParameter(const Zel::TString& id, const char* utf8);
/// (encoding 4, id, type 0, value).
[[nodiscard]] Zel::Parameter makeParameter(const Zel::TString& id, const Zel::TString& value);
