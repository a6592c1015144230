#include "host/cli/Commands.h"
#include "platform/Process.h"
#include "platform/Streams.h"

int main(int argc, char** argv) {
    platform::keepMemoryPrivate();
    platform::keepStandardOutput();
    platform::ignoreBrokenPipes();
    return static_cast<int>(host::runProgram(platform::commandLineArguments(argc, argv), host::standardOutput()));
}
