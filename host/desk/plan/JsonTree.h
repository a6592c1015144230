#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::desk {

struct JsonMember;

/// A value of a JSON document, with the line that it ends on (an object or a list: begins on).
struct JsonTree {
    enum class Kind { Null, Boolean, Integer, Fraction, Text, List, Object };

    Kind kind = Kind::Null;
    std::size_t line = 1;
    bool boolean = false;
    std::int64_t integer = 0;
    std::string text;                ///< of Text, UTF-8
    std::vector<JsonTree> items;     ///< of List
    std::vector<JsonMember> members; ///< of Object, in their order

    /// The member with this name, or null.
    [[nodiscard]] const JsonTree* find(std::string_view name) const noexcept;
};

struct JsonMember {
    std::string name;
    JsonTree value;
};

/// "null", "a boolean", "a number", "text", "a list", "an object".
[[nodiscard]] const char* nameOf(JsonTree::Kind kind) noexcept;

/// Reads JSON text, with or without byte order mark. UsageError "FILE:LINE: reason" for what is no JSON, for a name
/// that stands twice in one object, and for nesting deeper than 16. The text is never quoted: a secret may stand in it.
[[nodiscard]] JsonTree readJsonTree(std::string_view json, const std::string& file);

} // namespace host::desk
