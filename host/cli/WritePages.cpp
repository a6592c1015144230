// Writes the manual pages and the completions into a folder, while the product is built.
#include <cstdio>
#include <fstream>
#include <string>

#include "host/cli/Pages.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("Usage: p11host-pages FOLDER VERSION\n", stderr);
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/";
    bool isWritten = true;
    const auto write = [&](const char* name, const std::string& text) {
        std::ofstream file(folder + name, std::ios::binary);
        isWritten = (file << text).flush() && isWritten;
    };
    write("p11host.1", host::programPage(argv[2]));
    write("p11host-job.5", host::jobPage(argv[2]));
    write("p11host.bash", host::bashCompletion());
    write("_p11host", host::zshCompletion());
    write("p11host.fish", host::fishCompletion());
    return isWritten ? 0 : 1;
}
