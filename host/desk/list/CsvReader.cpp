#include "host/desk/list/CsvReader.h"

#include <algorithm>

namespace host::desk {

char CsvReader::take() noexcept {
    const char c = m_text.front();
    m_text.remove_prefix(1);
    m_line += c == '\n' ? 1 : 0;
    return c;
}

bool CsvReader::atLineEnd() const noexcept {
    return m_text.empty() || m_text.front() == '\n' || m_text.substr(0, 2) == "\r\n";
}

void CsvReader::skipLineEnd() noexcept {
    if (!m_text.empty() && m_text.front() == '\r') {
        take();
    }
    if (!m_text.empty()) {
        take();
    }
}

std::string CsvReader::plainValue() {
    const std::size_t end = std::min(m_text.find_first_of(std::string{m_separator, '\n'}), m_text.size());
    const bool isCarriageReturnLast = end > 0 && m_text[end - 1] == '\r' && end < m_text.size() && m_text[end] == '\n';
    std::string value(m_text.substr(0, end - (isCarriageReturnLast ? 1 : 0)));
    m_text.remove_prefix(value.size());
    return value;
}

std::string CsvReader::quotedValue(std::string& fault) {
    std::string value;
    take();
    while (!m_text.empty()) {
        const char c = take();
        if (c != '"') {
            value += c;
        } else if (!m_text.empty() && m_text.front() == '"') {
            value += take();
        } else {
            if (!atLineEnd() && m_text.front() != m_separator) {
                fault = "a value goes on behind its closing quote; a quote in a value is written twice";
            }
            return value;
        }
    }
    fault = "a quote is opened and never closed";
    return value;
}

std::optional<CsvRow> CsvReader::next() {
    while (!m_text.empty() && atLineEnd()) {
        skipLineEnd();
    }
    if (m_text.empty()) {
        return std::nullopt;
    }
    CsvRow row;
    row.line = m_line;
    for (;;) {
        const bool isQuoted = !m_text.empty() && m_text.front() == '"';
        row.values.push_back(isQuoted ? quotedValue(row.fault) : plainValue());
        if (isQuoted && !row.fault.empty()) {
            [[maybe_unused]] const std::string rest = plainValue(); // up to where the next value can begin
        } else if (!isQuoted && row.values.back().find('"') != std::string::npos) {
            row.fault = "a quote stands inside a value that does not begin with one";
        }
        if (atLineEnd()) {
            skipLineEnd();
            return row;
        }
        take(); // the separator
    }
}

char separatorOf(std::string_view text) noexcept {
    std::ptrdiff_t semicolons = 0;
    std::size_t tabs = 0;
    bool hasOther = false;
    bool isQuoted = false;
    for (const char c : text.substr(0, text.find('\n'))) {
        isQuoted = c == '"' ? !isQuoted : isQuoted;
        semicolons += isQuoted ? 0 : (c == ';' ? 1 : (c == ',' ? -1 : 0));
        hasOther = hasOther || (!isQuoted && (c == ';' || c == ','));
        tabs += !isQuoted && c == '\t' ? 1 : 0;
    }
    if (tabs != 0 && !hasOther) {
        return '\t';
    }
    return semicolons > 0 ? ';' : ',';
}

} // namespace host::desk
