#include "host/plugin/Answers.h"

#include <algorithm>
#include <array>

#include "host/plugin/ClientCodes.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// A value that means more to a person with an explanation behind it.
struct Explanation {
    const char* id;
    const char* value;
    const char* text;
};

constexpr std::array<Explanation, 6> kExplanations = {{
    {"AUTHSTATE", "1", "logged in"},
    {"AUTHSTATE", "2", "not logged in"},
    {"AUTHSTATE", "3", "blocked"},
    {"LEFTPINTRY", "1", "the next wrong PIN locks it"},
    {"LEFTUNLOCKTRY", "1", "the next wrong PIN of the security officer locks it"},
    {"CARDSTATE", "1", "usable"},
}};

std::string explained(const std::string& id, const std::string& value) {
    for (const Explanation& explanation : kExplanations) {
        if (id == explanation.id && value == explanation.value) {
            return value + " (" + explanation.text + ")";
        }
    }
    // Counts are hexadecimal.
    const std::optional<unsigned int> count = id == "COUNT" ? parseClientCode(value) : std::nullopt;
    return count ? std::to_string(*count) : printable(value);
}

std::string shown(const Zel::Parameter& parameter) {
    const std::string value = toUtf8(parameter.getValue());
    return parameter.getEncodingEnum() == Zel::ParameterEncoding::Hexadecimal
               ? readableHexadecimal(value)
               : explained(toUtf8(parameter.getId()), value);
}

bool isReadable(const std::string& text) {
    // Text that `printable` has to change is not meant for a person.
    return printable(text) == text;
}

struct Explained {
    std::string reason;
    std::string remedy;
};

Explained reasonAndRemedy(const Circumstances& circumstances, const ParameterList& answer) {
    const std::optional<unsigned int> error = errorOf(answer);
    if (!error) {
        return {"the plug-in gave no result code",
                "The plug-in does not know this script; \"p11host scripts\" lists those that are known here."};
    }
    const Advice advice = *error == 0 ? adviceForSilence(circumstances) : adviceFor(*error, circumstances);
    const std::string result = advice.result.empty() ? "" : advice.result + ": ";
    const std::string code = *error == 0 ? "" : " (" + std::to_string(*error) + ")";
    return {result + advice.meaning + code, advice.remedy};
}

const char* remedyFor(const Thrown& thrown) {
    return thrown.message.find("PINID") == std::string::npos
               ? "\"--trace -\" shows what led to it."
               : "PINID is USER, the default, or SO for the security officer, in capitals.";
}

} // namespace

Json responseJson(const Zel::ClientOperationResponse* response) {
    if (response == nullptr) {
        return nullptr;
    }
    Json parameters = Json::array();
    const ParameterList& answer = response->getResponseParameters();
    for (std::uint32_t i = 0; i < answer.size(); ++i) {
        const Zel::Parameter& parameter = *answer.at(i);
        parameters.push_back({{"id", toUtf8(parameter.getId())},
                              {"encoding", static_cast<int>(parameter.getEncodingEnum())},
                              {"type", static_cast<int>(parameter.getTypeEnum())},
                              {"value", toUtf8(parameter.getValue())}});
    }
    return {{"id", toUtf8(response->getId())}, {"parameters", std::move(parameters)}};
}

Json thrownJson(const Thrown& thrown) {
    return {
        {"type", thrown.type}, {"code", thrown.code ? Json(*thrown.code) : Json(nullptr)}, {"message", thrown.message}};
}

std::string jsonLine(const Json& value) {
    std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (isObeyedByTerminals(text)) {
        text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    }
    return text + "\n";
}

std::string readableHexadecimal(const std::string& digits) {
    const std::optional<std::string> bytes = fromHexadecimal(digits);
    return bytes && isReadable(*bytes) ? std::string(trimmed(*bytes)) : printable(digits);
}

std::string readableAnswer(const ParameterList& answer) {
    std::string text;
    for (std::uint32_t i = 0; i < answer.size(); ++i) {
        const std::string id = toUtf8(answer.at(i)->getId());
        if (id != "ERROR") {
            text += printable(id) + ": " + shown(*answer.at(i)) + "\n";
        }
    }
    return text.empty() ? "done\n" : text;
}

std::string readableFailure(const Circumstances& circumstances, const ParameterList& answer) {
    const auto [reason, remedy] = reasonAndRemedy(circumstances, answer);
    return "p11host: " + circumstances.where + circumstances.script + " failed: " + reason + ".\n  " + remedy + "\n";
}

std::string failureMessage(const Circumstances& circumstances, const ParameterList& answer) {
    const auto [reason, remedy] = reasonAndRemedy(circumstances, answer);
    return reason + ". " + remedy;
}

std::string readableFailure(const std::string& what, const Thrown& thrown) {
    const std::optional<unsigned int> number = thrown.code ? parseClientCode(*thrown.code) : std::nullopt;
    const std::string code = number ? " (" + std::to_string(*number) + ")" : "";
    return "p11host: " + what + " failed: " + printable(thrown.message) + code + ", thrown as " +
           printable(thrown.type) + ".\n  " + remedyFor(thrown) + "\n";
}

} // namespace host
