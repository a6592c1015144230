#include "watch/replay/Matching.h"

#include <algorithm>

#include "watch/record/Values.h"

namespace watch {

namespace {

bool isSameAttribute(const Json& recorded, const Json& made) {
    if (attributeType(recorded) != attributeType(made)) {
        return false;
    }
    const Json& value = memberOf(recorded, "value");
    const Json& madeValue = memberOf(made, "value");
    if (value == "masked" || madeValue == "masked") {
        return memberOf(recorded, "length") == memberOf(made, "length");
    }
    return value == madeValue;
}

/// Of a template that the module fills only the types count, and where it has buffers.
bool isSameQuery(const Json& recorded, const Json& made) {
    return attributeType(recorded) == attributeType(made) && recorded.is_object() && made.is_object() &&
           recorded.contains("value") == made.contains("value");
}

/// Its parameter's numbers count. Lengths do not: structures of two systems differ in them.
bool isSameMechanism(const Json& recorded, const Json& made) {
    if (memberOf(recorded, "type") != memberOf(made, "type")) {
        return false;
    }
    Json parameter = memberOf(recorded, "parameter");
    Json madeParameter = memberOf(made, "parameter");
    for (Json* const one : {&parameter, &madeParameter}) {
        if (one->is_object()) {
            one->erase("length");
        }
    }
    return parameter == madeParameter;
}

template <class Same>
bool isSameList(const Json& recorded, const Json& made, Same same) {
    return recorded.is_array() && made.is_array() ? std::ranges::equal(recorded, made, same) : recorded == made;
}

bool isSameArgument(Kind kind, const Json& recorded, const Json& made, const HandleMaps& handles) {
    switch (kind) {
    case Kind::Session:
        return recorded.is_number_unsigned() && handles.sessions.isSame(recorded.get<std::uint64_t>(), numberOf(made));
    case Kind::Object:
        return recorded.is_number_unsigned() && handles.objects.isSame(recorded.get<std::uint64_t>(), numberOf(made));
    case Kind::Slot:
        return numberOf(recorded) == numberOf(made);
    case Kind::Initialize:
    case Kind::Pointer:
        return true;
    case Kind::Mechanism:
        return isSameMechanism(recorded, made);
    case Kind::Template:
    case Kind::PublicTemplate:
    case Kind::SecretTemplate:
        return isSameList(recorded, made, isSameAttribute);
    case Kind::Query:
        return isSameList(recorded, made, isSameQuery);
    default:
        return isOutput(kind) ? recorded.is_null() == made.is_null() : recorded == made;
    }
}

/// What must be the same even in the nearest call.
bool isIdentity(Kind kind) noexcept {
    return kind == Kind::Session || kind == Kind::Object || kind == Kind::Slot || kind == Kind::MechanismType ||
           kind == Kind::UserType;
}

} // namespace

Distance distance(const Function& function, const Json& recorded, const Json& made, const HandleMaps& handles) {
    Distance result{true, 0};
    for (const Argument& argument : function.arguments) {
        if (argument.kind == Kind::None ||
            isSameArgument(argument.kind, memberOf(recorded, argument.name), memberOf(made, argument.name), handles)) {
            continue;
        }
        result.isPossible = result.isPossible && !isIdentity(argument.kind);
        ++result.different;
    }
    return result;
}

} // namespace watch
