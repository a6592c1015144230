#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/desk/plan/Plan.h"

namespace host::desk {

/// A person of the list.
struct ListedPerson {
    std::size_t line = 0; ///< in the file, where the row begins
    RowValues values;     ///< in the order of the plan's columns, without blanks at their ends
};

/// Reads a list: CSV with a header line, in UTF-8 with or without byte order mark, lines ended by LF or CRLF, values
/// separated by commas or semicolons (whichever the header has more of), in double quotes where they need them. Columns
/// that the plan does not name are left out, and so are empty lines.
///
/// UsageError with one line for each of the first faults, "people.csv:5: …": another encoding, a column that is missing
/// or stands twice, a row that is too short or too long, a quote out of place, a value of the plan's columns that is
/// empty, longer than 1024 characters or has a control character, the same person twice (by the plan's first column),
/// and a list without rows.
[[nodiscard]] std::vector<ListedPerson> readPersonList(std::string_view csv, const std::string& file,
                                                       const std::vector<std::string>& columns);

/// Makes of every row what the plan's steps make of it, as far as that takes no card. UsageError as above for a label,
/// a subject or a further name that cannot be had, for a value that would be an option of a command, and for one that
/// would leave the folder of a key file or of a command's argument.
void checkPersons(const std::vector<ListedPerson>& persons, const std::string& file, const Plan& plan);

/// A value in a subject, so that it stays one value: "A/B" becomes "A\/B".
[[nodiscard]] std::string subjectValue(std::string_view value);

} // namespace host::desk
