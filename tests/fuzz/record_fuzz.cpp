#include <algorithm>
#include <string>
#include <string_view>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"
#include "watch/record/RecordReader.h"
#include "watch/record/Values.h"

namespace {

using Fuzz::require;
using watch::Json;

std::size_t linesIn(std::string_view text) {
    std::size_t count = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        count += text.substr(0, end).find_first_not_of(" \t\r") == std::string_view::npos ? 0 : 1;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return count;
}

/// Every template of the call, read as this system has it.
void readTemplates(const Json& arguments) {
    for (const Json& argument : arguments) {
        if (!argument.is_array()) {
            continue;
        }
        for (const Json& entry : argument) {
            const watch::RecordedAttribute attribute = watch::attributeOf(entry);
            require(attribute.type == watch::attributeType(entry), "an attribute has its type");
            require(!attribute.value || attribute.value->size() == attribute.length, "a value has its length");
        }
    }
}

} // namespace

void Fuzz::record(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const watch::RecordContent content = watch::readRecord(text);
    require(content.lines.size() + content.damaged == linesIn(text), "every line is read or counted as damaged");
    for (const watch::RecordedLine& line : content.lines) {
        require(line.in.is_object() && line.out.is_object(), "arguments have names");
        readTemplates(line.in);
        readTemplates(line.out);
    }
}
