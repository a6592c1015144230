#include "host/desk/list/PersonList.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "host/desk/list/CsvReader.h"
#include "host/desk/list/ListFaults.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

constexpr std::size_t kLongestValue = 1024;

/// The length of the UTF-8 character at the beginning of `text` (RFC 3629); 0 for other bytes.
std::size_t characterLength(std::string_view text) noexcept {
    const auto at = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned int first = at(0);
    const std::size_t length = first < 0x80U ? 1 : (first < 0xC2U ? 0 : (first < 0xE0U ? 2 : (first < 0xF0U ? 3 : 4)));
    if (length <= 1 || first > 0xF4U) {
        return first > 0xF4U ? 0 : length;
    }
    const unsigned int second = at(1);
    const bool isShortest = !(first == 0xE0U && second < 0xA0U) && !(first == 0xF0U && second < 0x90U);
    const bool isCodePoint = !(first == 0xEDU && second > 0x9FU) && !(first == 0xF4U && second > 0x8FU);
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    return isShortest && isCodePoint ? length : 0;
}

/// The line of the first byte that is no UTF-8; nullopt when all is well.
std::optional<std::size_t> lineOutsideUtf8(std::string_view text) noexcept {
    std::size_t line = 1;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0 || text.front() == '\0') {
            return line;
        }
        line += text.front() == '\n' ? 1 : 0;
        text.remove_prefix(length);
    }
    return std::nullopt;
}

std::string withoutBlanks(const std::string& value) {
    const std::size_t first = value.find_first_not_of(" \t");
    return first == std::string::npos ? "" : value.substr(first, value.find_last_not_of(" \t") - first + 1);
}

/// The first names, and how many there are when these are not all.
std::string fewOf(const std::vector<std::string>& names) {
    constexpr std::size_t kMostShown = 10;
    if (names.size() <= kMostShown) {
        return joined(names);
    }
    return joined({names.begin(), names.begin() + kMostShown}) + ", ... (" + std::to_string(names.size()) + " in all)";
}

/// Where the plan's columns stand in the file.
class Header {
public:
    Header(const CsvRow& row, const std::vector<std::string>& columns, ListFaults& faults) : m_columns(columns) {
        std::vector<std::string> names;
        std::transform(row.values.begin(), row.values.end(), std::back_inserter(names), withoutBlanks);
        m_width = names.size();
        for (const std::string& column : columns) {
            const auto found = std::find(names.begin(), names.end(), column);
            m_places.push_back(static_cast<std::size_t>(found - names.begin()));
            if (found == names.end()) {
                faults.add(row.line, "the list has no column \"" + printable(column) + "\"" +
                                         suggestion(column, names) + "; its columns are " + printable(fewOf(names)));
            } else if (std::find(found + 1, names.end(), column) != names.end()) {
                faults.add(row.line, "the column \"" + printable(column) + "\" stands twice in the list");
            }
        }
    }

    [[nodiscard]] ListedPerson personOf(const CsvRow& row, ListFaults& faults) const {
        ListedPerson person{row.line, {}};
        if (!row.fault.empty() || row.values.size() != m_width) {
            faults.add(row.line, !row.fault.empty()
                                     ? row.fault
                                     : "this row has " + std::to_string(row.values.size()) +
                                           " values, and the first line has " + std::to_string(m_width) + " columns");
            return person;
        }
        for (std::size_t i = 0; i < m_places.size(); ++i) {
            person.values.push_back(withoutBlanks(row.values[m_places[i]]));
            const std::string fault = faultOf(person.values.back());
            if (!fault.empty()) {
                faults.add(row.line, "the column \"" + printable(m_columns[i]) + "\" " + fault);
            }
        }
        return person;
    }

private:
    static std::string faultOf(const std::string& value) {
        if (value.empty()) {
            return "is empty";
        }
        if (columns(value) > kLongestValue) {
            return "has " + std::to_string(columns(value)) + " characters, and " + std::to_string(kLongestValue) +
                   " are allowed";
        }
        return hasControl(value) ? "has a line end or another control character in it" : "";
    }

    const std::vector<std::string>& m_columns;
    std::vector<std::size_t> m_places;
    std::size_t m_width = 0;
};

void refuseOtherEncodings(std::string_view csv, ListFaults& faults) {
    const bool isWide = csv.substr(0, 2) == "\xFF\xFE" || csv.substr(0, 2) == "\xFE\xFF";
    if (const std::optional<std::size_t> line = lineOutsideUtf8(csv)) {
        faults.add(*line, std::string(isWide ? "the list is UTF-16" : "this line is no UTF-8") +
                              "; save the list as UTF-8 (in a spreadsheet: \"CSV UTF-8\")");
    }
    faults.end();
}

void refuseSecondTime(const std::vector<ListedPerson>& persons, const std::string& column, ListFaults& faults) {
    std::unordered_map<std::string_view, std::size_t> lines;
    lines.reserve(persons.size());
    for (const ListedPerson& person : persons) {
        if (person.values.empty() || person.values.front().empty()) {
            continue; // a fault already
        }
        const auto [first, isNew] = lines.emplace(person.values.front(), person.line);
        if (!isNew) {
            faults.add(person.line, "the " + printable(column) + " \"" + printable(person.values.front()) +
                                        "\" stands in line " + std::to_string(first->second) + " already");
        }
    }
}

} // namespace

std::vector<ListedPerson> readPersonList(std::string_view csv, const std::string& file,
                                         const std::vector<std::string>& columns) {
    ListFaults faults(printable(file));
    refuseOtherEncodings(csv, faults);
    if (csv.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        csv.remove_prefix(kByteOrderMark.size());
    }
    CsvReader reader(csv, separatorOf(csv));
    const std::optional<CsvRow> first = reader.next();
    if (!first) {
        throw UsageError(printable(file) + ":1: the list is empty; its first line names the columns");
    }
    if (csv.find('\n') == std::string_view::npos && csv.find('\r') != std::string_view::npos) {
        throw UsageError(printable(file) +
                         ":1: the lines of the list end with CR alone; save it with line ends of LF or CR LF (in a "
                         "spreadsheet: \"CSV UTF-8\")");
    }
    const Header header(*first, columns, faults);
    faults.end();
    std::vector<ListedPerson> persons;
    while (const std::optional<CsvRow> row = reader.next()) {
        persons.push_back(header.personOf(*row, faults));
    }
    if (persons.empty()) {
        faults.add(first->line, "nobody is in the list");
    }
    refuseSecondTime(persons, columns.front(), faults);
    faults.end();
    return persons;
}

} // namespace host::desk
