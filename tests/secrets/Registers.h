#pragma once

#include <array>
#include <cstddef>

// What a search for secrets leaves in the processor's registers is the test's own. Other code may save registers on the
// stack, where the next search would find it.

namespace Secrets {

/// Contents of the widest vector register of today's processors; of narrower ones, its first part.
using Vector512 = std::array<std::byte, 64>;

/// Clears all vector registers that this processor has, and the general ones that a function may leave changed.
void clearRegisters();
/// Loads `bytes` into all vector registers that this processor has.
void fillVectorRegisters(const Vector512& bytes);
/// Leaves a copy of all vector registers on the stack, as the loader does when it binds a function at its first call.
void leaveVectorRegistersOnStack();

} // namespace Secrets
