#include "host/scripts/Check.h"

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
constexpr const char* kObjectType = "OBJ_TYPE";

struct Meant {
    std::string_view typed;
    std::vector<std::string> ids; ///< the first one that the script has
};

/// Ids of one script that are written for those of another, and words that a person may expect.
const std::array<Meant, 14>& meanings() {
    static const std::array<Meant, 14> kMeanings = {{
        {"KEYID", {"ID"}},
        {"ID", {"KEYID"}},
        {"PIN", {"INIT_KEY", "RECYCLE_KEY", "OLD_PIN"}},
        {"NEW_PIN", {"PIN"}},
        {"OLD_PIN", {"PIN", "UNLOCK_KEY", "INIT_KEY"}},
        {"SO_PIN", {"INIT_KEY", "RECYCLE_KEY", "UNLOCK_KEY"}},
        {"INIT_KEY", {"RECYCLE_KEY", "UNLOCK_KEY"}},
        {"UNLOCK_KEY", {"INIT_KEY", "RECYCLE_KEY"}},
        {"RECYCLE_KEY", {"INIT_KEY", "UNLOCK_KEY"}},
        {"SERIAL", {"SN"}},
        {"SERIAL_NUMBER", {"SN"}},
        {"CERTIFICATE", {"DATA"}},
        {"NAME", {"CONTAINER_NAME", "LABEL"}},
        {"SIZE", {"KEYSIZE"}},
    }};
    return kMeanings;
}

std::vector<std::string> idsOf(const Script& script, std::string_view object) {
    std::vector<std::string> ids;
    for (const ScriptParameter& parameter : script.parameters) {
        if (object.empty() || looksAt(parameter, object)) {
            ids.emplace_back(parameter.id);
        }
    }
    return ids;
}

bool contains(const std::vector<std::string>& list, std::string_view word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

std::string didYouMean(std::string_view id, const std::vector<std::string>& ids) {
    for (const Meant& entry : meanings()) {
        const auto meant =
            std::find_if(entry.ids.begin(), entry.ids.end(), [&](const auto& known) { return contains(ids, known); });
        if (entry.typed == id && meant != entry.ids.end()) {
            return " (did you mean \"" + *meant + "\"?)";
        }
    }
    return suggestion(id, ids);
}

/// An id that nobody knows is not shown: it may be a piece of a secret.
std::string unknownId(const Script& script, std::string_view id, std::string_view object) {
    const std::vector<std::string> ids = idsOf(script, object);
    const std::string meant = didYouMean(id, ids);
    const std::string name = script.name;
    if (ids.empty()) {
        return name + " takes no parameters";
    }
    const std::string what =
        meant.empty() ? "there is no such parameter" : printable(id) + ": no such parameter" + meant;
    return what + "; " + name + " takes " + joined(ids);
}

/// "ID=hex:DIGITS or ID=text:VALUE"
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

/// The fault of a parameter whose value is hexadecimal text: one from a secret's source, or with the kind "hex".
std::string digitsFault(const ScriptParameter& row, const Zel::TString& digits) {
    const SecretBuffer bytes = text::decodeHexadecimal({digits.data(), digits.length()});
    return bytesFault(row, view(bytes.bytes()));
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

/// In jobs the case of some ids does not count.
const ScriptParameter* findRow(const Script& script, std::string_view id, Place place = Place::Command) {
    const auto row =
        std::find_if(script.parameters.begin(), script.parameters.end(), [&](const ScriptParameter& entry) {
            return id == entry.id || (place == Place::Job && entry.anyCase && isSameWord(id, entry.id));
        });
    return row == script.parameters.end() ? nullptr : &*row;
}

using Parameters = std::vector<CheckedParameter>;

auto findParameter(const Parameters& parameters, std::string_view id) {
    return std::find_if(parameters.begin(), parameters.end(),
                        [&](const CheckedParameter& entry) { return entry.written.id == id; });
}

/// The OBJ_TYPE that decides what else the script looks at; empty when it is missing or unknown.
std::string objectOf(const Script& script, const Parameters& parameters) {
    const ScriptParameter* row = findRow(script, kObjectType);
    const auto given = findParameter(parameters, kObjectType);
    const bool isRight = row != nullptr && given != parameters.end() && given->written.kind.empty() &&
                         contains(wordsOf(row->words), given->written.value);
    return isRight ? std::string(given->written.value) : "";
}

std::string faultAt(const Script& script, Parameters& parameters, std::size_t index, const std::string& object,
                    Place place) {
    const std::string_view id = parameters[index].written.id;
    const ScriptParameter* row = findRow(script, id, place);
    if (row == nullptr) {
        return unknownId(script, id, object);
    }
    if (findParameter(parameters, id) != parameters.begin() + static_cast<std::ptrdiff_t>(index)) {
        return std::string(id) + ": it stands there twice";
    }
    if (!object.empty() && !looksAt(*row, object)) {
        return std::string(id) + ": it is not looked at with OBJ_TYPE=" + object + "; " + script.name + " takes " +
               joined(idsOf(script, object));
    }
    if (place == Place::Job && index > 0 && id == kObjectType && std::string_view(script.name) == "removeData") {
        return std::string(id) + ": it must stand first, for the script looks at the first parameter alone";
    }
    return parameterFault(*row, parameters[index], place);
}

/// Conditions that hang on OBJ_TYPE are left out as long as that is not right.
bool isMissing(const ScriptParameter& row, const Parameters& parameters, const std::string& object, Place place) {
    const bool isNeeded = row.need == Need::Always || (row.need == Need::Alone && place == Place::Command);
    return isNeeded && looksAt(row, object) &&
           std::none_of(parameters.begin(), parameters.end(), [&](const CheckedParameter& entry) {
               return entry.written.id == row.id || (row.anyCase && isSameWord(entry.written.id, row.id));
           });
}

} // namespace

std::vector<Fault> check(const Script& script, std::vector<CheckedParameter>& parameters, Place place) {
    std::vector<Fault> faults;
    const std::string object = objectOf(script, parameters);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        std::string text = faultAt(script, parameters, i, object, place);
        if (!text.empty()) {
            faults.push_back({i, std::move(text)});
        }
    }
    for (const ScriptParameter& row : script.parameters) {
        if (isMissing(row, parameters, object, place)) {
            faults.push_back({std::nullopt, std::string(row.id) + " is missing; write " + rightWays(row)});
        }
    }
    return faults;
}

namespace {

std::vector<CheckedParameter> split(const std::vector<std::string>& arguments, std::string& faults) {
    std::vector<CheckedParameter> parameters;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        try {
            parameters.push_back({splitArgument(arguments[i])});
        } catch (const UsageError& error) {
            faults += "argument " + std::to_string(i + 1) + ": " + error.what() + "\n";
        }
    }
    return parameters;
}

Zel::Parameter read(const CheckedParameter& parameter) {
    return parameter.file.empty() ? readParameter(parameter.written)
                                  : fileParameter(parameter.written.id, parameter.file);
}

/// Reads what has been checked. A secret is known only now.
Zel::Parameter readChecked(const ScriptParameter& row, const CheckedParameter& parameter) {
    Zel::Parameter result = read(parameter);
    if (result.getEncodingEnum() == Zel::ParameterEncoding::Hexadecimal) {
        const std::string fault = digitsFault(row, result.getValue());
        if (!fault.empty()) {
            throw UsageError(std::string(row.id) + ": " + fault);
        }
    }
    return result;
}

} // namespace

ParameterList readStrictly(const Script& script, const std::vector<std::string>& arguments, bool withReader) {
    std::string faults;
    std::vector<CheckedParameter> parameters = split(arguments, faults);
    if (faults.empty()) {
        for (const Fault& fault : check(script, parameters, Place::Command)) {
            const bool isAnswered = withReader && !fault.index && parameters.empty() &&
                                    std::string_view(script.name) == "getPlatformIdentifiers";
            const std::string where = fault.index ? "argument " + std::to_string(*fault.index + 1) + ": " : "";
            faults += isAnswered ? "" : where + fault.text + "\n";
        }
    }
    if (!faults.empty()) {
        throw UsageError(faults);
    }
    std::stable_partition(parameters.begin(), parameters.end(),
                          [](const CheckedParameter& entry) { return entry.written.id == kObjectType; });
    ParameterList list;
    for (const CheckedParameter& parameter : parameters) {
        list.add(readChecked(*findRow(script, parameter.written.id), parameter));
    }
    return list;
}

} // namespace host
