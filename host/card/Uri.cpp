#include "host/card/Uri.h"

#include <algorithm>
#include <array>
#include <vector>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr std::string_view kScheme = "pkcs11:";
constexpr std::string_view kUnreserved = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
constexpr std::string_view kInPath = ":[]@!$'()*+,=&";
constexpr std::string_view kInQuery = ":[]@!$'()*+,=/?|";

using Field = std::optional<std::string> Pkcs11Uri::*;

struct Attribute {
    const char* name;
    Field field;
};

constexpr std::array kPath = {Attribute{"token", &Pkcs11Uri::token},
                              Attribute{"manufacturer", &Pkcs11Uri::manufacturer},
                              Attribute{"model", &Pkcs11Uri::model},
                              Attribute{"serial", &Pkcs11Uri::serial},
                              Attribute{"slot-description", &Pkcs11Uri::slotDescription},
                              Attribute{"object", &Pkcs11Uri::object},
                              Attribute{"id", &Pkcs11Uri::id},
                              Attribute{"type", &Pkcs11Uri::type}};
constexpr std::array kQuery = {Attribute{"module-path", &Pkcs11Uri::modulePath},
                               Attribute{"pin-source", &Pkcs11Uri::pinSource}};
constexpr std::array kTypes = {"cert", "private", "public", "data", "secret-key"};

[[noreturn]] void refuse(const std::string& why) {
    throw UsageError("the URI cannot be used: " + why + "; write it as \"pkcs11:token=LABEL;serial=TEXT\"");
}

std::optional<unsigned int> digit(char character) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::size_t value =
        kDigits.find(character >= 'A' && character <= 'F' ? static_cast<char>(character + 32) : character);
    return value == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned int>(value));
}

std::string decoded(std::string_view name, std::string_view value, std::string_view reserved) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '%') {
            const std::optional<unsigned int> high = i + 2 < value.size() ? digit(value[i + 1]) : std::nullopt;
            const std::optional<unsigned int> low = i + 2 < value.size() ? digit(value[i + 2]) : std::nullopt;
            if (!high || !low) {
                refuse("in \"" + std::string(name) + "\" two hexadecimal digits must follow each %");
            }
            text += static_cast<char>(*high * 16 + *low);
            i += 2;
        } else if (kUnreserved.find(value[i]) == std::string_view::npos &&
                   reserved.find(value[i]) == std::string_view::npos) {
            refuse("in \"" + std::string(name) + "\" the character \"" + printable(value.substr(i, 1)) +
                   "\" has to be written as % and two hexadecimal digits");
        } else {
            text += value[i];
        }
    }
    return text;
}

template <std::size_t Size>
void readAttribute(Pkcs11Uri& uri, std::string_view attribute, const std::array<Attribute, Size>& known,
                   std::string_view reserved) {
    const std::size_t equals = attribute.find('=');
    const std::string_view name = attribute.substr(0, equals);
    if (name == "pin-value") {
        refuse("\"pin-value\" holds a PIN, which never stands on a command line; use --pin");
    }
    const auto* entry = std::find_if(known.begin(), known.end(), [&](const Attribute& a) { return a.name == name; });
    if (entry == known.end() || equals == std::string_view::npos) {
        std::vector<std::string> names;
        for (const Attribute& one : known) {
            names.emplace_back(one.name);
        }
        refuse("there is no attribute \"" + printable(name) + "\"" + suggestion(name, names) + " here; known are " +
               joined(names));
    }
    if ((uri.*(entry->field)).has_value()) {
        refuse("\"" + std::string(name) + "\" stands there twice");
    }
    uri.*(entry->field) = decoded(name, attribute.substr(equals + 1), reserved);
}

template <std::size_t Size>
void readAttributes(Pkcs11Uri& uri, std::string_view text, char separator, const std::array<Attribute, Size>& known,
                    std::string_view reserved) {
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        readAttribute(uri, text.substr(0, end), known, reserved);
        if (end != std::string_view::npos && end + 1 == text.size()) {
            refuse(std::string("nothing follows its last \"") + separator + "\"");
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

} // namespace

Pkcs11Uri readUri(std::string_view text) {
    std::string scheme(text.substr(0, kScheme.size()));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    if (scheme != kScheme) {
        refuse("it does not begin with \"pkcs11:\"");
    }
    text.remove_prefix(kScheme.size());
    const std::size_t question = text.find('?');
    Pkcs11Uri uri;
    readAttributes(uri, text.substr(0, question), ';', kPath, kInPath);
    if (question != std::string_view::npos) {
        readAttributes(uri, text.substr(question + 1), '&', kQuery, kInQuery);
    }
    if (uri.type && std::find(kTypes.begin(), kTypes.end(), *uri.type) == kTypes.end()) {
        refuse("the type is one of cert, private, public, data and secret-key");
    }
    return uri;
}

} // namespace host
