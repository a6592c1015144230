#include "host/cli/Table.h"

#include <algorithm>

#include "host/plugin/Texts.h"

namespace host {

std::string TextTable::text() const {
    std::vector<std::size_t> widths(m_rows.front().size());
    for (const Row& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], shownWidth(row[i]));
        }
    }
    std::string text;
    for (const Row& row : m_rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            text += fitted(row[i], widths[i] + 2);
        }
        text += row.back() + "\n";
    }
    return text;
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : printable(text);
}

} // namespace host
