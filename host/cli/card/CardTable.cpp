#include "host/cli/CardTable.h"

#include <algorithm>

#include "host/cli/card/CardCommands.h"

namespace host {

const std::vector<CardCommand>& cardCommands() {
    static const std::vector<CardCommand> kCommands = {
        readersCommand(),          statusCommand(),    objectsCommand(),   initTokenCommand(),
        setPinCommand(),           changePinCommand(), unlockPinCommand(), generateKeyCommand(),
        importKeyCommand(),        publicKeyCommand(), requestCommand(),   writeCertificateCommand(),
        readCertificatesCommand(), signCommand(),      verifyCommand(),    nameContainerCommand(),
        removeCommand(),
    };
    return kCommands;
}

const CardCommand* findCardCommand(const std::string& name) {
    const std::vector<CardCommand>& all = cardCommands();
    const auto found = std::find_if(all.begin(), all.end(), [&](const CardCommand& c) { return c.name == name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace host
