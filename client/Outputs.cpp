#include "client/Outputs.h"

#include "util/Conversions.h"

void Outputs::pushBase64(const Zel::TString& id, const std::uint8_t* bytes, std::size_t length) {
    const Zel::TString text = Binary2TStringB64(bytes, length);
    // These values are the long ones: set in its place, the text is copied once less.
    push(Zel::Parameter(Zel::ParameterEncoding::Base64, id, Zel::ParameterType::Binary, Zel::TString()));
    setValue(nextIndex() - 1, text);
}
