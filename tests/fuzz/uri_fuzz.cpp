#include "host/card/Uri.h"
#include "host/plugin/Errors.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// Any bytes as a URI: refused with a reason, or read, and then what was read can be written and read again.

namespace {

using Fuzz::require;
using host::Pkcs11Uri;

using Field = std::optional<std::string> Pkcs11Uri::*;

/// Every byte encoded.
std::string encoded(const std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        result += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return result;
}

void append(std::string& text, const char* name, char separator, const std::optional<std::string>& value) {
    if (value) {
        const bool isFirst = text.back() == ':' || text.back() == '?';
        text += (isFirst ? "" : std::string(1, separator)) + name + "=" + encoded(*value);
    }
}

std::string written(const Pkcs11Uri& uri) {
    std::string text = "pkcs11:";
    append(text, "token", ';', uri.token);
    append(text, "manufacturer", ';', uri.manufacturer);
    append(text, "model", ';', uri.model);
    append(text, "serial", ';', uri.serial);
    append(text, "slot-description", ';', uri.slotDescription);
    append(text, "object", ';', uri.object);
    append(text, "id", ';', uri.id);
    append(text, "type", ';', uri.type);
    text += "?";
    append(text, "module-path", '&', uri.modulePath);
    append(text, "pin-source", '&', uri.pinSource);
    return text;
}

} // namespace

void Fuzz::uri(const std::uint8_t* data, std::size_t size) {
    try {
        const Pkcs11Uri uri = host::readUri({reinterpret_cast<const char*>(data), size});
        const Pkcs11Uri again = host::readUri(written(uri));
        for (const Field field : {&Pkcs11Uri::token, &Pkcs11Uri::manufacturer, &Pkcs11Uri::model, &Pkcs11Uri::serial,
                                  &Pkcs11Uri::slotDescription, &Pkcs11Uri::object, &Pkcs11Uri::id, &Pkcs11Uri::type,
                                  &Pkcs11Uri::modulePath, &Pkcs11Uri::pinSource}) {
            require(uri.*field == again.*field, "what is written again is read as it was");
        }
    } catch (const host::UsageError& error) {
        require(error.what()[0] != '\0', "a refusal has a reason");
    }
}
