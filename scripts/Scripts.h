#pragma once

#include "client/Script.h"

/// The scripts, each in the source file of its family. Every one appends its own outputs and returns what "ERROR" is to
/// say; token failures and bad parameters never throw.
namespace scripts {

Result getReaderList(Script& script, const Trace& trace);
Result getPlatformIdentifiers(Script& script, const Trace& trace);
Result getCardState(Script& script, const Trace& trace);
Result getAuthenticatorState(Script& script, const Trace& trace);
Result init(Script& script, const Trace& trace);
Result recycle(Script& script, const Trace& trace);
Result initAuthenticator(Script& script, const Trace& trace);
Result changeAuthenticator(Script& script, const Trace& trace);
Result unlockAuthenticator(Script& script, const Trace& trace);
Result authenticate(Script& script, const Trace& trace);
Result deauthenticate(Script& script, const Trace& trace);
Result writeData(Script& script, const Trace& trace);
Result readData(Script& script, const Trace& trace);
Result removeData(Script& script, const Trace& trace);
Result generateKeyPair(Script& script, const Trace& trace);
Result signData(Script& script, const Trace& trace);
Result beginSynchronization(Script& script, const Trace& trace);
Result endSynchronization(Script& script, const Trace& trace);

} // namespace scripts
