#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"
#include "util/Conversions.h"

namespace {

std::wstring expectedValue(int encoding, int type, const std::wstring& value) {
    switch (encoding) {
    case 0:
        return type == 0 ? value : Fuzz::hexadecimalOf(Fuzz::utf8Of(Fuzz::untilZero(value)));
    case 1:
        return Fuzz::hexadecimalOf(Fuzz::bytesOfBase64(value).value_or(""));
    case 2:
    case 4:
        return value;
    default:
        return {};
    }
}

} // namespace

void Fuzz::parametervalue(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const int encoding = input.boolean() ? static_cast<int>(input.below(5)) : input.number<int>();
    const int type = input.boolean() ? static_cast<int>(input.below(4)) : input.number<int>();
    const std::wstring id = input.text(20);
    const std::wstring value = input.restAsText();

    const Zel::Parameter parameter(static_cast<Zel::ParameterEncoding>(encoding),
                                   {id.data(), static_cast<int>(id.size())}, static_cast<Zel::ParameterType>(type),
                                   {value.data(), static_cast<int>(value.size())});
    const Zel::TString found = getValueFromEncoding(parameter);
    require(std::wstring(found.data(), found.length()) == expectedValue(encoding, type, value),
            "a value is what its encoding says");
    const Zel::Parameter hexadecimal = makeParameter(parameter.getId(), found);
    require(getValueFromEncoding(hexadecimal).compare(found) == 0, "a value in internal form stays as it is");
}
