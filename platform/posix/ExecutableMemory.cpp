#include "platform/ExecutableMemory.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string>

namespace platform {

ExecutableMemory ExecutableMemory::now() {
    ExecutableMemory memory;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        Range range{};
        char rights[5] = {};
        const int read = std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %4s", &range.begin, &range.end, rights);
        if (read == 3 && rights[2] == 'x') {
            memory.m_ranges.push_back(range);
        }
    }
    return memory;
}

} // namespace platform
