// What the reading of one step of a job takes, by its number of keys; more than 4096 are refused.
#include <chrono>
#include <cstdio>
#include <string>

#include "host/plugin/Errors.h"
#include "host/scripts/JobReader.h"

namespace {

std::string objectOf(int keys) {
    std::string text = "{";
    for (int i = 0; i < keys; ++i) {
        text += (i == 0 ? "\"a parameter " : ",\"a parameter ") + std::to_string(i) + "\":\"a value\"";
    }
    return text + "}";
}

bool isTaken(const std::string& text) {
    try {
        return host::parseJson(text).is_object();
    } catch (const host::UsageError&) {
        return false;
    }
}

} // namespace

int main() {
    std::puts("| keys | | milliseconds |\n|---:|---|---:|");
    for (const int keys : {1024, 2048, 4096, 40000}) {
        const std::string text = objectOf(keys);
        const auto start = std::chrono::steady_clock::now();
        const bool taken = isTaken(text);
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        std::printf("| %d | %s | %.1f |\n", keys, taken ? "taken" : "refused", time.count());
    }
}
