#pragma once

#include <string>
#include <vector>

#include "host/card/Token.h"

// Steps that work with keys; the user is logged in. All throw CardFailure; what is done is noted on the token.

namespace host {

/// What a key may be used for.
struct KeyUse {
    bool signs = true;
    bool decrypts = true;
};

/// Reads "sign", "decrypt" or both with a comma between. UsageError for anything else.
[[nodiscard]] KeyUse readKeyUse(const std::string& text);

struct NewKey {
    std::string id;    ///< bytes
    std::string label; ///< may be empty
    std::string size;  ///< "1024" or "2048"
    KeyUse use;
};

/// Refuses (9) an identifier that a key on the token has already: two keys of one identifier cannot be told apart.
void refuseTakenId(const Token& token, const std::string& id);
/// CardFailure unless the token makes RSA keys of this size and has memory left for a pair of them, as far as it tells.
void checkKeySize(const Token& token, const std::string& size);

/// Adds what every key pair of ours gets: on the token, the private key private, sensitive and not extractable, used
/// for `use` alone. The label may be empty.
void addKeyAttributes(ScriptCall& call, const std::string& id, const std::string& label, KeyUse use);

/// Generates an RSA key pair: on the token, private, sensitive, not extractable. Returns the public key as the token
/// shows it afterwards; without modulus in a dry run.
[[nodiscard]] ObjectView generateKey(Token& token, const NewKey& key);

/// Gives the private key with this identifier a container name, and looks whether the token keeps it.
void nameContainer(Token& token, const std::string& id, const std::string& name);

/// Every object with this class and identifier.
[[nodiscard]] std::vector<ObjectView> findObjects(const std::vector<ObjectView>& objects, ObjectClass objectClass,
                                                  const std::string& id);

} // namespace host
