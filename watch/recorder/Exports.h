#pragma once

#include "cryptoki/Version3.h"

// What p11watch exports beside C_GetFunctionList, which the standard's header declares.

extern "C" {

/// The module's interfaces, each known one with a list whose calls are recorded. A module without interfaces offers its
/// function list as the one interface.
CK_RV C_GetInterfaceList(CK_INTERFACE* interfaces, CK_ULONG* count);
CK_RV C_GetInterface(CK_UTF8CHAR* name, CK_VERSION* version, CK_INTERFACE** interface, CK_FLAGS flags);

} // extern "C"
