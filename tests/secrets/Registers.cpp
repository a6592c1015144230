#include "tests/secrets/Registers.h"

// One instruction for each register, by its number: `n`.
#define FIRST_REGISTERS ".irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15\n\t"
#define MORE_REGISTERS ".irp n, 16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31\n\t"
#define END_REGISTERS "\n\t.endr"

namespace Secrets {

// The compiler writes the code that clears what every x86-64 processor has; what others have besides is cleared here.
[[gnu::noinline, gnu::zero_call_used_regs("all")]] void clearRegisters() {
    if (__builtin_cpu_supports("avx")) {
        asm volatile("vzeroall");
    }
    if (__builtin_cpu_supports("avx512f")) {
        asm volatile(MORE_REGISTERS "vpxord %%zmm\\n, %%zmm\\n, %%zmm\\n" END_REGISTERS : :);
    }
}

[[gnu::noinline]] void fillVectorRegisters(const Vector512& bytes) {
    if (__builtin_cpu_supports("avx512f")) {
        asm volatile(FIRST_REGISTERS "vmovdqu64 %0, %%zmm\\n" END_REGISTERS : : "m"(bytes));
        asm volatile(MORE_REGISTERS "vmovdqu64 %0, %%zmm\\n" END_REGISTERS : : "m"(bytes));
    } else if (__builtin_cpu_supports("avx")) {
        asm volatile(FIRST_REGISTERS "vmovdqu %0, %%ymm\\n" END_REGISTERS : : "m"(bytes));
    } else {
        asm volatile(FIRST_REGISTERS "movdqu %0, %%xmm\\n" END_REGISTERS : : "m"(bytes));
    }
}

[[gnu::noinline]] void leaveVectorRegistersOnStack() {
    std::byte copy[32 * sizeof(Vector512)];
    if (__builtin_cpu_supports("avx512f")) {
        asm volatile(FIRST_REGISTERS "vmovdqu64 %%zmm\\n, 64*\\n(%0)" END_REGISTERS : : "r"(copy) : "memory");
        asm volatile(MORE_REGISTERS "vmovdqu64 %%zmm\\n, 64*\\n(%0)" END_REGISTERS : : "r"(copy) : "memory");
    } else if (__builtin_cpu_supports("avx")) {
        asm volatile(FIRST_REGISTERS "vmovdqu %%ymm\\n, 64*\\n(%0)" END_REGISTERS : : "r"(copy) : "memory");
    } else {
        asm volatile(FIRST_REGISTERS "movdqu %%xmm\\n, 64*\\n(%0)" END_REGISTERS : : "r"(copy) : "memory");
    }
}

} // namespace Secrets
