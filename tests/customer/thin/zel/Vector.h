#pragma once

#include "kit/List.h"
#include "zel/BaseDLLInterface.h"

namespace Zel {

template <class Element>
using Vector = Kit::List<Element>;

} // namespace Zel
