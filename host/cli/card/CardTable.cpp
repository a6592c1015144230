#include "host/cli/CardTable.h"

#include "host/cli/card/CardCommands.h"

namespace host {

const std::vector<CardCommand>& cardCommands() {
    static const std::vector<CardCommand> kCommands = {
        readersCommand(),          statusCommand(),    objectsCommand(),   initTokenCommand(),
        setPinCommand(),           changePinCommand(), unlockPinCommand(), generateKeyCommand(),
        importKeyCommand(),        publicKeyCommand(), requestCommand(),   writeCertificateCommand(),
        readCertificatesCommand(), signCommand(),      verifyCommand(),    nameContainerCommand(),
        removeCommand(),           doctorCommand(),    completeCommand(),
    };
    return kCommands;
}

} // namespace host
