#pragma once

#include "zel/ClientOperationExecutor.h"

#if defined(ZEL_PLUGIN_BUILD)
#define ZEL_PLUGIN_API ZEL_EXPORT
#else
#define ZEL_PLUGIN_API
#endif

extern "C" {

/// Makes an executor for the PKCS#11 library that the creation parameter "DLLNAME" names: a file name or a path,
/// searched as the system searches. "readerPrefix" is the text that the host puts before reader names. Ids are compared
/// without regard to case; other parameters are ignored; null counts as an empty vector. The caller keeps the vector.
///
/// Returns null when no library is named, when it cannot be loaded, or when the system has no mutex or no memory. A
/// library that loads and does not initialise gives an executor whose operations throw "Plugin not validated". The
/// caller owns the executor and gives it to freeInstance. May be called from any thread; never throws.
ZEL_PLUGIN_API Zel::ClientOperationExecutor* newInstance(Zel::Vector<Zel::Parameter>* params);

/// Ends an executor; null is allowed. May be called from any thread; never throws.
ZEL_PLUGIN_API void freeInstance(Zel::ClientOperationExecutor* executor);

} // extern "C"
