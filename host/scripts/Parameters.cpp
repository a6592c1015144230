#include "host/scripts/Parameters.h"

#include <algorithm>
#include <array>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"

namespace host {

namespace {

using Zel::Parameter;
using Zel::ParameterEncoding;
using Zel::ParameterType;
using Zel::TString;

Parameter hexadecimal(const TString& id, const TString& digits) {
    return {ParameterEncoding::Hexadecimal, id, ParameterType::Raw, digits};
}

Parameter base64(const TString& id, const TString& text) {
    return {ParameterEncoding::Base64, id, ParameterType::Binary, text};
}

Parameter textOf(const TString& id, const WipedBytes& secret) {
    return hexadecimal(id, toHexadecimal(charactersOf(secret)));
}

struct Maker {
    ParameterKind kind;
    Parameter (*make)(const TString& id, std::string_view value);
};

Parameter promptFor(const TString& id, std::string_view question) {
    const std::string shown = printable(question.empty() ? toUtf8(id) : std::string(trimmed(question)));
    const bool hasEnd = !shown.empty() && (shown.back() == ':' || shown.back() == '?');
    return textOf(id, secretFromPrompt(shown + (hasEnd ? " " : ": ")));
}

const std::array<Maker, 8> kMakers = {{
    {{"text", "text:VALUE    the text's UTF-8 bytes, passed as hexadecimal text"},
     [](const TString& id, std::string_view value) { return hexadecimal(id, toHexadecimal(value)); }},
    {{"hex", "hex:VALUE     bytes as hexadecimal text, passed as it stands"},
     [](const TString& id, std::string_view value) { return hexadecimal(id, toTString(value)); }},
    {{"base64", "base64:VALUE  bytes as Base64 text, passed as it stands"},
     [](const TString& id, std::string_view value) { return base64(id, toTString(value)); }},
    {{"file", "file:PATH     the bytes of a file, passed as Base64 text"},
     [](const TString& id, std::string_view value) {
         return base64(id, toBase64(charactersOf(readFile(std::string(value)))));
     }},
    {{"env", "env:NAME      a secret from an environment variable, passed as text: does"},
     [](const TString& id, std::string_view value) { return textOf(id, secretFromEnvironment(std::string(value))); }},
    {{"prompt", "prompt:       a secret typed at the terminal without echo (text after the colon is the question)"},
     promptFor},
    {{"secret", "secret:PATH   a secret: the first line of a file"},
     [](const TString& id, std::string_view value) { return textOf(id, secretFromFile(std::string(value))); }},
    {{"fd", "fd:N          a secret: everything that descriptor N gives, without the line end"},
     [](const TString& id, std::string_view value) { return textOf(id, secretFromDescriptor(value)); }},
}};

std::vector<std::string> kindNames() {
    std::vector<std::string> names;
    for (const ParameterKind& kind : parameterKinds()) {
        names.emplace_back(kind.name);
    }
    return names;
}

/// Returns true when `text` could be the name of a kind, spelt right or wrong.
bool isWord(std::string_view text) {
    constexpr std::string_view kWordCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
    return text.size() >= 2 && text.size() <= 16 && text.find_first_not_of(kWordCharacters) == std::string_view::npos;
}

} // namespace

void refuseTooMany(std::size_t count, const std::string& what) {
    if (count > kMostParameters) {
        throw UsageError(what + " has " + std::to_string(count) + " parameters; " + std::to_string(kMostParameters) +
                         " are the most");
    }
}

const std::vector<ParameterKind>& parameterKinds() {
    static const std::vector<ParameterKind> kKinds = [] {
        std::vector<ParameterKind> kinds;
        for (const Maker& maker : kMakers) {
            kinds.push_back(maker.kind);
        }
        return kinds;
    }();
    return kKinds;
}

Parameter plainParameter(std::string_view id, std::string_view value) {
    return {ParameterEncoding::Plain, toTString(id), ParameterType::Text, toTString(value)};
}

Parameter fileParameter(std::string_view id, const WipedBytes& bytes) {
    return base64(toTString(id), toBase64(charactersOf(bytes)));
}

Parameter makeParameter(std::string_view id, std::string_view kind, std::string_view value) {
    const std::string name = printable(id);
    const auto* maker =
        std::find_if(kMakers.begin(), kMakers.end(), [&](const Maker& entry) { return entry.kind.name == kind; });
    if (maker == kMakers.end()) {
        throw UsageError(name + ": " + kindFault(kind));
    }
    try {
        return maker->make(toTString(id), value);
    } catch (const UsageError& error) {
        throw UsageError(name + ": " + error.what());
    }
}

std::string kindFault(std::string_view word) {
    const std::vector<std::string> kinds = kindNames();
    if (std::find(kinds.begin(), kinds.end(), word) != kinds.end()) {
        return "";
    }
    // The message shows the word only when it resembles a kind, because it may be the begin of a secret.
    const bool isSlip = std::any_of(kinds.begin(), kinds.end(), [&](const auto& kind) { return isSlipOf(word, kind); });
    const std::string what = isSlip ? "there is no kind \"" + printable(word) + "\"" + suggestion(word, kinds)
                                    : "the word before the value is no kind";
    return what + "; the kinds are " + joined(kinds);
}

WrittenParameter splitArgument(std::string_view argument) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        throw UsageError(std::string(equals == 0 ? "nothing stands before the \"=\"" : "there is no \"=\" in it") +
                         "; an argument is ID=VALUE, for example LABEL=text:card or PIN=prompt:");
    }
    WrittenParameter written = {argument.substr(0, equals), "", argument.substr(equals + 1)};
    const std::size_t colon = written.value.find(':');
    if (colon != std::string_view::npos && isWord(written.value.substr(0, colon))) {
        written.kind = written.value.substr(0, colon);
        written.value.remove_prefix(colon + 1);
    }
    return written;
}

Parameter readParameter(const WrittenParameter& written) {
    return written.kind.empty() ? plainParameter(written.id, written.value)
                                : makeParameter(written.id, written.kind, written.value);
}

Parameter readArgument(std::string_view argument) {
    return readParameter(splitArgument(argument));
}

ParameterList readArguments(const std::vector<std::string>& arguments) {
    refuseTooMany(arguments.size(), "the command");
    ParameterList list;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        try {
            list.add(readArgument(arguments[i]));
        } catch (const UsageError& error) {
            throw UsageError("argument " + std::to_string(i + 1) + ": " + error.what());
        }
    }
    return list;
}

} // namespace host
