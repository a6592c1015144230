#pragma once

#include <cstdint>

#include "cryptoki/cryptoki.h"
#include "zel/TString.h"

/// Client error codes that the plug-in sets by itself; those that stand for a Cryptoki result come from
/// clientErrorCode.
namespace ClientCode {
inline constexpr std::uint32_t kBadParameter = 33004;        ///< precondition or parameter failure
inline constexpr std::uint32_t kUnknownSessionState = 33005; ///< the module answered a session state that is none
inline constexpr std::uint32_t kNotFound = 33011;            ///< object or key not found
} // namespace ClientCode

/// A number as lower-case hexadecimal text without prefix ("80ec").
[[nodiscard]] Zel::TString hexNumberText(std::uint32_t number);
/// The client error code of a Cryptoki result, as text. A result without a code of its own gives 33013.
[[nodiscard]] Zel::TString clientErrorCode(CK_RV rv);

/// How a script went: a Cryptoki result, or a client code that the plug-in chose.
class [[nodiscard]] Result {
public:
    Result(CK_RV rv) : m_rv(rv) {} // NOLINT(google-explicit-constructor): a CK_RV is a result
    [[nodiscard]] static Result client(std::uint32_t code) {
        Result result(CKR_OK);
        result.m_clientCode = code;
        return result;
    }
    [[nodiscard]] static Result badParameter() { return client(ClientCode::kBadParameter); }

    [[nodiscard]] bool isOk() const { return m_clientCode == 0 && m_rv == CKR_OK; }
    [[nodiscard]] bool isClientCode() const { return m_clientCode != 0; }
    /// CKR_OK where a client code was chosen.
    [[nodiscard]] CK_RV rv() const { return m_rv; }
    /// The value of the output parameter "ERROR".
    [[nodiscard]] Zel::TString errorText() const {
        return isClientCode() ? hexNumberText(m_clientCode) : clientErrorCode(m_rv);
    }

private:
    CK_RV m_rv;
    std::uint32_t m_clientCode = 0;
};
