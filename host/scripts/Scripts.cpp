#include "host/scripts/Scripts.h"

#include <algorithm>

namespace host {

namespace {

using Parameters = std::vector<ScriptParameter>;
using Kind = ValueKind;

constexpr const char* kNoReader = "33001 (status 1) no reader was chosen: give --reader TEXT\n";
constexpr const char* kLoginErrors = "33006 (status 5) the PIN is wrong\n"
                                     "33007 (status 6) the PIN is locked or expired\n"
                                     "33001 (status 1) no reader was chosen: give --reader TEXT\n";
constexpr const char* kRsa = "1.2.840.113549.1.1.1";
constexpr const char* kCertificate = "CERTIFICATE";
constexpr const char* kKeys = "PRIVATE_KEY|KEY_PAIR";
constexpr const char* kKeyPair = "KEY_PAIR";
constexpr const char* kContainer = "CONTAINER_NAME";
constexpr const char* kObjects = "CERTIFICATE|PRIVATE_KEY|KEY_PAIR";

Parameters operator+(Parameters first, const Parameters& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

ScriptParameter keyword(const char* id, const char* words, Need need, const char* help, const char* objects = "") {
    return {id, Kind::Keyword, words, need, objects, help};
}

ScriptParameter flag(const char* id, const char* help, const char* objects = "") {
    return {id, Kind::Flag, "", Need::Optional, objects, help};
}

ScriptParameter value(const char* id, Kind kind, Need need, const char* help, const char* objects = "") {
    return {id, kind, "", need, objects, help};
}

ScriptParameter inAnyCase(ScriptParameter parameter) {
    parameter.anyCase = true;
    return parameter;
}

ScriptParameter userPin() {
    return value("PIN", Kind::Secret, Need::Alone, "the user PIN");
}

ScriptParameter role() {
    return keyword("PINID", "USER|SO", Need::Optional, "whose PIN: the user's (default) or the security officer's");
}

ScriptParameter rsa(Need need, const char* objects = "") {
    return keyword("ALGOID", kRsa, need, "the algorithm: RSA", objects);
}

/// The terms of a search, with which certificates are written, too.
Parameters commonTerms(const char* objects) {
    return {value("LABEL", Kind::Label, Need::Optional, "label", objects),
            value("ID", Kind::Identifier, Need::Optional, "identifier, shared by a key and its certificate", objects),
            value("SUBJECT", Kind::Name, Need::Optional, "subject as DER", objects),
            flag("TOKEN", "1: on the token (default when written), 0: for this session only", objects),
            flag("MODIFIABLE", "1: may be changed", objects)};
}

Parameters certificateTerms(const char* objects) {
    return {value("ISSUER", Kind::Name, Need::Optional, "issuer as DER", objects),
            value("SN", Kind::Number, Need::Optional, "serial number as DER", objects),
            keyword("CERT_CATEGORY", "USER|CA", Need::Optional, "the token user's own, or of an authority", objects)};
}

/// The attributes of a new or imported key pair, beside the common terms.
Parameters keyAttributes(const char* both, const char* publicKey) {
    return {flag("PRIVATE_PRK", "private key visible only after a login (default 1)", both),
            flag("PRIVATE_PUK", "public key visible only after a login (default 0)", publicKey),
            flag("SENSITIVE", "private key never leaves the token in clear", both),
            flag("EXTRACTABLE", "private key may leave the token wrapped", both),
            flag("SIGN", "private key signs", both),
            flag("SIGN_RECOVER", "private key signs with recovery", both),
            flag("DECRYPT", "private key decrypts", both),
            flag("UNWRAP", "private key unwraps keys", both),
            flag("DERIVE", "keys derive other keys", both),
            flag("VERIFY", "public key verifies", publicKey),
            flag("VERIFY_RECOVER", "public key verifies with recovery", publicKey),
            flag("ENCRYPT", "public key encrypts", publicKey),
            flag("WRAP", "public key wraps keys", publicKey)};
}

Script getReaderList() {
    return {"getReaderList",
            "list the readers",
            {},
            {{"READERS", "the names of all readers, joined by slashes"}},
            "33015, 33016 (status 1) the module failed\n",
            "\"p11host readers\" shows the same as a table, with the token in each reader.\n",
            ""};
}

Script getPlatformIdentifiers() {
    return {
        "getPlatformIdentifiers",
        "choose a reader and read its token's identity",
        {inAnyCase(
            value("READERNAME", Kind::Text, Need::Alone, "the reader's description, as \"p11host readers\" shows it"))},
        {{"SMOTYPE", "always P11GENERIC"}, {"SMOID", "serial number of the token"}, {"LABEL", "label of the token"}},
        "33001 (status 1) there is no such reader\n33003 (status 7) there is no token in it\n",
        "--reader TEXT runs this script before any other command.\n",
        "READERNAME=text:\"SoftHSM slot ID 0x0\""};
}

Script getCardState() {
    return {"getCardState",
            "ask for the state of the card",
            {},
            {{"CARDSTATE", "always 1, usable: the token itself is not asked"}},
            "none\n",
            "",
            ""};
}

Script getAuthenticatorState() {
    return {"getAuthenticatorState",
            "ask whether a PIN is logged in, blocked or at its last try",
            {role()},
            {{"AUTHSTATE", "1: logged in, 2: not logged in, 3: blocked"},
             {"LEFTPINTRY", "1, only when the next wrong PIN locks it"}},
            kNoReader,
            "A login lives as long as its instance, so that 1 can only be seen in a job.\n",
            "PINID=USER"};
}

Script tokenInit(const char* name, const char* summary, const char* keyId, const char* key, const char* example) {
    return {
        name,
        summary,
        {keyword(keyId, "SO", Need::Always, "whose PIN allows it"),
         value(key, Kind::Secret, Need::Always, "the security officer's PIN; on a blank token, the one that it gets"),
         value("LABEL", Kind::TokenLabel, Need::Optional, "the token's new label, 32 bytes at most")},
        {},
        "33006 (status 5) the PIN is wrong\n33026 (status 1) another program has a session on the token\n",
        "This erases everything on the token. The user PIN is set afterwards with \"initAuthenticator\".\n",
        example};
}

Script initAuthenticator() {
    return {"initAuthenticator",
            "set the user's first PIN",
            {keyword("INIT_KEYID", "SO", Need::Always, "whose PIN allows it"),
             value("INIT_KEY", Kind::Secret, Need::Alone, "the security officer's PIN"),
             keyword("PINID", "USER", Need::Always, "only the user PIN can be set"),
             value("PIN", Kind::Secret, Need::Alone, "the new user PIN")},
            {},
            "33006 (status 5) the security officer's PIN is wrong\n"
            "33020 (status 1) the new PIN is too short or too long\n",
            "In a job that has logged the security officer in, INIT_KEY is left out.\n",
            "INIT_KEYID=SO INIT_KEY=prompt: PINID=USER PIN=prompt:"};
}

Script changeAuthenticator() {
    return {"changeAuthenticator",
            "change a PIN by the one who knows it",
            {role(), value("OLD_PIN", Kind::Secret, Need::Alone, "the PIN that is valid now"),
             value("NEW_PIN", Kind::Secret, Need::Alone, "the new one")},
            {},
            "33006 (status 5) the old PIN is wrong\n33007 (status 6) it is locked\n"
            "33020 (status 1) the new PIN is too short or too long\n",
            "",
            "PINID=USER OLD_PIN=prompt: NEW_PIN=prompt:"};
}

Script unlockAuthenticator() {
    return {"unlockAuthenticator",
            "set a locked user PIN anew",
            {keyword("UNLOCK_TYPE", "STATIC", Need::Always, "how it is unlocked: with a PIN"),
             keyword("UNLOCK_KEYID", "SO", Need::Optional, "whose PIN unlocks it"),
             value("UNLOCK_KEY", Kind::Secret, Need::Alone, "the security officer's PIN"),
             keyword("PINID", "USER", Need::Always, "only the user PIN can be unlocked"),
             value("PIN", Kind::Secret, Need::Always, "the new user PIN")},
            {{"LEFTUNLOCKTRY", "1, only when the next wrong PIN of the security officer locks that one too"}},
            "33006 (status 5) the security officer's PIN is wrong\n33007 (status 6) that PIN is locked too\n",
            "",
            "UNLOCK_TYPE=STATIC UNLOCK_KEYID=SO UNLOCK_KEY=prompt: PINID=USER PIN=prompt:"};
}

Script authenticate() {
    return {"authenticate",
            "log in with a PIN",
            {keyword("AUTH_TYPE", "STATIC", Need::Alone, "how: with a PIN"), role(),
             value("PIN", Kind::Secret, Need::Alone, "the PIN of that role")},
            {{"LEFTPINTRY", "1, only after a wrong PIN that leaves one try"}},
            "33006 (status 5) the PIN is wrong\n33007 (status 6) it is locked or expired\n",
            "As a command of its own this only checks the PIN: the login ends with the command. In a job it lasts.\n",
            "AUTH_TYPE=STATIC PINID=USER PIN=prompt:"};
}

Script deauthenticate() {
    return {"deauthenticate",
            "log out",
            {role()},
            {},
            "33023 (status 1) there is no session\n33008 (status 1) that role is not logged in\n",
            "For jobs: as a command of its own there is never anybody to log out.\n",
            ""};
}

Script writeData() {
    Parameters parameters = {
        keyword("OBJ_TYPE", "CERTIFICATE|PRIVATE_KEY|KEY_PAIR|CONTAINER_NAME", Need::Always, "what to write"),
        userPin(),
        keyword("CERT_TYPE", "X_509", Need::Always, "the kind of certificate", kCertificate),
        value("DATA", Kind::Certificate, Need::Always, "the certificate, DER or PEM", kCertificate),
        rsa(Need::Always, kKeys),
        keyword("KEYENCODING", "PKCS8.clear|PKCS8.encrypted", Need::Always,
                "how the key is encoded; both words mean unencrypted PKCS #8", kKeys),
        value("KEYVALUE", Kind::PrivateKey, Need::Always, "the private key as unencrypted PKCS #8, DER or PEM", kKeys),
        value("KEYID", Kind::Identifier, Need::Always, "identifier of the key", kContainer),
        value("CONTAINER_NAME", Kind::Label, Need::Always, "the container's name", kContainer),
        flag("DEFAULT_CONTAINER", "taken, and without effect", kContainer)};
    return {"writeData",
            "write a certificate, a key or a container name",
            parameters + commonTerms(kObjects) +
                Parameters{flag("PRIVATE", "certificate visible only after a login (default 0)", kCertificate)} +
                certificateTerms(kCertificate) + keyAttributes(kKeys, kKeyPair),
            {},
            std::string(kLoginErrors).append("33011 (status 4) there is no such key\n"),
            "Most tokens want SUBJECT; \"certificate-fields cert.der\" of the examples prints SUBJECT, ISSUER and SN.\n"
            "KEY_PAIR writes the public key, too, unless one with this ID is there.\n",
            "PIN=prompt: OBJ_TYPE=CERTIFICATE CERT_TYPE=X_509\nDATA=file:cert.der ID=hex:01 LABEL=text:mine "
            "SUBJECT=hex:..."};
}

Script readData() {
    return {"readData",
            "read certificates or public keys",
            Parameters{keyword("OBJ_TYPE", "CERTIFICATE|KEY_PAIR", Need::Always, "what to read")} + commonTerms("") +
                Parameters{flag("PRIVATE", "1: visible only after a login")} + certificateTerms(kCertificate) +
                Parameters{rsa(Need::Optional, kKeyPair)},
            {{"COUNT", "how many were found (in hexadecimal digits with --json)"},
             {"DATA1, DATA2 ...", "the certificates as Base64 of their DER"},
             {"MODULUS1, PUBLICEXPONENT1 ...", "the numbers of the public keys as Base64"}},
            kNoReader,
            "No login is needed. Finding nothing is no failure: COUNT is 0.\n",
            "OBJ_TYPE=CERTIFICATE ID=hex:01"};
}

Script removeData() {
    return {"removeData",
            "remove certificates, key pairs or anything",
            Parameters{keyword("OBJ_TYPE", "CERTIFICATE|KEY_PAIR|ANY", Need::Optional,
                               "what to remove; without it, objects of any kind"),
                       userPin()} +
                commonTerms("") + Parameters{flag("PRIVATE", "1: visible only after a login")} + certificateTerms(""),
            {},
            std::string("33011 (status 4) nothing matches\n").append(kLoginErrors),
            "Everything that matches is removed: all terms together choose it. Without LABEL, ID, SUBJECT, ISSUER, SN "
            "or CERT_CATEGORY the command wants --all. On a terminal it asks before it removes; --yes answers.\n",
            "PIN=prompt: OBJ_TYPE=CERTIFICATE ID=hex:01"};
}

Script generateKeyPair() {
    return {"generateKeyPair",
            "generate an RSA key pair on the token",
            Parameters{rsa(Need::Always), keyword("KEYSIZE", "1024|2048", Need::Always, "bits of the modulus"),
                       value("PUBLICEXPONENT", Kind::Exponent, Need::Always, "the public exponent; AQAB is 65537"),
                       userPin()} +
                commonTerms("") + keyAttributes("", ""),
            {{"MODULUS", "the new public key's modulus as Base64"}},
            std::string(kLoginErrors).append("33019 (status 1) the key size is not supported\n"),
            "A card may need a minute.\n",
            "PIN=prompt: ALGOID=1.2.840.113549.1.1.1\nKEYSIZE=2048 PUBLICEXPONENT=base64:AQAB ID=hex:01 "
            "LABEL=text:mine SIGN=1"};
}

Script signData() {
    return {"signData",
            "sign a block of data with a key on the token",
            {rsa(Need::Alone), value("KEYID", Kind::Identifier, Need::Alone, "identifier of the private key"),
             value("DATA", Kind::Block, Need::Alone, "the block to be signed as it stands, usually a DigestInfo"),
             userPin()},
            {{"SIGNEDDATA", "the signature as Base64"}},
            std::string("33011 (status 4) there is no such key\n").append(kLoginErrors),
            "Nothing is hashed here. The plug-in may answer ERROR 0 though the token did not sign: without SIGNEDDATA "
            "this command ends with status 1, and \"--trace -\" shows why.\n",
            "PIN=prompt: ALGOID=1.2.840.113549.1.1.1 KEYID=hex:01\nDATA=file:digestinfo.der",
            "SIGNEDDATA"};
}

Script synchronization(const char* name, const char* summary) {
    return {name, summary, {}, {}, "none\n", "Nothing is done on the token.\n", ""};
}

} // namespace

const std::vector<Script>& scripts() {
    static const std::vector<Script> kScripts = {
        getReaderList(),
        getPlatformIdentifiers(),
        getCardState(),
        getAuthenticatorState(),
        tokenInit("init", "initialise a token", "INIT_KEYID", "INIT_KEY",
                  "INIT_KEYID=SO INIT_KEY=prompt: LABEL=text:card"),
        tokenInit("recycle", "initialise a used token again", "RECYCLE_KEYID", "RECYCLE_KEY",
                  "RECYCLE_KEYID=SO RECYCLE_KEY=prompt: LABEL=text:card"),
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

const Script* findScript(std::string_view name) {
    const std::vector<Script>& all = scripts();
    const auto entry = std::find_if(all.begin(), all.end(), [&](const Script& script) { return script.name == name; });
    return entry == all.end() ? nullptr : &*entry;
}

const Script& creation() {
    static const Script kCreation = {
        "newInstance",
        "make an executor",
        {inAnyCase(value("DLLNAME", Kind::Setting, Need::Always, "the PKCS #11 module")),
         inAnyCase(value("readerPrefix", Kind::Setting, Need::Optional, "prefix that reader names carry"))},
        {},
        "",
        "",
        ""};
    return kCreation;
}

const Script& access() {
    static const Script kAccess = {
        "initialize",
        "give an executor what later scripts take when they are not given it",
        {value("readerName", Kind::Text, Need::Optional, "the reader for \"getPlatformIdentifiers\""),
         value("PIN", Kind::Secret, Need::Optional, "the PIN to log in with"),
         value("OLD_PIN", Kind::Secret, Need::Optional, "for \"changeAuthenticator\""),
         value("NEW_PIN", Kind::Secret, Need::Optional, "for \"changeAuthenticator\""), role(),
         keyword("AUTH_TYPE", "STATIC", Need::Optional, "for \"authenticate\""), rsa(Need::Optional),
         value("KEYID", Kind::Identifier, Need::Optional, "for \"signData\""),
         value("DATA", Kind::Block, Need::Optional, "for \"signData\"")},
        {},
        "",
        "",
        ""};
    return kAccess;
}

std::string promiseOf(const std::string& script) {
    const Script* entry = findScript(script);
    return entry == nullptr || entry->promise == nullptr ? "" : entry->promise;
}

std::vector<std::string> wordsOf(std::string_view words) {
    std::vector<std::string> list;
    while (!words.empty()) {
        const std::size_t end = std::min(words.find('|'), words.size());
        list.emplace_back(words.substr(0, end));
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return list;
}

bool looksAt(const ScriptParameter& parameter, std::string_view object) {
    const std::vector<std::string> objects = wordsOf(parameter.objects);
    return objects.empty() || std::find(objects.begin(), objects.end(), object) != objects.end();
}

std::vector<std::string> waysToWrite(ValueKind kind) {
    switch (kind) {
    case Kind::Keyword:
    case Kind::Flag:
    case Kind::Setting:
        return {""};
    case Kind::Secret:
        return {"prompt:", "env:", "secret:", "fd:", "text:"};
    case Kind::Text:
    case Kind::Label:
    case Kind::TokenLabel:
        return {"text:", "hex:", "env:", "prompt:", "secret:", "fd:"};
    case Kind::Identifier:
        return {"hex:", "text:"};
    case Kind::Name:
    case Kind::Number:
        return {"hex:"};
    case Kind::Certificate:
    case Kind::PrivateKey:
        return {"file:", "base64:"};
    case Kind::Exponent:
        return {"base64:", "file:"};
    case Kind::Block:
        return {"file:", "base64:", "hex:", "text:"};
    }
    return {};
}

std::string written(const ScriptParameter& parameter) {
    const std::string start = std::string(parameter.id) + "=";
    if (parameter.kind == Kind::Keyword) {
        return start + parameter.words;
    }
    if (parameter.kind == Kind::Flag) {
        return start + "1|0";
    }
    const std::string way = waysToWrite(parameter.kind).front();
    if (parameter.kind == Kind::Exponent) {
        return start + "base64:AQAB";
    }
    return start + way + (way == "prompt:" ? "" : "...");
}

} // namespace host
