#include <algorithm>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Sources.h"
#include "tests/fuzz/Targets.h"

namespace {

using Fuzz::require;

std::wstring textOf(const Zel::TString& text) {
    return {text.data(), text.length()};
}

void requireParameter(const Zel::Parameter& found, int encoding, int type, const std::wstring& value) {
    require(static_cast<int>(found.getEncodingEnum()) == encoding && static_cast<int>(found.getTypeEnum()) == type,
            "encoding and type are the kind's");
    require(textOf(found.getValue()) == value, "the value is the kind's");
}

bool isWord(const std::string& text) {
    return text.size() >= 2 && text.size() <= 16 && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                      c == '-';
           });
}

/// What has no colon behind a word is plain; of the kinds, those whose value stands in the argument itself are
/// compared.
void checkArgument(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    const bool isRefused = equals == std::string::npos || equals == 0;
    const std::string value = isRefused ? "" : argument.substr(equals + 1);
    const std::string kind = value.substr(0, std::min(value.find(':'), value.size()));
    const bool isPlain = value.find(':') == std::string::npos || !isWord(kind);
    const std::string rest = isPlain ? value : value.substr(kind.size() + 1);
    if (!isRefused && !isPlain && Fuzz::readsElsewhere(kind, rest)) {
        return;
    }
    const bool isKnown = isPlain || kind == "text" || kind == "hex" || kind == "base64";
    try {
        const Zel::Parameter found = host::readArgument(argument);
        require(!isRefused, "an argument without an id is refused");
        require(textOf(found.getId()) == Fuzz::wideOf(argument.substr(0, equals)), "the id stands before the sign");
        if (isPlain) {
            requireParameter(found, 2, 3, Fuzz::wideOf(value));
        } else if (kind == "text") {
            requireParameter(found, 4, 0, Fuzz::hexadecimalOf(rest));
        } else if (kind == "hex") {
            requireParameter(found, 4, 0, Fuzz::wideOf(rest));
        } else if (kind == "base64") {
            requireParameter(found, 1, 2, Fuzz::wideOf(rest));
        } else {
            require(Fuzz::isSource(kind), "a misspelt kind is refused");
        }
    } catch (const host::UsageError&) {
        require(isRefused || !isKnown, "an argument in order is read");
    }
}

void checkTexts(const std::string& bytes) {
    const std::string shown = host::printable(bytes);
    require(Fuzz::utf8Of(Fuzz::wideOf(shown)) == shown, "printable text is UTF-8");
    require(std::none_of(shown.begin(), shown.end(),
                         [](char c) { return (static_cast<unsigned char>(c) < 0x20) || c == 0x7F; }),
            "printable text has no control characters");
    require(host::printable(shown) == shown, "printable text stays as it is");
    require(textOf(host::toHexadecimal(bytes)) == Fuzz::hexadecimalOf(bytes), "hexadecimal text");
    require(textOf(host::toBase64(bytes)) == Fuzz::base64Of(bytes), "Base64 text");
    require(textOf(host::toTString(bytes)) == Fuzz::wideOf(bytes), "wide text");
    const std::optional<std::string> decoded = host::fromHexadecimal(bytes);
    const bool hasBlank = bytes.find_first_of(" \t\r\n") != std::string::npos;
    if (!bytes.empty() && !hasBlank) {
        require(decoded == Fuzz::bytesOfHexadecimal(std::wstring(bytes.begin(), bytes.end())), "bytes come back");
    }
    const std::vector<std::string> words = {"text", "hex", "base64", "getReaderList"};
    const std::optional<std::string> nearest = host::closest(bytes, words);
    require(!nearest || std::find(words.begin(), words.end(), *nearest) != words.end(), "a suggestion is a candidate");
}

} // namespace

void Fuzz::argument(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = Input(data, size).rest();
    checkArgument(bytes);
    checkTexts(bytes.substr(0, 200));
}
