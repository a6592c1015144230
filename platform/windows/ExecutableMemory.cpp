#include "platform/ExecutableMemory.h"

#include <windows.h>

namespace platform {

ExecutableMemory ExecutableMemory::now() {
    constexpr DWORD kExecutable = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    ExecutableMemory memory;
    MEMORY_BASIC_INFORMATION info = {};
    std::uintptr_t next = 0;
    while (VirtualQuery(reinterpret_cast<const void*>(next), &info, sizeof info) == sizeof info) {
        const auto begin = reinterpret_cast<std::uintptr_t>(info.BaseAddress);
        if (info.State == MEM_COMMIT && (info.Protect & kExecutable) != 0) {
            memory.m_ranges.push_back({begin, begin + info.RegionSize});
        }
        if (begin + info.RegionSize <= next) {
            break; // the last region ends where addresses do
        }
        next = begin + info.RegionSize;
    }
    return memory;
}

} // namespace platform
