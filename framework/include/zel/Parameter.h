#pragma once

#include "zel/BaseDLLInterface.h"
#include "zel/TString.h"

namespace Zel {

/// How the text of a parameter represents its value. The numbers are a contract with hosts. A host may send any number;
/// an unknown one is kept unchanged.
enum class ParameterEncoding : int {
    Text = 0,        ///< text; with a type other than ParameterType::Raw it stands for its UTF-8 bytes
    Base64 = 1,      ///< Base64 of bytes
    Plain = 2,       ///< text, taken as it stands
    Hexadecimal = 4, ///< upper-case hexadecimal text of bytes, taken as it stands
};

/// What kind of value a parameter carries. Only the numbers matter to the plug-in.
enum class ParameterType : int {
    Raw = 0,
    Number = 1,
    Binary = 2,
    Text = 3,
};

/// One named value: identifier, value text, encoding and type. Allocated with `new` (framework heap) and released
/// with `destroy` when it is made for the host; a local one is an ordinary object.
class ZEL_INTERFACES_API Parameter final : public BaseDLLObjectImpl<BaseDLLInterface> {
public:
    Parameter(ParameterEncoding encoding, const TString& id, ParameterType type, const TString& value);
    Parameter(const Parameter& other);
    Parameter& operator=(const Parameter& other);
    ~Parameter();

    void* deletingDestructor(unsigned int flags) override;

    /// References stay valid until the parameter changes or ends.
    [[nodiscard]] const TString& getId() const noexcept { return m_tsId; }
    [[nodiscard]] const TString& getValue() const noexcept { return m_tsValue; }
    [[nodiscard]] ParameterEncoding getEncodingEnum() const noexcept { return m_encoding; }
    [[nodiscard]] ParameterType getTypeEnum() const noexcept { return m_type; }

    void setValue(const TString& value);

private:
    TString m_tsId;
    TString m_tsValue;
    ParameterEncoding m_encoding;
    ParameterType m_type;
};

} // namespace Zel
