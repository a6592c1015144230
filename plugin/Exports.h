#pragma once

#include "zel/ClientOperationExecutor.h"

#if defined(ZEL_PLUGIN_BUILD)
#define ZEL_PLUGIN_API ZEL_EXPORT
#else
#define ZEL_PLUGIN_API
#endif

extern "C" {

/// Makes an executor for the PKCS#11 library that the creation parameter "DLLNAME" names (file name or path, searched
/// as the system searches). "readerPrefix" is what the host puts before reader names. Ids are compared ignoring case,
/// others are ignored; null is an empty vector. The vector stays the caller's.
///
/// Null when no library is named, or it cannot be loaded, or the system has no mutex or memory. An executor whose
/// library could be loaded but not initialised is returned all the same, and says "Plugin not validated" from its
/// operations. The executor is the caller's: give it to freeInstance. May be called from any thread; never throws.
ZEL_PLUGIN_API Zel::ClientOperationExecutor* newInstance(Zel::Vector<Zel::Parameter>* params);

/// Ends an executor; null is allowed. May be called from any thread; never throws.
ZEL_PLUGIN_API void freeInstance(Zel::ClientOperationExecutor* executor);

} // extern "C"
