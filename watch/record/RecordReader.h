#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace watch {

using Json = nlohmann::json;

/// One call of a record.
struct RecordedLine {
    std::uint64_t number = 0;   ///< counts the calls of a process in the order of their beginnings
    std::uint64_t time = 0;     ///< of its beginning, in nanoseconds since 1970
    std::uint64_t duration = 0; ///< in nanoseconds
    std::uint64_t process = 0;
    std::uint64_t thread = 0;
    std::string call;         ///< "C_Login"
    Json in;                  ///< an object: the arguments by name
    Json out;                 ///< an object: what the module gave back
    std::uint32_t result = 0; ///< CKR_...
};

/// Reads one line. nullopt for text that is no line of a record, such as a line that a crash has torn.
[[nodiscard]] std::optional<RecordedLine> readLine(std::string_view line);

/// A whole record, in the order of the file.
struct RecordContent {
    std::vector<RecordedLine> lines;
    std::size_t damaged = 0; ///< lines that are neither empty nor part of a record
};

/// Reads the text of a record.
[[nodiscard]] RecordContent readRecord(std::string_view text);
/// Reads the file with this UTF-8 name; nullopt when it cannot be read.
[[nodiscard]] std::optional<RecordContent> readRecordFile(const std::string& path);

} // namespace watch
