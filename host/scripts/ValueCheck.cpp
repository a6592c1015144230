#include "host/scripts/ValueCheck.h"

#include <algorithm>
#include <array>
#include <span>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Der.h"
#include "host/scripts/Secrets.h"
#include "text/Base64.h"
#include "text/Hexadecimal.h"

namespace host {

namespace {

constexpr std::size_t kTokenLabel = 32;

std::string hexadecimalFault(std::string_view digits) {
    if (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X") {
        return "\"0x\" does not belong to hexadecimal text; leave it out";
    }
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
        return "hexadecimal text has the digits 0 to 9 and A to F alone";
    }
    return digits.size() % 2 == 0 ? "" : "hexadecimal text has two digits for each byte, and here is an odd number";
}

/// Returns true for UTF-8 that somebody can type.
bool isTypeable(std::string_view bytes) {
    const Zel::TString text = toTString(bytes);
    return std::none_of(text.data(), text.data() + text.length(),
                        [](wchar_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xFFFD; });
}

std::string labelFault(std::string_view bytes, std::size_t limit) {
    if (bytes.find('\0') != std::string_view::npos) {
        return "a zero byte would end the text";
    }
    return bytes.size() <= limit ? ""
                                 : "it has " + std::to_string(bytes.size()) + " bytes, and a token's label has " +
                                       std::to_string(limit) + " at most";
}

bool isExponent(std::string_view bytes) {
    const std::size_t first = bytes.find_first_not_of('\0');
    const bool isOdd = (static_cast<unsigned char>(bytes.back()) & 1U) != 0;
    return isOdd && first != std::string_view::npos && (first + 1 < bytes.size() || bytes.back() != '\1');
}

/// What is wrong with the bytes that a value stands for.
std::string bytesFault(const ScriptParameter& row, std::string_view bytes) {
    if (bytes.empty()) {
        return "it is empty";
    }
    switch (row.kind) {
    case ValueKind::Secret:
        return isTypeable(bytes) ? "" : "it holds what nobody can type";
    case ValueKind::Label:
        return labelFault(bytes, bytes.size());
    case ValueKind::TokenLabel:
        return labelFault(bytes, kTokenLabel);
    case ValueKind::Name:
        return derFault(bytes, kDerSequence);
    case ValueKind::Number:
        return derFault(bytes, kDerInteger);
    case ValueKind::Certificate:
        return certificateFault(bytes);
    case ValueKind::PrivateKey:
        return privateKeyFault(bytes);
    case ValueKind::Exponent:
        return isExponent(bytes) ? "" : "a public exponent is an odd number above 1, usually base64:AQAB";
    default:
        return "";
    }
}

std::string_view view(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string base64Fault(const ScriptParameter& row, std::string_view value) {
    if (value.empty()) {
        return "it is empty";
    }
    const Zel::TString text = toTString(value);
    const SecretBuffer bytes = text::decodeBase64({text.data(), text.length()});
    return bytes.isNull() ? "this is not Base64 text" : bytesFault(row, view(bytes.bytes()));
}

/// Reads the file, and makes DER of PEM where DER is meant.
std::string fileFault(const ScriptParameter& row, CheckedParameter& parameter) {
    try {
        parameter.file = readFile(std::string(parameter.written.value));
    } catch (const UsageError& error) {
        return error.what();
    }
    WipedBytes& bytes = parameter.file;
    const bool isDer = row.kind == ValueKind::Certificate || row.kind == ValueKind::PrivateKey;
    if (isDer && isPem({bytes.data(), bytes.size()})) {
        const std::string fault = pemToDer(bytes, row.kind == ValueKind::Certificate ? "CERTIFICATE" : "PRIVATE KEY");
        if (!fault.empty()) {
            return fault;
        }
    }
    return bytesFault(row, {bytes.data(), bytes.size()});
}

std::string wordFault(const ScriptParameter& row, std::string_view word) {
    const std::vector<std::string> words = row.kind == ValueKind::Flag ? wordsOf("1|0") : wordsOf(row.words);
    if (row.kind == ValueKind::Setting || contains(words, word)) {
        return "";
    }
    return "there is no such value" + (row.kind == ValueKind::Flag ? "" : suggestion(word, words)) + "; write " +
           written(row);
}

/// What is wrong with the value, as far as it can be said without reading a secret.
std::string valueFault(const ScriptParameter& row, CheckedParameter& parameter) {
    const auto& [id, kind, value] = parameter.written;
    if (kind.empty()) {
        return wordFault(row, value);
    }
    if (kind == "text") {
        return bytesFault(row, value);
    }
    if (kind == "hex") {
        const std::string fault = hexadecimalFault(value);
        return fault.empty() ? digitsFault(row, toTString(value)) : fault;
    }
    if (kind == "base64") {
        return base64Fault(row, value);
    }
    return kind == "file" ? fileFault(row, parameter) : "";
}

/// In which form the script takes a value that a list gives by its encoding's number.
const char* kindOfListed(ValueKind kind, int encoding) {
    constexpr int kBase64 = 1;
    switch (kind) {
    case ValueKind::Keyword:
    case ValueKind::Flag:
    case ValueKind::Setting:
        return "";
    case ValueKind::Certificate:
    case ValueKind::PrivateKey:
    case ValueKind::Exponent:
        return "base64";
    default:
        return encoding == kBase64 ? "base64" : "hex";
    }
}

} // namespace

std::string rightWays(const ScriptParameter& row) {
    constexpr std::array<std::pair<std::string_view, const char*>, 8> kValues = {{{"prompt:", ""},
                                                                                  {"env:", "NAME"},
                                                                                  {"secret:", "PATH"},
                                                                                  {"fd:", "N"},
                                                                                  {"text:", "VALUE"},
                                                                                  {"hex:", "DIGITS"},
                                                                                  {"base64:", "VALUE"},
                                                                                  {"file:", "PATH"}}};
    const std::vector<std::string> ways = waysToWrite(row.kind);
    if (ways.front().empty()) {
        return written(row);
    }
    std::string text;
    for (std::size_t i = 0; i < ways.size(); ++i) {
        const auto* entry =
            std::find_if(kValues.begin(), kValues.end(), [&](const auto& v) { return v.first == ways[i]; });
        text += i == 0 ? "" : (i + 1 == ways.size() ? " or " : ", ");
        text.append(row.id).append("=").append(ways[i]).append(entry->second);
    }
    return text;
}

std::string digitsFault(const ScriptParameter& row, const Zel::TString& digits) {
    const SecretBuffer bytes = text::decodeHexadecimal({digits.data(), digits.length()});
    return bytesFault(row, view(bytes.bytes()));
}

std::string parameterFault(const ScriptParameter& row, CheckedParameter& parameter, Place place) {
    if (parameter.encoding) {
        parameter.written.kind = kindOfListed(row.kind, *parameter.encoding);
    }
    const std::string kind(parameter.written.kind);
    const std::string start = std::string(row.id) + ": ";
    const std::string unknown = kind.empty() ? "" : kindFault(kind);
    if (!unknown.empty()) {
        return start + unknown;
    }
    const std::vector<std::string> ways = waysToWrite(row.kind);
    const bool isRawPin = place == Place::Job && row.kind == ValueKind::Secret && kind == "hex";
    if (!isRawPin && !contains(ways, kind.empty() ? "" : kind + ":")) {
        return start + (kind.empty() ? "its kind is missing" : "it takes no " + kind + ":") + "; write " +
               rightWays(row);
    }
    const std::string fault = valueFault(row, parameter);
    return fault.empty() ? "" : start + fault;
}

} // namespace host
