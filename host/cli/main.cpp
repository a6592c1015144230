#include "host/cli/Commands.h"
#include "platform/Interruption.h"
#include "platform/LibrarySearch.h"
#include "platform/Process.h"
#include "platform/ProcessEnd.h"
#include "platform/Streams.h"
#include "text/Wiped.h"

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
    const int status = platform::runNotingInterruptions([&] {
        const platform::OwnProcessEnd end(kEndedByOthers, static_cast<int>(host::ExitStatus::Failed));
        const host::ExitStatus ended =
            host::runProgram(platform::commandLineArguments(argc, argv), host::standardOutput());
        // This thread's stack outlives it: texts that are too short for the heap lie there.
        wipeUnusedStack();
        return static_cast<int>(ended);
    });
    const int signal = platform::interruption();
    return signal == 0 ? status : platform::interruptedStatus(signal);
}
