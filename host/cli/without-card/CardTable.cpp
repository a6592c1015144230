#include "host/cli/CardTable.h"

#include "host/cli/card/CardCommands.h"
#include "host/cli/card/Doctor.h"

namespace host {

// What looks at tokens and needs no library for certificates.
const std::vector<CardCommand>& cardCommands() {
    static const std::vector<CardCommand> kCommands = {
        readersCommand(), statusCommand(), doctorRow([](CardRun& run) { runDoctor(run, nullptr); }), completeCommand()};
    return kCommands;
}

} // namespace host
