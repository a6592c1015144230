#pragma once

#include "client/ScriptContext.h"

/// The scripts. Each appends its outputs and returns the result for "ERROR". Token failures and bad parameters never
/// throw.
namespace plugin::scripts {

Result getReaderList(ScriptContext& script, const Trace& trace);
Result getPlatformIdentifiers(ScriptContext& script, const Trace& trace);
Result getCardState(ScriptContext& script, const Trace& trace);
Result getAuthenticatorState(ScriptContext& script, const Trace& trace);
Result init(ScriptContext& script, const Trace& trace);
Result recycle(ScriptContext& script, const Trace& trace);
Result initAuthenticator(ScriptContext& script, const Trace& trace);
Result changeAuthenticator(ScriptContext& script, const Trace& trace);
Result unlockAuthenticator(ScriptContext& script, const Trace& trace);
Result authenticate(ScriptContext& script, const Trace& trace);
Result deauthenticate(ScriptContext& script, const Trace& trace);
Result writeData(ScriptContext& script, const Trace& trace);
Result readData(ScriptContext& script, const Trace& trace);
Result removeData(ScriptContext& script, const Trace& trace);
Result generateKeyPair(ScriptContext& script, const Trace& trace);
Result signData(ScriptContext& script, const Trace& trace);
Result beginSynchronization(ScriptContext& script, const Trace& trace);
Result endSynchronization(ScriptContext& script, const Trace& trace);

} // namespace plugin::scripts
