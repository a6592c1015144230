#include "host/cli/CardTable.h"

#include "host/cli/card/CardCommands.h"

namespace host {

// What looks at tokens and needs no library for certificates.
const std::vector<CardCommand>& cardCommands() {
    static const std::vector<CardCommand> kCommands = {readersCommand(), statusCommand(), completeCommand()};
    return kCommands;
}

} // namespace host
