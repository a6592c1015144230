// Stands in for an authority under Wine, where a Windows program cannot run OpenSSL: hands its input to the script that
// waits for it, and prints the answer. The files are relay/NAME.PROCESS.request and .answer; each is renamed into
// place, so that nobody reads half of it. An empty answer is a refusal.
//
//   relay NAME
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "platform/Sleep.h"
#include "platform/SystemNumbers.h"

namespace {

std::string contents(std::istream& stream) {
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("Usage: relay NAME\n", stderr);
        return 2;
    }
    const std::string name = "relay/" + std::string(arguments[1]) + "." + std::to_string(platform::processNumber());
    std::filesystem::remove(name + ".answer"); // of an earlier process with the same number
    std::ofstream(name + ".new", std::ios::binary) << contents(std::cin);
    std::filesystem::rename(name + ".new", name + ".request");
    while (!std::filesystem::exists(name + ".answer")) {
        platform::sleepFor(std::chrono::milliseconds(20));
    }
    std::ifstream file(name + ".answer", std::ios::binary);
    const std::string answer = contents(file);
    std::cout << answer << std::flush;
    return answer.empty() ? 1 : 0;
}
