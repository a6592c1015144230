#pragma once

#include "cryptoki/cryptoki.h"

/// The test module whose function list has nothing but C_GetFunctionList, C_Initialize and C_Finalize, and which knows
/// no interfaces.
namespace Odd {

enum class List { Same, None };

struct Control {
    CK_VERSION version = {2, 40}; ///< of the list
    List list = List::Same;       ///< None: C_GetFunctionList succeeds and gives a null pointer
};

/// Exported as "oddControl".
using ControlFunction = Control* (*)();

} // namespace Odd
