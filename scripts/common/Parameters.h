#pragma once

#include <string_view>

#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace plugin {

/// The first parameter with exactly this id; null when no parameter has it.
[[nodiscard]] const Zel::Parameter* firstNamed(const Zel::Vector<Zel::Parameter>& params, std::wstring_view id);

} // namespace plugin
