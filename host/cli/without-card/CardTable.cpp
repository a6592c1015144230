#include "host/cli/CardTable.h"

namespace host {

const std::vector<CardCommand>& cardCommands() {
    static const std::vector<CardCommand> kNone;
    return kNone;
}

const CardCommand* findCardCommand(const std::string& /*name*/) {
    return nullptr;
}

ExitStatus runCardCommand(const CardCommand& /*command*/, const Options& /*options*/, const Output& /*output*/) {
    return ExitStatus::Usage;
}

} // namespace host
