#pragma once

#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace scripts {

/// The first parameter of that id (exact), null when there is none.
[[nodiscard]] const Zel::Parameter* firstNamed(const Zel::Vector<Zel::Parameter>& params, const wchar_t* id);

} // namespace scripts
