#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tests {

/// Memory that a process can write.
struct Region {
    std::size_t begin;
    std::size_t end;
    std::string kind; ///< "heap", "stack", "data" (of a file) or "other"
};

/// Of a process by the text of its "maps".
inline std::vector<Region> writableRegions(const std::string& mapsFile) {
    std::vector<Region> regions;
    std::ifstream maps(mapsFile);
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        Region region{};
        char dash = 0;
        std::string access;
        std::string offset;
        std::string device;
        std::string inode;
        std::string name;
        words >> std::hex >> region.begin >> dash >> region.end >> access >> offset >> device >> inode >> name;
        region.kind = name == "[heap]" ? "heap" : name == "[stack]" ? "stack" : name[0] == '/' ? "data" : "other";
        if (access.substr(0, 2) == "rw") {
            regions.push_back(region);
        }
    }
    return regions;
}

} // namespace tests
