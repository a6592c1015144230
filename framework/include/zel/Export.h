#pragma once

// How the classes of the framework's five libraries are exported and imported. Each library defines its own
// <NAME>_BUILD while it is compiled; everybody else imports.

#if defined(_WIN32)
#define ZEL_EXPORT __declspec(dllexport)
#define ZEL_IMPORT __declspec(dllimport)
#else
#define ZEL_EXPORT __attribute__((visibility("default")))
#define ZEL_IMPORT __attribute__((visibility("default")))
#endif

#if defined(ZEL_INTERFACES_BUILD)
#define ZEL_INTERFACES_API ZEL_EXPORT
#else
#define ZEL_INTERFACES_API ZEL_IMPORT
#endif

#if defined(ZEL_VEX_BUILD)
#define ZEL_VEX_API ZEL_EXPORT
#else
#define ZEL_VEX_API ZEL_IMPORT
#endif

#if defined(ZEL_LOCALIZATION_BUILD)
#define ZEL_LOCALIZATION_API ZEL_EXPORT
#else
#define ZEL_LOCALIZATION_API ZEL_IMPORT
#endif

#if defined(RY_CRYPTO_BUILD)
#define RY_CRYPTO_API ZEL_EXPORT
#else
#define RY_CRYPTO_API ZEL_IMPORT
#endif

#if defined(RYLOG_BUILD)
#define RYLOG_API ZEL_EXPORT
#else
#define RYLOG_API ZEL_IMPORT
#endif
