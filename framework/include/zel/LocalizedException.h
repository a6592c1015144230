#pragma once

#include <exception>

#include "zel/TString.h"

namespace Zel {

/// Base of the framework's exceptions: a message for a person and an error code for a program, both as text.
/// Thrown by value and caught by reference, across library boundaries.
class ZEL_LOCALIZATION_API LocalizedException : public std::exception {
public:
    LocalizedException() noexcept;
    LocalizedException(const LocalizedException& other);
    LocalizedException& operator=(const LocalizedException& other);
    ~LocalizedException() override;

    void setMessage(const TString& message);
    /// The code as lower-case hexadecimal text without prefix ("80ec").
    void setErrorCode(const TString& code);
    [[nodiscard]] const TString& getMessageText() const noexcept { return m_tsMessage; }
    [[nodiscard]] const TString& getErrorCode() const noexcept { return m_tsErrorCode; }

    /// The class's name; the message itself is wide text, see getMessageText.
    [[nodiscard]] const char* what() const noexcept override;

private:
    TString m_tsMessage;
    TString m_tsErrorCode;
};

} // namespace Zel
