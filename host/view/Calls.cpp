#include "host/view/Calls.h"

namespace host::view {

std::uint32_t Texts::numberOf(const std::string& text) {
    const auto [entry, isNew] = m_numbers.try_emplace(text, static_cast<std::uint32_t>(m_texts.size()));
    if (isNew) {
        m_texts.push_back(&entry->first);
    }
    return entry->second;
}

std::optional<std::uint32_t> Texts::find(const std::string& text) const {
    const auto found = m_numbers.find(text);
    return found == m_numbers.end() ? std::nullopt : std::optional(found->second);
}

} // namespace host::view
