#pragma once

#include <cstddef>

#include "zel/Export.h"

namespace Zel {

/// The framework's heap. Every object and array that crosses a library boundary lives here, so that any library may
/// release what another one made.
///
/// allocate: `size` bytes aligned for any type; throws std::bad_alloc when memory is short. tryAllocate: the same, but
/// returns null when memory is short. release: gives a block back; its bytes are overwritten with zeros first, because
/// values that cross the border may be secrets. Null is allowed. releasePublic: the same for a block that never held a
/// secret, whose bytes are left as they are.
ZEL_INTERFACES_API void* allocate(std::size_t size);
ZEL_INTERFACES_API void* tryAllocate(std::size_t size) noexcept;
ZEL_INTERFACES_API void release(void* block) noexcept;
ZEL_INTERFACES_API void releasePublic(void* block) noexcept;

} // namespace Zel
