#include <fcntl.h>
#include <string>
#include <unistd.h>

void takeDescriptors(const std::string& file) {
    for (int descriptor = 3; descriptor < 64; ++descriptor) {
        ::close(descriptor);
    }
    while (::open(file.c_str(), O_WRONLY | O_APPEND) < 63) {
    }
}
