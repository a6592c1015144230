#include "bench/Cases.h"

#include "host/plugin/Texts.h"

namespace bench {

namespace {

std::vector<Case> makeCases() {
    constexpr CK_STATE kPublic = CKS_RW_PUBLIC_SESSION;
    constexpr CK_STATE kUser = CKS_RW_USER_FUNCTIONS;
    const std::string rsa = "ALGOID=1.2.840.113549.1.1.1";
    return {
        {"getReaderList", {}, kUser},
        {"getPlatformIdentifiers", {"READERNAME=text:Reader 000"}, kUser},
        {"getCardState", {}, kUser},
        {"getAuthenticatorState", {"PINID=USER"}, kUser},
        {"init", {"INIT_KEYID=SO", "INIT_KEY=text:87654321", "LABEL=text:Card"}, kPublic},
        {"recycle", {"RECYCLE_KEYID=SO", "RECYCLE_KEY=text:87654321", "LABEL=text:Card"}, kPublic},
        {"initAuthenticator", {"INIT_KEYID=SO", "INIT_KEY=text:87654321", "PINID=USER", "PIN=text:123456"}, kPublic},
        {"changeAuthenticator", {"PINID=USER", "OLD_PIN=text:123456", "NEW_PIN=text:123456"}, kPublic},
        {"unlockAuthenticator",
         {"UNLOCK_TYPE=STATIC", "PINID=USER", "PIN=text:123456", "UNLOCK_KEYID=SO", "UNLOCK_KEY=text:87654321"},
         kPublic},
        {"authenticate", {"AUTH_TYPE=STATIC", "PINID=USER", "PIN=text:123456"}, kPublic},
        {"deauthenticate", {"PINID=USER"}, kUser},
        {"writeData",
         {"OBJ_TYPE=CERTIFICATE", "CERT_TYPE=X_509", certificateArgument(), "LABEL=text:Signature", "ID=hex:4501",
          "SUBJECT=hex:300D310B3009060355040613024445"},
         kUser},
        {"readData", {"OBJ_TYPE=CERTIFICATE", "ID=hex:4501"}, kUser},
        {"removeData", {"OBJ_TYPE=CERTIFICATE", "ID=hex:4501"}, kUser},
        {"generateKeyPair",
         {rsa, "KEYSIZE=2048", "PUBLICEXPONENT=AQAB", "ID=hex:4501", "LABEL=text:Signature", "SIGN=1", "VERIFY=1"},
         kUser},
        {"signData", {rsa, "KEYID=hex:4501", signArgument()}, kUser},
        {"beginSynchronization", {}, kUser},
        {"endSynchronization", {}, kUser},
    };
}

} // namespace

std::span<const Case> cases() {
    static const std::vector<Case> s_cases = makeCases();
    return s_cases;
}

std::string signArgument() {
    constexpr char kDigestInfo[] = "\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20";
    const std::string block = std::string(kDigestInfo, sizeof kDigestInfo - 1) + std::string(32, '\x42');
    return "DATA=base64:" + host::toUtf8(host::toBase64(block));
}

std::string certificateArgument() {
    return "DATA=base64:" + host::toUtf8(host::toBase64(std::string(1024, '\x5A')));
}

} // namespace bench
