#pragma once

#include <string_view>

#include "cryptoki/cryptoki.h"
#include "zel/Export.h"

#define LOUD_EXPORT ZEL_EXPORT

/// The test module whose every function succeeds and fills every buffer with the marker; and what it answers otherwise.
namespace Loud {

inline constexpr std::string_view kMarker = "Secret#Marker!01";
inline constexpr CK_ULONG kHandle = 0x4711;

struct Control {
    CK_OBJECT_CLASS objectClass = CKO_PRIVATE_KEY; ///< of every object
    CK_ULONG length = 0;                           ///< what every length and count is set to; 0: what is true
    CK_RV result = CKR_OK;
    void (*during)() = nullptr;     ///< called in the middle of each call
    int list = 0;                   ///< which of its three lists of version 2.40 it hands out
    void (*beforeList)() = nullptr; ///< called before it hands out a list
};

/// Exported as "loudControl".
using ControlFunction = Control* (*)();

} // namespace Loud
