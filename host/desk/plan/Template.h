#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host::desk {

/// The values of one person, in the order of the plan's columns. UTF-8.
using RowValues = std::vector<std::string>;

/// Text of a plan with the names of columns in it: "/O=Example/CN={name}". "{{" and "}}" stand for braces.
///
///     const Template subject = Template::read("/O=Example/CN={name}", {"number", "name"});
///     subject.expand({"17", "Jane Doe"});   // "/O=Example/CN=Jane Doe"
class Template {
public:
    /// Changes a value before it is put in, so that it stays a value.
    using Escape = std::function<std::string(std::string_view value)>;

    Template() = default;
    /// UsageError for a brace without its partner and for a column that is not there.
    [[nodiscard]] static Template read(std::string_view text, const std::vector<std::string>& columns);

    [[nodiscard]] std::string expand(const RowValues& row) const;
    [[nodiscard]] std::string expand(const RowValues& row, const Escape& escape) const;

    [[nodiscard]] bool empty() const noexcept { return m_pieces.empty(); }
    /// Returns true when a value of the list stands in it.
    [[nodiscard]] bool hasColumn() const noexcept;
    /// Returns true when it begins with a value of the list.
    [[nodiscard]] bool beginsWithColumn() const noexcept { return !m_pieces.empty() && m_pieces.front().isColumn; }

private:
    struct Piece {
        bool isColumn = false;
        std::string text;       ///< of a piece that is no column
        std::size_t column = 0; ///< its place in the plan's columns
    };

    std::vector<Piece> m_pieces;
};

} // namespace host::desk
