#include "client/Outputs.h"

#include "util/Conversions.h"

namespace plugin {

void Outputs::pushBase64(const Zel::TString& id, const std::uint8_t* bytes, std::size_t length) {
    push({Zel::ParameterEncoding::Base64, id, Zel::ParameterType::Binary, Binary2TStringB64(bytes, length)});
}

} // namespace plugin
