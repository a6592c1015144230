#include "host/view/Quirks.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

struct ProductRow {
    Product product;
    const char* name;
    const char* description;  ///< part of libraryDescription
    const char* manufacturer; ///< of the library, or of a token behind a proxy
};

constexpr std::array<ProductRow, 4> kProducts = {{
    {Product::SoftHsm, "SoftHSM2", "Implementation of PKCS11", "SoftHSM"},
    {Product::OpenCryptoki, "opencryptoki", "Meta PKCS11 LIBRARY", "IBM"},
    {Product::Proxy, "p11-kit's proxy", "PKCS#11 Kit Proxy Module", "PKCS#11 Kit"},
    {Product::Trust, "p11-kit's trust module", "PKCS#11 Kit Trust Module", "PKCS#11 Kit"},
}};

bool hasPart(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// As docs/tokens.md says it; a test compares the two.
const std::vector<Quirk> kQuirks = {
    {Product::SoftHsm, false, "RSA key pairs generated, 1024 and 2048 bits", "yes"},
    {Product::OpenCryptoki, false, "RSA key pairs generated, 1024 and 2048 bits", "yes"},
    {Product::SoftHsm, false, "RSA keys imported: 1023, 1024, 2047, 2048, 3072, 4096 bits, exponents 3 and 65537",
     "yes"},
    {Product::OpenCryptoki, false, "RSA keys imported: 1023, 1024, 2047, 2048, 3072, 4096 bits, exponents 3 and 65537",
     "yes"},
    {Product::SoftHsm, false, "CERT_CATEGORY", "accepted"},
    {Product::OpenCryptoki, false, "CERT_CATEGORY", "refused, 80f9: the token does not know the attribute"},
    {Product::SoftHsm, false, "certificate without SUBJECT",
     "refused, 8105, and an empty certificate object stays on the token"},
    {Product::OpenCryptoki, false, "certificate without SUBJECT", "refused, 8105, nothing stays"},
    {Product::SoftHsm, false, "CONTAINER_NAME", "refused, 80f9"},
    {Product::OpenCryptoki, false, "CONTAINER_NAME", "refused, 8106"},
    {Product::SoftHsm, false, "removal while its search is open", "yes"},
    {Product::OpenCryptoki, false, "removal while its search is open", "yes"},
    {Product::SoftHsm, false, "wrong PINs", "not counted: 80ee every time, never LEFTPINTRY, never AUTHSTATE 3"},
    {Product::OpenCryptoki, false, "wrong PINs",
     "counted: 80ee; LEFTPINTRY after the second; the third locks, and still answers 80ee; then AUTHSTATE 3 and 80ef, "
     "until \"unlockAuthenticator\""},
    {Product::SoftHsm, false, "wrong keys of the security officer",
     "not counted: 80ee every time, never LEFTUNLOCKTRY, LEFTPINTRY or AUTHSTATE 3"},
    {Product::OpenCryptoki, false, "wrong keys of the security officer",
     "counted, by \"unlockAuthenticator\" and \"authenticate\" together: 80ee; after the second LEFTUNLOCKTRY or "
     "LEFTPINTRY; a right key starts anew; the third locks, and still answers 80ee; then AUTHSTATE 3 and 80ef for "
     "good, for \"recycle\" too. The user's PIN is not affected"},
    {Product::SoftHsm, false, "\"init\", \"recycle\" with a wrong key", "80ee, nothing is lost"},
    {Product::OpenCryptoki, false, "\"init\", \"recycle\" with a wrong key", "80ee, nothing is lost"},
    {Product::SoftHsm, false, "\"init\" while another executor has a session open", "8102"},
    {Product::OpenCryptoki, false, "\"init\" while another executor has a session open", "8102"},
    {Product::SoftHsm, false, "PIN of one letter", "80fc"},
    {Product::OpenCryptoki, false, "PIN of one letter", "80fc"},
    {Product::SoftHsm, false, "login before a user PIN is set", "80f5"},
    {Product::OpenCryptoki, false, "login before a user PIN is set", "80f5"},
    {Product::SoftHsm, false, "\"unlockAuthenticator\" while the user is logged in", "80f1"},
    {Product::OpenCryptoki, false, "\"unlockAuthenticator\" while the user is logged in", "80f1"},
    {Product::SoftHsm, false, "data as long as the modulus, to be signed", "80f7"},
    {Product::OpenCryptoki, false, "data as long as the modulus, to be signed", "80f9"},
    {Product::SoftHsm, false, "a search after a script that left its search open (\"key not found\")",
     "80f5; \"terminate\" and \"initialize\" give a new session"},
    {Product::OpenCryptoki, false, "a search after a script that left its search open (\"key not found\")",
     "80f5; \"terminate\" and \"initialize\" give a new session"},
    {Product::OpenCryptoki, true,
     "opencryptoki: do not initialise a token again whose security officer's PIN was changed.",
     "\"changeAuthenticator\" with PINID=SO answers 0, and so does a later \"init\" with the new PIN. From then on the "
     "security officer cannot log in: with the right PIN the answer is 80f8 (`C_Login` gives CKR_FUNCTION_FAILED), "
     "with a wrong one 80ee. \"init\" still accepts the right PIN, but no user PIN can be set. Another \"init\" does "
     "not help. Seen with version 3.8.1."},
    {Product::SoftHsm, true, "A PIN that another process changes.",
     "SoftHSM2 keeps what it has read: an open executor goes on with the old PIN and answers 80ee to the new one, also "
     "after `terminate` and `initialize`. A new executor, made after `freeInstance` of the last one, accepts the new "
     "PIN. opencryptoki sees the change at once: the old PIN answers 80ee, the new one, given as \"PIN\" with the "
     "operation, works."},
    {Product::OpenCryptoki, true, "A PIN that another process changes.",
     "SoftHSM2 keeps what it has read: an open executor goes on with the old PIN and answers 80ee to the new one, also "
     "after `terminate` and `initialize`. A new executor, made after `freeInstance` of the last one, accepts the new "
     "PIN. opencryptoki sees the change at once: the old PIN answers 80ee, the new one, given as \"PIN\" with the "
     "operation, works."},
    {Product::SoftHsm, true, "Parallel hosts on SoftHSM2.",
     "Six processes that generated and removed keys on one token at the same time left the token in order, but one of "
     "them was answered 80f7 by \"getPlatformIdentifiers\" and did nothing; it works when it is run again."},
    {Product::SoftHsm, true, "SoftHSM2: a certificate that was refused",
     "because it has no SUBJECT (8105) stays on the token as a certificate object. The executor that wrote it still "
     "sees it whole; every later one counts it, with an empty DATA. \"removeData\" removes it. Under Wine the answer "
     "is the same 8105, with the same object left; there \"removeData\" by the executor that wrote it answers 80f8 "
     "(CKR_FUNCTION_FAILED), though the object has gone afterwards, and 0 by a later one."},
    {Product::OpenCryptoki, true, "opencryptoki: the current PIN",
     "is refused as the new one, 80ee (CKR_PIN_INVALID). SoftHSM2 accepts it."},
    {Product::OpenCryptoki, true, "opencryptoki: a blank token",
     "has a fixed security officer's PIN, 87654321; \"init\" with another one answers 80ee. SoftHSM2 accepts any PIN "
     "of a permitted length as the first one."},
    {Product::SoftHsm, true, "SoftHSM2: a blank token",
     "answers 80ea to every script that needs a session, until \"init\" has run."},
    {Product::Proxy, false, "p11-kit's proxy",
     "gives each executor a function list of its own, which is initialised by itself. A module is finalised once, by "
     "the last of its executors, so after two executors at a time the modules behind the proxy stay initialised until "
     "the process ends. With one executor at a time this does not happen."},
    {Product::Trust, false, "p11-kit's trust module",
     "is read-only. Its readers are named by paths, so that a list of readers can be split in more than one way; names "
     "must be compared with those of the slots."},
    {Product::Trust, false,
     "\"getReaderList\", \"getPlatformIdentifiers\", \"getCardState\", \"beginSynchronization\", "
     "\"endSynchronization\"",
     "0"},
    {Product::Trust, false, "\"getAuthenticatorState\"", "0, AUTHSTATE 2"},
    {Product::Trust, false, "\"readData\"", "0; more than a hundred certificates in one answer, no key pairs"},
    {Product::Trust, false, "\"init\", \"recycle\"", "80f4 (CKR_FUNCTION_NOT_SUPPORTED), with or without a PIN"},
    {Product::Trust, false, "\"initAuthenticator\", \"changeAuthenticator\", \"unlockAuthenticator\", \"authenticate\"",
     "80f5 (CKR_TOKEN_WRITE_PROTECTED): it opens no read/write session"},
    {Product::Trust, false, "\"writeData\", \"removeData\", \"generateKeyPair\", \"signData\"",
     "80f5 (CKR_TOKEN_WRITE_PROTECTED)"},
    {Product::Trust, false, "\"deauthenticate\"",
     "80ff (CKR_SESSION_HANDLE_INVALID) as the first script: there is no session"},
};

} // namespace

const char* nameOf(Product product) {
    return kProducts[static_cast<std::size_t>(product)].name;
}

std::optional<Product> productOf(std::string_view manufacturer, std::string_view description) {
    const auto* const found = std::find_if(kProducts.begin(), kProducts.end(), [&](const ProductRow& row) {
        return hasPart(manufacturer, row.manufacturer) && hasPart(description, row.description);
    });
    return found == kProducts.end() ? std::nullopt : std::optional(found->product);
}

const std::vector<Quirk>& quirks() {
    return kQuirks;
}

} // namespace host
