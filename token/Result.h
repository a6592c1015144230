#pragma once

#include <cstdint>

#include "cryptoki/cryptoki.h"

namespace plugin {

/// Client error codes that the plug-in chooses by itself; all others stand for a result of the module.
namespace ClientCode {
inline constexpr std::uint32_t kBadParameter = 33004;        ///< precondition or parameter failure
inline constexpr std::uint32_t kUnknownSessionState = 33005; ///< the module answered an unknown session state
inline constexpr std::uint32_t kNotFound = 33011;            ///< object or key not found
} // namespace ClientCode

/// The outcome of an operation on the token: a result of the module, or a client code that the plug-in chose.
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
    /// 0 where a result of the module counts.
    [[nodiscard]] std::uint32_t clientCode() const { return m_clientCode; }

private:
    CK_RV m_rv;
    std::uint32_t m_clientCode = 0;
};

} // namespace plugin
