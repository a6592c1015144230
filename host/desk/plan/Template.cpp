#include "host/desk/plan/Template.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

std::size_t columnOf(const std::string& name, const std::vector<std::string>& columns) {
    const auto found = std::find(columns.begin(), columns.end(), name);
    if (found == columns.end()) {
        throw UsageError("\"columns\" has no column \"" + printable(name) + "\"" + suggestion(name, columns));
    }
    return static_cast<std::size_t>(found - columns.begin());
}

} // namespace

Template Template::read(std::string_view text, const std::vector<std::string>& columns) {
    Template result;
    std::string plain;
    while (!text.empty()) {
        const char first = text.front();
        const bool isDoubled = text.size() > 1 && text[1] == first;
        if (first == '}' && !isDoubled) {
            throw UsageError("\"}\" without \"{\"; write \"}}\" for a brace");
        }
        if (first != '{' || isDoubled) {
            plain += first;
            text.remove_prefix((first == '{' || first == '}') ? 2 : 1);
            continue;
        }
        const std::size_t end = text.find_first_of("{}", 1);
        if (end == std::string_view::npos || text[end] != '}') {
            throw UsageError("\"{\" without \"}\"; write \"{{\" for a brace");
        }
        if (!plain.empty()) {
            result.m_pieces.push_back({false, std::move(plain), 0});
            plain.clear();
        }
        result.m_pieces.push_back({true, "", columnOf(std::string(text.substr(1, end - 1)), columns)});
        text.remove_prefix(end + 1);
    }
    if (!plain.empty()) {
        result.m_pieces.push_back({false, std::move(plain), 0});
    }
    return result;
}

bool Template::hasColumn() const noexcept {
    return std::any_of(m_pieces.begin(), m_pieces.end(), [](const Piece& piece) { return piece.isColumn; });
}

std::string Template::expand(const RowValues& row) const {
    return expand(row, [](std::string_view value) { return std::string(value); });
}

std::string Template::expand(const RowValues& row, const Escape& escape) const {
    std::string text;
    for (const Piece& piece : m_pieces) {
        text += piece.isColumn ? escape(row.at(piece.column)) : piece.text;
    }
    return text;
}

} // namespace host::desk
