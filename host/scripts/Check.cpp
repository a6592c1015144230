#include "host/scripts/Check.h"

#include <algorithm>
#include <array>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

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

/// In jobs the case of some ids does not count.
const ScriptParameter* findRow(const Script& script, std::string_view id, Place place = Place::Command) {
    const auto row =
        std::find_if(script.parameters.begin(), script.parameters.end(), [&](const ScriptParameter& entry) {
            return id == entry.id || (place == Place::Job && entry.anyCase && isSameWord(id, entry.id));
        });
    return row == script.parameters.end() ? nullptr : &*row;
}

using CheckedParameters = std::vector<CheckedParameter>;

auto findParameter(const CheckedParameters& parameters, std::string_view id) {
    return std::find_if(parameters.begin(), parameters.end(),
                        [&](const CheckedParameter& entry) { return entry.written.id == id; });
}

/// The OBJ_TYPE that decides what else the script looks at; empty when it is missing or unknown.
std::string objectOf(const Script& script, const CheckedParameters& parameters) {
    const ScriptParameter* row = findRow(script, kObjectType);
    const auto given = findParameter(parameters, kObjectType);
    const bool isRight = row != nullptr && given != parameters.end() && given->written.kind.empty() &&
                         contains(wordsOf(row->words), given->written.value);
    return isRight ? std::string(given->written.value) : "";
}

std::string faultAt(const Script& script, CheckedParameters& parameters, std::size_t index, const std::string& object,
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
bool isMissing(const ScriptParameter& row, const CheckedParameters& parameters, const std::string& object,
               Place place) {
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
