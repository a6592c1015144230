#include "token/ReaderIndex.h"

#include <algorithm>
#include <new>
#include <numeric>

namespace plugin {

namespace {

int compare(const Zel::Vector<CReader>& readers, std::uint32_t position, const Zel::TString& name) {
    return readers.at(position)->name().compareIgnoreCase(name);
}

} // namespace

bool ReaderIndex::reserve(std::size_t count) noexcept {
    m_ulOrdered = 0;
    m_positions.reset(new (std::nothrow) std::uint32_t[count]);
    return m_positions != nullptr;
}

const CReader* ReaderIndex::find(const Zel::Vector<CReader>& readers, const Zel::TString& name) {
    if (m_ulOrdered != readers.size()) {
        order(readers);
    }
    const std::uint32_t* const begin = m_positions.get();
    const std::uint32_t* const end = begin + m_ulOrdered;
    const std::uint32_t* const found =
        std::lower_bound(begin, end, name, [&](std::uint32_t position, const Zel::TString& wanted) {
            return compare(readers, position, wanted) < 0;
        });
    return found != end && compare(readers, *found, name) == 0 ? readers.at(*found) : nullptr;
}

/// Of equal names the one that stands first in the list comes first. Sorting in place needs no memory.
void ReaderIndex::order(const Zel::Vector<CReader>& readers) {
    m_ulOrdered = readers.size();
    std::iota(m_positions.get(), m_positions.get() + m_ulOrdered, 0U);
    std::sort(m_positions.get(), m_positions.get() + m_ulOrdered, [&](std::uint32_t left, std::uint32_t right) {
        const int order = compare(readers, left, readers.at(right)->name());
        return order == 0 ? left < right : order < 0;
    });
}

} // namespace plugin
