#include "watch/replay/Matching.h"

#include <algorithm>

#include "watch/record/Values.h"

namespace watch {

namespace {

const Json& member(const Json& object, const char* key) {
    static const Json kNull;
    const auto found = object.is_object() ? object.find(key) : object.end();
    return object.is_object() && found != object.end() ? *found : kNull;
}

bool isSameAttribute(const Json& recorded, const Json& made) {
    if (attributeType(recorded) != attributeType(made)) {
        return false;
    }
    const Json& value = member(recorded, "value");
    const Json& madeValue = member(made, "value");
    if (value == "masked" || madeValue == "masked") {
        return member(recorded, "length") == member(made, "length");
    }
    return value == madeValue;
}

/// Of a template that the module fills only the types count, and where it has buffers.
bool isSameQuery(const Json& recorded, const Json& made) {
    return attributeType(recorded) == attributeType(made) && recorded.is_object() && made.is_object() &&
           recorded.contains("value") == made.contains("value");
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
        return member(recorded, "type") == member(made, "type");
    case Kind::Template:
    case Kind::PublicTemplate:
    case Kind::SecretTemplate:
        return isSameList(recorded, made, isSameAttribute);
    case Kind::Query:
        return isSameList(recorded, made, isSameQuery);
    default:
        return kind >= Kind::SessionOut && kind != Kind::Pin && kind != Kind::Masked && kind != Kind::Bytes &&
                       kind != Kind::Text
                   ? recorded.is_null() == made.is_null()
                   : recorded == made;
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
            isSameArgument(argument.kind, member(recorded, argument.name), member(made, argument.name), handles)) {
            continue;
        }
        result.isPossible = result.isPossible && !isIdentity(argument.kind);
        ++result.different;
    }
    return result;
}

} // namespace watch
