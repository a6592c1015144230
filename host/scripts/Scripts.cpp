#include "host/scripts/Scripts.h"

#include <algorithm>
#include <cstring>

namespace host {

namespace {

using Values = std::vector<ScriptValue>;

constexpr const char* kRsa = "ALGOID=1.2.840.113549.1.1.1";
constexpr const char* kOnlyRsa = "the only algorithm: RSA";
constexpr const char* kNoReader = "  33001 (status 1) no reader was chosen: give --reader TEXT\n";
constexpr const char* kLoginErrors = "  33006 (status 5) the PIN is wrong    33007 (status 6) it is locked or expired\n"
                                     "  33016 (status 1) no PIN was given    33001 (status 1) no --reader was given\n";

const ScriptValue kPin = {"PIN=prompt:", "the user PIN (secret:, env:, fd: or text: as well)"};
const ScriptValue kPinRole = {"PINID=USER|SO", "whose PIN: the user's (default) or the security officer's"};

Values operator+(Values first, const Values& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// What an object is found by.
Values searchTerms() {
    return {{"LABEL=text:...", "label"},
            {"ID=hex:...", "identifier (CKA_ID), shared by a key and its certificate"},
            {"SUBJECT=hex:...", "subject as DER"},
            {"TOKEN=1|0", "1: object on the token, anything else: session object"},
            {"PRIVATE=1|0", "1: only visible after a login"},
            {"MODIFIABLE=1|0", "1: may be changed"}};
}

Values certificateTerms() {
    return {{"ISSUER=hex:...", "certificates: issuer as DER"},
            {"SN=hex:...", "certificates: serial number as DER"},
            {"CERT_CATEGORY=USER|CA", "certificates: the token user's own, or of an authority"}};
}

/// What a new key pair or an imported key is given.
Values keyAttributes() {
    return {{"LABEL=text:...", "label of both keys"},
            {"ID=hex:...", "identifier of both keys, by which signData finds the key"},
            {"SUBJECT=hex:...", "subject of both keys as DER"},
            {"TOKEN=1|0", "keys on the token (1, default) or for this session only"},
            {"PRIVATE_PRK=1|0", "private key visible only after a login (default 1)"},
            {"PRIVATE_PUK=1|0", "public key visible only after a login (default 0)"},
            {"SENSITIVE=1|0", "private key never leaves the token in clear"},
            {"EXTRACTABLE=1|0", "private key may leave the token wrapped"},
            {"MODIFIABLE=1|0, DERIVE=1|0", "both keys"},
            {"SIGN=1|0, SIGN_RECOVER=1|0", "private key"},
            {"DECRYPT=1|0, UNWRAP=1|0", "private key"},
            {"VERIFY=1|0, VERIFY_RECOVER=1|0", "public key"},
            {"ENCRYPT=1|0, WRAP=1|0", "public key; for all of these only the value 1 means yes"}};
}

Script getReaderList() {
    return {"getReaderList",
            "list the readers",
            {},
            {{"READERS", "the names of all readers, joined by slashes"}},
            "  33015, 33016 (status 1) the module failed\n",
            "  \"p11host readers\" shows the same as a table, with the token in each reader.\n"};
}

Script getPlatformIdentifiers() {
    return {
        "getPlatformIdentifiers",
        "choose a reader and read its token's identity",
        {{"READERNAME=text:...", "the reader's description, as \"p11host readers\" shows it"}},
        {{"SMOTYPE", "always P11GENERIC"}, {"SMOID", "serial number of the token"}, {"LABEL", "label of the token"}},
        "  33001 (status 1) there is no such reader\n  33003 (status 7) there is no token in it\n",
        "  --reader TEXT runs this script before any other command.\n"};
}

Script getCardState() {
    return {"getCardState",
            "ask for the state of the card",
            {},
            {{"CARDSTATE", "always 1, usable: the token itself is not asked"}},
            "  none\n",
            ""};
}

Script getAuthenticatorState() {
    return {"getAuthenticatorState",
            "ask whether a PIN is logged in, blocked or at its last try",
            {kPinRole},
            {{"AUTHSTATE", "1: logged in, 2: not logged in, 3: blocked"},
             {"LEFTPINTRY", "1, only when the next wrong PIN locks it"}},
            kNoReader,
            "  A login lives as long as its instance, so that 1 can only be seen in a job.\n"};
}

Script tokenInit(const char* name, const char* summary, const char* keyId, const char* key) {
    return {name,
            summary,
            {{keyId, "required: the security officer allows it"},
             {key, "the security officer's PIN; on a blank token, the one it gets"},
             {"LABEL=text:...", "the token's new label, 32 bytes at most"}},
            {},
            "  33006 (status 5) the PIN is wrong    33004 (status 8) the key's name is missing or bad\n"
            "  33026 (status 1) another program has a session on the token\n",
            "  This erases everything on the token. The user PIN is set afterwards with \"initAuthenticator\".\n"};
}

Script initAuthenticator() {
    return {"initAuthenticator",
            "set the user's first PIN",
            {{"INIT_KEYID=SO", "required: the security officer allows it"},
             {"INIT_KEY=prompt:", "the security officer's PIN; left out when a job has logged in already"},
             {"PINID=USER", "required: only the user PIN can be set"},
             {"PIN=prompt:", "the new user PIN"}},
            {},
            "  33006 (status 5) the security officer's PIN is wrong\n"
            "  33020 (status 1) the new PIN is too short or too long    33004 (status 8) a parameter is missing\n",
            ""};
}

Script changeAuthenticator() {
    return {"changeAuthenticator",
            "change a PIN by the one who knows it",
            {kPinRole, {"OLD_PIN=prompt:", "the PIN that is valid now"}, {"NEW_PIN=prompt:", "the new one"}},
            {},
            "  33006 (status 5) the old PIN is wrong    33007 (status 6) it is locked\n"
            "  33020 (status 1) the new PIN is too short or too long\n",
            ""};
}

Script unlockAuthenticator() {
    return {"unlockAuthenticator",
            "set a locked user PIN anew",
            {{"UNLOCK_TYPE=STATIC", "required"},
             {"UNLOCK_KEYID=SO", "whose PIN unlocks it"},
             {"UNLOCK_KEY=prompt:", "the security officer's PIN"},
             {"PINID=USER", "required: only the user PIN can be unlocked"},
             {"PIN=prompt:", "the new user PIN"}},
            {{"LEFTUNLOCKTRY", "1, only when the next wrong PIN of the security officer locks that one too"}},
            "  33006 (status 5) the security officer's PIN is wrong    33007 (status 6) that PIN is locked too\n"
            "  33004 (status 8) a parameter is missing or bad\n",
            ""};
}

Script authenticate() {
    return {
        "authenticate",
        "log in with a PIN",
        {{"AUTH_TYPE=STATIC", "required"}, kPinRole, {"PIN=prompt:", "the PIN of that role"}},
        {{"LEFTPINTRY", "1, only after a wrong PIN that leaves one try"}},
        "  33006 (status 5) the PIN is wrong    33007 (status 6) it is locked or expired\n"
        "  33004 (status 8) a parameter is missing or bad\n",
        "  As a command of its own this only checks the PIN: the login ends with the command. In a job it lasts.\n"};
}

Script deauthenticate() {
    return {"deauthenticate",
            "log out",
            {kPinRole},
            {},
            "  33023 (status 1) there is no session    33008 (status 1) that role is not logged in\n",
            "  For jobs: as a command of its own there is never anybody to log out.\n"};
}

Script writeData() {
    return {
        "writeData",
        "write a certificate, a key or a container name",
        Values{{"OBJ_TYPE=CERTIFICATE", "with CERT_TYPE=X_509 and DATA=file:cert.der, and"},
               {"", "LABEL, ID, SUBJECT, ISSUER, SN, CERT_CATEGORY, TOKEN, PRIVATE, MODIFIABLE as below"},
               {"OBJ_TYPE=PRIVATE_KEY", "with ALGOID, KEYENCODING and KEYVALUE, and attributes as below"},
               {"OBJ_TYPE=KEY_PAIR", "the same, and the public key too"},
               {"OBJ_TYPE=CONTAINER_NAME", "with KEYID=hex:... and CONTAINER_NAME=text:..."},
               kPin,
               {kRsa, kOnlyRsa},
               {"KEYENCODING=PKCS8.clear", "how KEYVALUE is encoded; PKCS8.encrypted is read the same way"},
               {"KEYVALUE=file:key.p8", "the private key as unencrypted PKCS#8 in DER"}} +
            certificateTerms() + keyAttributes(),
        {},
        kLoginErrors,
        "  Certificate: p11host writeData --reader R PIN=prompt: OBJ_TYPE=CERTIFICATE CERT_TYPE=X_509 \\\n"
        "                 DATA=file:cert.der ID=hex:01 LABEL=text:mine SUBJECT=hex:...\n"
        "  Most tokens want SUBJECT; \"certificate-fields cert.der\" of the examples prints SUBJECT, ISSUER and SN.\n"
        "  33004 (status 8) means a missing or bad parameter, 33011 (status 4) a key that is not there.\n"
        "  Without OBJ_TYPE nothing is written and the answer is success.\n"};
}

Script readData() {
    return {"readData",
            "read certificates or public keys",
            Values{{"OBJ_TYPE=CERTIFICATE|KEY_PAIR", "what to read; without it nothing is read"}} + searchTerms() +
                certificateTerms() + Values{{kRsa, "keys: RSA keys only"}},
            {{"COUNT", "how many were found (in hexadecimal digits with --json)"},
             {"DATA1, DATA2 ...", "the certificates as Base64 of their DER"},
             {"MODULUS1, PUBLICEXPONENT1 ...", "the numbers of the public keys as Base64"}},
            "  33004 (status 8) OBJ_TYPE or another parameter is bad    33001 (status 1) no --reader was given\n",
            "  No login is needed. Finding nothing is no failure: COUNT is 0.\n"};
}

Script removeData() {
    return {"removeData",
            "remove certificates, key pairs or anything",
            Values{{"OBJ_TYPE=CERTIFICATE|KEY_PAIR|ANY", "what to remove; it must be the first argument"}, kPin} +
                searchTerms() + certificateTerms(),
            {},
            "  33011 (status 4) nothing matches    33006 (status 5) the PIN is wrong\n"
            "  33004 (status 8) a parameter is bad    33016 (status 1) no PIN was given\n",
            "  Everything that matches is removed. An OBJ_TYPE that is not the first argument is not looked at, and\n"
            "  with no terms at all everything on the token matches.\n"};
}

Script generateKeyPair() {
    return {"generateKeyPair",
            "generate an RSA key pair on the token",
            Values{{kRsa, kOnlyRsa},
                   {"KEYSIZE=1024|2048", "bits of the modulus"},
                   {"PUBLICEXPONENT=base64:AQAB", "the public exponent, here 65537"},
                   kPin} +
                keyAttributes(),
            {{"MODULUS", "the new public key's modulus as Base64"}},
            "  33006 (status 5) the PIN is wrong    33016 (status 1) no PIN was given\n"
            "  33004 (status 8) a parameter is missing or bad    33019 (status 1) the key size is not supported\n",
            "  p11host generateKeyPair --reader R PIN=prompt: ALGOID=1.2.840.113549.1.1.1 KEYSIZE=2048 \\\n"
            "    PUBLICEXPONENT=base64:AQAB ID=hex:01 LABEL=text:mine SIGN=1\n"
            "  A card may need a minute.\n"};
}

Script signData() {
    return {
        "signData",
        "sign a block of data with a key on the token",
        {{kRsa, kOnlyRsa},
         {"KEYID=hex:...", "identifier of the private key"},
         {"DATA=file:...", "the block to be signed, as it stands (usually a DigestInfo); base64: as well"},
         kPin},
        {{"SIGNEDDATA", "the signature as Base64"}},
        "  33011 (status 4) there is no such key    33006 (status 5) the PIN is wrong\n"
        "  33004 (status 8) a parameter is missing or bad    33016 (status 1) no PIN was given\n",
        "  Nothing is hashed here. The plug-in may answer ERROR 0 though the token did not sign: without SIGNEDDATA\n"
        "  this command ends with status 1, and \"--trace -\" shows why.\n",
        "SIGNEDDATA"};
}

Script synchronization(const char* name, const char* summary) {
    return {name, summary, {}, {}, "  none\n", "  Nothing is done on the token.\n"};
}

void appendValues(std::string& text, const char* title, const Values& values) {
    if (values.empty()) {
        return;
    }
    std::size_t width = 0;
    for (const ScriptValue& value : values) {
        width = std::max(width, std::strlen(value.id));
    }
    text += std::string(title) + ":\n";
    for (const ScriptValue& value : values) {
        text += "  " + std::string(value.id) + std::string(width - std::strlen(value.id) + 2, ' ') + value.help + "\n";
    }
}

} // namespace

const std::vector<Script>& scripts() {
    static const std::vector<Script> kScripts = {
        getReaderList(),
        getPlatformIdentifiers(),
        getCardState(),
        getAuthenticatorState(),
        tokenInit("init", "initialise a token", "INIT_KEYID=SO", "INIT_KEY=prompt:"),
        tokenInit("recycle", "initialise a used token again", "RECYCLE_KEYID=SO", "RECYCLE_KEY=prompt:"),
        initAuthenticator(),
        changeAuthenticator(),
        unlockAuthenticator(),
        authenticate(),
        deauthenticate(),
        writeData(),
        readData(),
        removeData(),
        generateKeyPair(),
        signData(),
        synchronization("beginSynchronization", "mark the beginning of a synchronisation"),
        synchronization("endSynchronization", "mark the end of a synchronisation"),
    };
    return kScripts;
}

std::string promiseOf(const std::string& script) {
    const std::vector<Script>& all = scripts();
    const auto entry = std::find_if(all.begin(), all.end(), [&](const Script& known) { return known.name == script; });
    return entry == all.end() || entry->promise == nullptr ? "" : entry->promise;
}

std::string scriptHelp(const Script& script) {
    std::string text;
    appendValues(text, "Parameters", script.parameters);
    appendValues(text, "Answers, beside ERROR", script.outputs);
    text += std::string("Typical errors:\n") + script.errors;
    if (*script.notes != '\0') {
        text += std::string("Notes:\n") + script.notes;
    }
    return text;
}

} // namespace host
