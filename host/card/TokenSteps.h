#pragma once

#include <string>

#include "host/card/Token.h"

// Steps that set up a token and its PINs. All throw CardFailure; what is done is noted on the token.

namespace host {

/// UsageError unless `label` has 1 to 32 bytes of UTF-8 without control characters.
void checkTokenLabel(const std::string& label);

/// Initialises a blank token, or erases a used one. On a blank token `officerPin` becomes the security officer's PIN,
/// on a used one it is the valid one. The label is filled up with blanks, as the standard has it.
void initialiseToken(Token& token, const std::string& label, const WipedBytes& officerPin);

/// Refuses (9) a token that says that a user PIN is set: setting it anew would lock out who knows it.
void refuseUserPin(const Token& token);
/// How `setUserPin` is noted.
inline constexpr const char* kUserPinIsSet = "the user PIN is set";
/// Sets the first user PIN.
void setUserPin(Token& token, const WipedBytes& officerPin, const WipedBytes& newPin);

/// Changes a PIN by who knows it.
void changePin(Token& token, PinRole role, const WipedBytes& oldPin, const WipedBytes& newPin);

/// Sets the user PIN anew, whether it is locked or forgotten.
void unlockUserPin(Token& token, const WipedBytes& officerPin, const WipedBytes& newPin);

} // namespace host
