#pragma once

#include "kit/Root.h"
#include "zel/Allocator.h"

namespace Zel {

using BaseDLLInterface = Kit::Root;

template <class Interface>
using BaseDLLObjectImpl = Kit::Rooted<Interface>;

} // namespace Zel
