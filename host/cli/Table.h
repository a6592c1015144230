#pragma once

#include <string>
#include <vector>

namespace host {

/// Columns for a person, as wide as what stands in them.
class TextTable {
public:
    using Row = std::vector<std::string>;

    explicit TextTable(Row head) { m_rows.push_back(std::move(head)); }
    /// As many cells as the head has.
    void add(Row row) { m_rows.push_back(std::move(row)); }
    [[nodiscard]] std::string text() const;

private:
    std::vector<Row> m_rows;
};

/// A cell for text of a token: printable, and a dash when it is empty.
[[nodiscard]] std::string orDash(const std::string& text);

} // namespace host
