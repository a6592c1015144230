#pragma once

#include "tests/token/Shell.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Token {

/// One make of token: how it comes up from nothing, and what it does where tokens differ. What stands here is stated by
/// tests; docs/tokens.md tells it to people.
struct Kind {
    const char* name;
    /// The module's file; empty where it is not installed.
    const char* module;
    /// The module that shows the same tokens to pkcs11-tool. A Windows program's is a DLL, pkcs11-tool's is not.
    const char* toolModule;
    /// Stands before the command of another program that uses the module: assignments of variables, or nothing.
    const char* toolEnvironment;
    /// Writes the module's configuration into the folder and points the environment at it.
    void (*bringUp)(const Folder& folder);

    /// Wrong PINs in a row after which a PIN is locked; 0: they are not counted, and nothing is ever locked.
    int triesToLock;
    /// "ERROR" of naming a key's container, which is an attribute of a vendor.
    const char* containerName;
    /// "ERROR" of a search while one that an earlier script left open stands.
    const char* searchBehindOpenSearch;
    /// "ERROR" of "init" with a wrong PIN of the security officer.
    const char* initWithWrongPin;
    /// "ERROR" of signing data that are as long as the modulus.
    const char* dataTooLong;
    /// "ERROR" of a PIN of one letter.
    const char* shortPin;
    /// "ERROR" of the wrong PIN that locks.
    const char* lockingPin;
    /// "ERROR" of a login where no user PIN was set yet.
    const char* noUserPin;
    /// "ERROR" of a certificate without SUBJECT, and how many objects that leaves on the token.
    const char* noSubject;
    int leftWithoutSubject;
    /// "ERROR" of a certificate with CERT_CATEGORY.
    const char* category;
    /// Several executors at a time are finalised as one.
    bool severalExecutors;
};

[[nodiscard]] Kind softhsm();
/// SoftHSM2 as p11-kit's proxy module shows it.
[[nodiscard]] Kind proxy();
/// opencryptoki's software token, where the script ./opencryptoki has made room for it.
[[nodiscard]] Kind opencryptoki();

/// The kinds that this run is about: those named in the environment by TOKEN_KIND ("opencryptoki"), else the first two.
[[nodiscard]] std::vector<Kind> kinds();
/// Of these, the ones on which several executors can work at a time.
[[nodiscard]] std::vector<Kind> kindsForSeveralExecutors();

/// The module, or p11watch in front of it when the environment names p11watch by TOKEN_WATCH.
[[nodiscard]] std::string watched(const std::string& module);

void PrintTo(const Kind& kind, std::ostream* stream);

} // namespace Token
