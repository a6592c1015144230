#pragma once

#include "tests/conformance/Harness.h"
#include "tests/token/Kinds.h"
#include "tests/token/Shell.h"

#include <gtest/gtest.h>

#include <set>
#include <source_location>
#include <string>

namespace Token {

using Conformance::Executor;
using Conformance::kRsa;
using Conformance::Params;
using Conformance::Result;
using Where = std::source_location;

inline constexpr const char* kOfficerPin = "87654321";
inline constexpr const char* kUserPin = "123456";

/// Upper-case hexadecimal text of the bytes, and back.
[[nodiscard]] std::string hex(const std::string& bytes);
[[nodiscard]] std::string unhex(const std::string& hexText);

/// A token of one kind in a folder of its own, initialised by the plug-in with the label "Card", and an executor that
/// has chosen its reader and knows the user's PIN.
class TokenTest : public ::testing::TestWithParam<Kind> {
protected:
    void SetUp() override;
    /// Frees the executor before the folder goes.
    void TearDown() override;

    Folder folder;
    Executor plugin;
    std::string reader; ///< its name as the plug-in gives it

    /// A new executor that has chosen the reader; it knows no PIN.
    [[nodiscard]] Executor freshExecutor() const;
    /// Terminates and initialises the executor, for a new session, and gives it the user's PIN again.
    void startAfresh();

    /// Runs a script and asserts its "ERROR".
    Result answers(const std::string& error, const std::string& script, const Params& params = Params::null(),
                   Where where = Where::current());
    Result succeeds(const std::string& script, const Params& params = Params::null(), Where where = Where::current()) {
        return answers("0", script, params, where);
    }
    Result login(const std::string& pin, const std::string& error = "0", const std::string& role = "USER",
                 Where where = Where::current());

    /// The value of an output, out of Base64.
    [[nodiscard]] std::string bytesOf(const Result& result, const std::string& outputId) const;

    /// What pkcs11-tool prints for these arguments; it has to succeed.
    [[nodiscard]] std::string tool(const std::string& arguments) const;
    /// The token's objects as pkcs11-tool sees them with the user logged in, one text each: "Certificate mine",
    /// "Private Key mine", "Public Key mine".
    [[nodiscard]] std::multiset<std::string> objects() const;

    /// Signs `text` with the key `id`; OpenSSL verifies the signature with the public key in the file `pem`.
    void signs(const std::string& id, const std::string& pem, Where where = Where::current());
    /// OpenSSL makes a public key of its numbers, in the file `pem`.
    void makePublicKey(const std::string& modulus, const std::string& exponent, const std::string& pem) const;
    /// OpenSSL makes a certificate; its bytes.
    [[nodiscard]] std::string makeCertificate(const std::string& name) const;
};

/// The parameters of a certificate that is to be written.
[[nodiscard]] Params certificate(const std::string& der, const std::string& label, const std::string& id);
/// Hexadecimal text of the DER name that has this common name alone.
[[nodiscard]] std::string commonName(const std::string& name);

/// A key pair of OpenSSL's, made once in this process: the file of its PKCS#8 structure in DER, and with the ending
/// ".pem" in its place the file of its public key.
[[nodiscard]] std::string keyFile(int bits, int exponent);
/// Its PKCS#8 structure.
[[nodiscard]] std::string keyBytes(int bits, int exponent);
/// The parameters that import it under the label and the identifier.
[[nodiscard]] Params keyPair(int bits, int exponent, const std::string& label, const std::string& id);

[[nodiscard]] std::string kindName(const ::testing::TestParamInfo<Kind>& info);

} // namespace Token
