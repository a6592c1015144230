#pragma once

#include "kit/Argument.h"
#include "zel/BaseDLLInterface.h"
#include "zel/TString.h"

namespace Zel {

using Parameter = Kit::Argument;
using ParameterEncoding = Kit::ArgumentCoding;
using ParameterType = Kit::ArgumentKind;

} // namespace Zel
