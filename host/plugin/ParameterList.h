#pragma once

#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace host {

/// Parameters as the plug-in takes and answers them.
using ParameterList = Zel::Vector<Zel::Parameter>;

} // namespace host
