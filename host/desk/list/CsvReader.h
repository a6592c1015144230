#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::desk {

/// One row of a CSV file.
struct CsvRow {
    std::size_t line = 1; ///< where it begins
    std::vector<std::string> values;
    std::string fault; ///< what is wrong with its quotes; empty when it is well-formed
};

/// Splits CSV text (RFC 4180) into rows. Empty lines are skipped; a line ends with LF or CRLF.
///
///     CsvReader reader(text, ';');
///     while (const std::optional<CsvRow> row = reader.next()) { ... }
class CsvReader {
public:
    /// `text` has to outlive the reader.
    CsvReader(std::string_view text, char separator) : m_text(text), m_separator(separator) {}

    [[nodiscard]] std::optional<CsvRow> next();

private:
    [[nodiscard]] bool atLineEnd() const noexcept;
    void skipLineEnd() noexcept;
    [[nodiscard]] std::string plainValue();
    [[nodiscard]] std::string quotedValue(std::string& fault);
    char take() noexcept;

    std::string_view m_text;
    char m_separator;
    std::size_t m_line = 1;
};

/// The separator of a list: semicolon when its first line has more of them than commas outside quotes, a tab
/// when it has tabs and neither of them.
[[nodiscard]] char separatorOf(std::string_view text) noexcept;

} // namespace host::desk
