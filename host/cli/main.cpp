#include "host/cli/Commands.h"
#include "platform/Interruption.h"
#include "platform/LibrarySearch.h"
#include "platform/Process.h"
#include "platform/ProcessEnd.h"
#include "platform/Streams.h"

namespace {

constexpr const char* kEndedByOthers =
    "p11host: the PKCS#11 module or the plug-in ended this program before the command was done.\n"
    "  What has reached the token is not known: look at it before you try again.\n";

} // namespace

int main(int argc, char** argv) {
    platform::searchLibrariesSafely();
    platform::keepMemoryPrivate();
    platform::keepStandardOutput();
    platform::ignoreBrokenPipes();
    platform::noteInterruptions();
    const platform::OwnProcessEnd end(kEndedByOthers, static_cast<int>(host::ExitStatus::Failed));
    const host::ExitStatus status =
        host::runProgram(platform::commandLineArguments(argc, argv), host::standardOutput());
    const int signal = platform::interruption();
    return signal == 0 ? static_cast<int>(status) : platform::interruptedStatus(signal);
}
