#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/inspect/ModuleView.h"

namespace host::desk {

/// What one look at the readers has shown.
struct Look {
    std::vector<SlotView> slots; ///< those that could be read
    std::string fault;           ///< why another one could not; empty when all could
};

/// Looks at these slots, at several side by side: a module may take a tenth of a second for each.
[[nodiscard]] Look lookAtSlots(const ModuleView& view, const std::vector<std::uint64_t>& numbers);

} // namespace host::desk
