#pragma once

#include <array>
#include <cstdint>

#include "cryptoki/cryptoki.h"

/// What the module that does nothing answers, and what it was asked. One for the process. C_Initialize takes the number
/// of slots from the environment variable P11NOOP_SLOTS when it is set, for programs that know nothing of this.
struct NoopControl {
    static constexpr std::size_t kRecorded = 1U << 16U;

    CK_ULONG slots = 1;
    CK_ULONG objects = 1;                     ///< how many each search finds
    CK_STATE state = CKS_RW_USER_FUNCTIONS;   ///< of every session, whoever logs in or out
    std::uint64_t calls = 0;                  ///< ever made
    std::array<const char*, kRecorded> names; ///< of the last calls; call n at n % kRecorded
};

extern "C" {
/// Exported by the module beside C_GetFunctionList.
using NoopControlFunction = NoopControl* (*)();
}
