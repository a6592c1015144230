#pragma once

#include "host/cli/CardTable.h"

// One card command each: its row of the table.

namespace host {

[[nodiscard]] CardCommand readersCommand();
[[nodiscard]] CardCommand statusCommand();
[[nodiscard]] CardCommand objectsCommand();
[[nodiscard]] CardCommand initTokenCommand();
[[nodiscard]] CardCommand setPinCommand();
[[nodiscard]] CardCommand changePinCommand();
[[nodiscard]] CardCommand unlockPinCommand();
[[nodiscard]] CardCommand generateKeyCommand();
[[nodiscard]] CardCommand importKeyCommand();
[[nodiscard]] CardCommand publicKeyCommand();
[[nodiscard]] CardCommand requestCommand();
[[nodiscard]] CardCommand writeCertificateCommand();
[[nodiscard]] CardCommand readCertificatesCommand();
[[nodiscard]] CardCommand signCommand();
[[nodiscard]] CardCommand verifyCommand();
[[nodiscard]] CardCommand nameContainerCommand();
[[nodiscard]] CardCommand removeCommand();
[[nodiscard]] CardCommand doctorCommand();
[[nodiscard]] CardCommand completeCommand();

} // namespace host
