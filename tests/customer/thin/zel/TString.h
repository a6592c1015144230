#pragma once

#include "kit/Text.h"

namespace Zel {

using TString = Kit::Text;

} // namespace Zel
