#pragma once

#include "kit/Allocator.h"

namespace Zel {

using Kit::allocate;
using Kit::release;
using Kit::tryAllocate;

} // namespace Zel
