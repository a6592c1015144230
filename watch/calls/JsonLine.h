#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "text/WipedBuffer.h"

namespace watch {

/// One line of JSON under construction. Values follow a key in an object and stand alone in a list; commas come by
/// themselves. When memory is short the line has failed and takes nothing more.
///
///     JsonLine line;
///     line.open('{').key("slot").number(1).close('}');
class JsonLine {
public:
    JsonLine& open(char bracket) noexcept; ///< '{' or '['
    JsonLine& close(char bracket) noexcept;
    JsonLine& key(std::string_view name) noexcept;
    JsonLine& null() noexcept { return word("null"); }
    JsonLine& boolean(bool value) noexcept { return word(value ? "true" : "false"); }
    JsonLine& number(std::uint64_t value) noexcept;
    /// -1 for "unavailable", which is all bits of a CK_ULONG: it has 32 on Windows and 64 on Linux.
    JsonLine& length(unsigned long value) noexcept;
    /// A name or a decimal number, which needs no escapes.
    JsonLine& name(std::string_view text) noexcept;
    /// "0x80000001", for a number without a name.
    JsonLine& hexNumber(std::uint64_t value) noexcept;
    /// The upper-case hexadecimal digits.
    JsonLine& bytes(std::span<const std::uint8_t> bytes) noexcept;
    /// The bytes as text when they are well-formed UTF-8, otherwise {"hex":"..."}.
    JsonLine& text(std::span<const std::uint8_t> utf8) noexcept;
    /// What another line holds.
    JsonLine& word(std::string_view json) noexcept;
    void end() noexcept { m_text.append('\n'); }

    [[nodiscard]] std::string_view view() const noexcept { return m_text.view(); }
    [[nodiscard]] bool hasFailed() const noexcept { return m_text.hasFailed(); }

private:
    void separate() noexcept;
    /// In one piece, for speed: most of a line is names.
    void quoted(std::string_view text, std::string_view end) noexcept;
    void escaped(std::string_view utf8) noexcept;

    text::WipedBuffer<char, 4096> m_text;
    bool m_needsComma = false;
};

} // namespace watch
