#include "host/scripts/JobStep.h"

#include <algorithm>
#include <array>
#include <limits>

#include "host/plugin/Calls.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

struct CallEntry {
    const char* name;
    Call call;
    std::vector<std::string> keys; ///< beside "call"
};

const std::array<CallEntry, 12>& calls() {
    static const std::array<CallEntry, 12> kCalls = {{
        {"newInstance", Call::NewInstance, {"as", "parameters"}},
        {"initialize", Call::Initialize, {"on", "accessParameters", "runtimeParameters"}},
        {"execute", Call::Execute, {"on", "operation"}},
        {"terminate", Call::Terminate, {"on"}},
        {"freeInstance", Call::FreeInstance, {"on"}},
        {"getVersion", Call::GetVersion, {"on"}},
        {"getType", Call::GetType, {"on"}},
        {"getName", Call::GetName, {"on"}},
        {"getDescription", Call::GetDescription, {"on"}},
        {"getSupportedScripts", Call::GetSupportedScripts, {"on"}},
        {"validate", Call::Validate, {"on"}},
        {"isLocal", Call::IsLocal, {"on"}},
    }};
    return kCalls;
}

std::string_view view(const WipedString& text) {
    return {text.data(), text.size()};
}

std::string inQuotes(std::string_view text) {
    return "\"" + printable(text) + "\"";
}

const char* typeName(const JobJson& value) {
    if (value.is_object()) {
        return "an object";
    }
    if (value.is_array()) {
        return "a list";
    }
    if (value.is_string()) {
        return "text";
    }
    if (value.is_null()) {
        return "null";
    }
    return value.is_boolean() ? "true or false" : "a number";
}

[[noreturn]] void refuse(const std::string& where, const char* expected, const JobJson& value) {
    throw UsageError(where + " must be " + expected + ", not " + typeName(value));
}

std::string_view textAt(const JobJson& value, const std::string& where) {
    if (!value.is_string()) {
        refuse(where, "text", value);
    }
    return view(value.get_ref<const WipedString&>());
}

/// The value of a key, null when the key is missing.
const JobJson* find(const JobJson& object, const char* key) {
    const auto entry = object.find(key);
    return entry == object.end() ? nullptr : &*entry;
}

Zel::TString textOr(const JobJson& object, const char* key, const std::string& where, const Zel::TString& otherwise) {
    const JobJson* value = find(object, key);
    return value == nullptr ? otherwise : toTString(textAt(*value, where + "." + key));
}

int numberOr(const JobJson& object, const char* key, const std::string& where, int otherwise) {
    const JobJson* value = find(object, key);
    if (value == nullptr) {
        return otherwise;
    }
    if (!value->is_number_integer()) {
        refuse(where + "." + key, "a whole number", *value);
    }
    const bool isHuge = value->is_number_unsigned() &&
                        value->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    if (isHuge || value->get<std::int64_t>() < std::numeric_limits<int>::min()) {
        throw UsageError(where + "." + key + " does not fit into 32 bits");
    }
    return value->get<int>();
}

void refuseUnknownKeys(const JobJson& object, const std::vector<std::string>& known, const std::string& where) {
    for (const auto& entry : object.items()) {
        const std::string key(view(entry.key()));
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            throw UsageError("unknown key " + inQuotes(key) + " in " + where + suggestion(key, known) + "; it takes " +
                             joined(known));
        }
    }
}

/// {"id":…,"encoding":…,"type":…,"value":…}
Zel::Parameter listedParameter(const JobJson& value, const std::string& where, const TakeParameter& take) {
    if (!value.is_object()) {
        refuse(where, "an object such as {\"id\":\"PINID\",\"value\":\"USER\"}", value);
    }
    refuseUnknownKeys(value, {"id", "encoding", "type", "value"}, where);
    for (const char* key : {"id", "value"}) {
        if (!value.contains(key)) {
            throw UsageError(where + " has no \"" + key + "\"");
        }
    }
    const std::pair<int, int> numbers = {numberOr(value, "encoding", where, 2), numberOr(value, "type", where, 3)};
    return take({{textAt(value["id"], where + ".id"), "", textAt(value["value"], where + ".value")}, numbers});
}

/// "ID":VALUE or "ID":{"KIND":VALUE}
Zel::Parameter namedParameter(std::string_view id, const JobJson& value, const std::string& where,
                              const TakeParameter& take) {
    if (value.is_string()) {
        return take({{id, "", textAt(value, where)}, std::nullopt});
    }
    if (!value.is_object() || value.size() != 1) {
        throw UsageError(where + "." + printable(id) + " must be text or one kind, such as {\"text\":\"...\"}");
    }
    const auto entry = value.begin();
    const std::string_view kind = view(entry.key());
    if (kind == "fd" && entry.value().is_number_unsigned()) {
        const std::string number = std::to_string(entry.value().get<std::uint64_t>());
        return take({{id, kind, number}, std::nullopt});
    }
    const std::string place = where + "." + printable(id) + "." + printable(kind);
    try {
        return take({{id, kind, textAt(entry.value(), place)}, std::nullopt});
    } catch (const UsageError& error) {
        throw UsageError(where + ": " + error.what());
    }
}

std::optional<ParameterList> parametersAt(const JobJson& object, const char* key, const std::string& where,
                                          const TakeParameter& take) {
    const JobJson* value = find(object, key);
    std::optional<ParameterList> list;
    if (value == nullptr || value->is_null()) {
        return list;
    }
    const std::string place = where.empty() ? key : where + "." + key;
    list.emplace();
    refuseTooMany(value->size(), place);
    if (value->is_array()) {
        for (std::size_t i = 0; i < value->size(); ++i) {
            list->add(listedParameter((*value)[i], place + "[" + std::to_string(i) + "]", take));
        }
    } else if (value->is_object()) {
        for (const auto& entry : value->items()) {
            list->add(namedParameter(view(entry.key()), entry.value(), place, take));
        }
    } else {
        refuse(place, "a list, an object or null", *value);
    }
    return list;
}

std::optional<OperationStep> operationAt(const JobJson& step, std::size_t number, const TakeParameter& take) {
    const JobJson* value = find(step, "operation");
    if (value == nullptr) {
        throw UsageError("\"execute\" has no \"operation\"; null passes none");
    }
    if (value->is_null()) {
        return std::nullopt;
    }
    if (!value->is_object()) {
        refuse("operation", "an object or null", *value);
    }
    refuseUnknownKeys(*value, {"id", "scriptType", "script", "parameters"}, "operation");
    if (!value->contains("script")) {
        throw UsageError("operation has no \"script\", such as \"getReaderList\"");
    }
    OperationStep operation;
    operation.id = textOr(*value, "id", "operation", toTString(std::to_string(number)));
    operation.scriptType = textOr(*value, "scriptType", "operation", kScriptType);
    operation.script = textOr(*value, "script", "operation", {});
    operation.parameters = parametersAt(*value, "parameters", "operation", take);
    return operation;
}

const CallEntry& callOf(const JobJson& step) {
    const JobJson* name = find(step, "call");
    if (name == nullptr) {
        throw UsageError("the step has no \"call\", such as {\"call\":\"getVersion\"}");
    }
    const std::string_view word = textAt(*name, "call");
    std::vector<std::string> names;
    for (const CallEntry& entry : calls()) {
        if (word == entry.name) {
            return entry;
        }
        names.emplace_back(entry.name);
    }
    throw UsageError("there is no call " + inQuotes(word) + suggestion(word, names) + "; the calls are " +
                     joined(names));
}

std::optional<std::string> instanceOf(const JobJson& step, Call call) {
    const char* key = call == Call::NewInstance ? "as" : "on";
    const JobJson* value = find(step, key);
    if (value == nullptr) {
        return "default";
    }
    if (value->is_null() && call == Call::FreeInstance) {
        return std::nullopt;
    }
    return std::string(textAt(*value, key));
}

} // namespace

Zel::Parameter readStepParameter(const StepParameter& parameter) {
    const auto& [written, numbers] = parameter;
    if (!numbers) {
        return readParameter(written);
    }
    return {static_cast<Zel::ParameterEncoding>(numbers->first), toTString(written.id),
            static_cast<Zel::ParameterType>(numbers->second), toTString(written.value)};
}

Step readStep(const JobJson& value, std::size_t number, const TakeParameter& take) {
    if (!value.is_object()) {
        refuse("a step", "an object such as {\"call\":\"getVersion\"}", value);
    }
    const CallEntry& entry = callOf(value);
    std::vector<std::string> keys = {"call"};
    keys.insert(keys.end(), entry.keys.begin(), entry.keys.end());
    refuseUnknownKeys(value, keys, std::string("a step \"") + entry.name + "\"");

    Step step;
    step.call = entry.call;
    step.name = entry.name;
    step.instance = instanceOf(value, entry.call);
    step.hasParameters = value.contains("parameters");
    step.parameters = parametersAt(value, "parameters", "", take);
    step.accessParameters = parametersAt(value, "accessParameters", "", take);
    step.runtimeParameters = parametersAt(value, "runtimeParameters", "", take);
    if (entry.call == Call::Execute) {
        step.operation = operationAt(value, number, take);
    }
    return step;
}

} // namespace host
