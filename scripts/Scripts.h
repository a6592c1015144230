#pragma once

#include "client/Script.h"

/// The scripts, each in the source file of its family. Every one appends "ERROR" and its own outputs; token failures
/// and bad parameters never throw.
namespace scripts {

void getReaderList(Script& script);
void getPlatformIdentifiers(Script& script);
void getCardState(Script& script);
void getAuthenticatorState(Script& script);
void init(Script& script);
void recycle(Script& script);
void initAuthenticator(Script& script);
void changeAuthenticator(Script& script);
void unlockAuthenticator(Script& script);
void authenticate(Script& script);
void deauthenticate(Script& script);
void writeData(Script& script);
void readData(Script& script);
void removeData(Script& script);
void generateKeyPair(Script& script);
void signData(Script& script);
void beginSynchronization(Script& script);
void endSynchronization(Script& script);

} // namespace scripts
