#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "util/CReader.h"
#include "zel/Vector.h"

namespace plugin {

/// Finds a reader by its name without a comparison with each: a host that asks for every reader of a long list in turn
/// would compare each name with each. Holds the positions of a list of readers in the order of their names.
///
///     if (!index.reserve(count)) … no memory; otherwise fill the list with at most `count` readers
///     const CReader* reader = index.find(readers, name);
class ReaderIndex {
public:
    /// Forgets the list before and makes room for `count` readers. False without memory.
    [[nodiscard]] bool reserve(std::size_t count) noexcept;
    /// The first reader of that name in the list, case ignored; null for an unknown name. The first search in a list
    /// orders it; the list has no more readers than there is room for, and does not change until the next `reserve`.
    [[nodiscard]] const CReader* find(const Zel::Vector<CReader>& readers, const Zel::TString& name);

private:
    void order(const Zel::Vector<CReader>& readers);

    std::unique_ptr<std::uint32_t[]> m_positions;
    std::uint32_t m_ulOrdered = 0; ///< how many readers the positions were ordered for
};

} // namespace plugin
