#include "host/x509/Name.h"

#include <algorithm>
#include <array>
#include <vector>

#include <botan/der_enc.h>
#include <botan/pkix_types.h>

#include "host/x509/Algorithms.h"
#include "text/Hexadecimal.h"
#include "text/Utf8.h"

namespace host::x509 {

namespace {

struct Type {
    std::string_view name;
    const char* oid;
    Botan::ASN1_Tag form;
    std::size_t most; ///< characters, as RFC 5280 limits them
};

constexpr std::array kTypes{
    Type{"C", "2.5.4.6", Botan::PRINTABLE_STRING, 2},
    Type{"ST", "2.5.4.8", Botan::UTF8_STRING, 128},
    Type{"L", "2.5.4.7", Botan::UTF8_STRING, 128},
    Type{"STREET", "2.5.4.9", Botan::UTF8_STRING, 128},
    Type{"O", "2.5.4.10", Botan::UTF8_STRING, 64},
    Type{"OU", "2.5.4.11", Botan::UTF8_STRING, 64},
    Type{"CN", "2.5.4.3", Botan::UTF8_STRING, 64},
    Type{"SN", "2.5.4.4", Botan::UTF8_STRING, 64},
    Type{"GN", "2.5.4.42", Botan::UTF8_STRING, 64},
    Type{"T", "2.5.4.12", Botan::UTF8_STRING, 64},
    Type{"UID", "0.9.2342.19200300.100.1.1", Botan::UTF8_STRING, 256},
    Type{"DC", "0.9.2342.19200300.100.1.25", Botan::IA5_STRING, 63},
    Type{"serialNumber", "2.5.4.5", Botan::PRINTABLE_STRING, 64},
    Type{"emailAddress", "1.2.840.113549.1.9.1", Botan::IA5_STRING, 255},
};
constexpr std::size_t kMostOfOther = 256;

struct Part {
    std::string type;
    std::string value;
};

[[noreturn]] void refuse(const std::string& reason) {
    throw UsageError("subject: " + reason);
}

/// The parts between the slashes, with their escapes taken away.
std::vector<Part> splitSubject(std::string_view subject) {
    if (!subject.starts_with('/')) {
        refuse("it begins with a slash, as in \"/O=Example/CN=Jane Doe\"");
    }
    std::vector<Part> parts;
    std::string* text = nullptr;
    for (std::size_t i = 0; i < subject.size(); ++i) {
        const char character = subject[i];
        if (character == '/') {
            text = &parts.emplace_back().type;
        } else if (character == '=' && text == &parts.back().type) {
            text = &parts.back().value;
        } else if (character == '+') {
            refuse("write \"\\+\" for a plus sign; two types in one part are not supported");
        } else if (character == '\\') {
            if (++i == subject.size() || std::string_view("/\\=+,").find(subject[i]) == std::string_view::npos) {
                refuse("a backslash stands before '/', '\\', '=', '+' or ',' only");
            }
            *text += subject[i];
        } else {
            *text += character;
        }
    }
    return parts;
}

const Type* typeOf(std::string_view name) noexcept {
    const auto type = std::find_if(kTypes.begin(), kTypes.end(), [&](const Type& t) { return t.name == name; });
    return type == kTypes.end() ? nullptr : type;
}

std::string knownTypes() {
    std::string names;
    for (const Type& type : kTypes) {
        names.append(names.empty() ? "" : ", ").append(type.name);
    }
    return names;
}

bool isDotted(std::string_view type) noexcept {
    return type.find('.') != std::string_view::npos && type.find_first_not_of("0123456789.") == std::string_view::npos;
}

Botan::OID oidOf(const Part& part, const Type* type) {
    if (type == nullptr && !isDotted(part.type)) {
        refuse("\"" + part.type + "\" is no type that is known; there are " + knownTypes() +
               " and dotted identifiers such as 2.5.4.3");
    }
    return readOrExplain("subject", "\"" + part.type + "\" is no identifier", [&] {
        Botan::OID oid(type == nullptr ? part.type : type->oid);
        Botan::DER_Encoder().encode(oid).get_contents(); // which identifiers can be written shows only there
        return oid;
    });
}

/// Returns true when the string type of a part can hold the text.
bool fits(std::string_view text, Botan::ASN1_Tag form) noexcept {
    constexpr std::string_view kPrintable =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 '()+,-./:=?";
    return form == Botan::UTF8_STRING || std::all_of(text.begin(), text.end(), [&](char c) {
               return form == Botan::PRINTABLE_STRING ? kPrintable.find(c) != std::string_view::npos
                                                      : static_cast<unsigned char>(c) < 0x80;
           });
}

void checkValue(const Part& part, const Type* type) {
    const std::wstring wide = text::toWide(part.value);
    if (part.value.empty()) {
        refuse("\"" + part.type + "\" has no value");
    }
    if (text::toUtf8(wide) != part.value) {
        refuse("the value of \"" + part.type + "\" is not UTF-8");
    }
    if (std::any_of(wide.begin(), wide.end(), [](wchar_t c) { return c < L' ' || c == L'\x7F'; })) {
        refuse("the value of \"" + part.type + "\" has control characters");
    }
    const std::size_t most = type == nullptr ? kMostOfOther : type->most;
    if (wide.size() > most || (type == &kTypes.front() && wide.size() != most)) {
        refuse("the value of \"" + part.type + "\" has " + std::to_string(wide.size()) + " characters; " +
               (type == &kTypes.front() ? "a country has 2 letters" : "at most " + std::to_string(most) + " fit"));
    }
    if (type != nullptr && !fits(part.value, type->form)) {
        refuse("the value of \"" + part.type + "\" has characters that certificates do not allow there");
    }
}

void encodePart(Botan::DER_Encoder& encoder, const Part& part) {
    const Type* const type = typeOf(part.type);
    const Botan::OID oid = oidOf(part, type);
    checkValue(part, type);
    const auto value = readOrExplain("subject", "\"" + part.type + "\" does not take this value", [&] {
        return Botan::ASN1_String(part.value, type == nullptr ? Botan::UTF8_STRING : type->form);
    });
    encoder.start_cons(Botan::SET).start_cons(Botan::SEQUENCE).encode(oid).encode(value).end_cons().end_cons();
}

std::string typeText(const Botan::OID& oid) {
    const std::string dotted = oid.to_string();
    const auto type = std::find_if(kTypes.begin(), kTypes.end(), [&](const Type& t) { return t.oid == dotted; });
    return type == kTypes.end() ? dotted : std::string(type->name);
}

/// As RFC 4514, 2.4 escapes it; control characters are written as two digits, malformed text is replaced.
std::string valueText(std::string_view value) {
    const std::string text = text::toUtf8(text::toWide(value));
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        const bool isEdge = (text[i] == ' ' && (i == 0 || i + 1 == text.size())) || (text[i] == '#' && i == 0);
        if (byte < 0x20 || byte == 0x7F) {
            std::array<char, 2> digits{};
            text::encodeHexadecimal({&byte, 1}, digits.data());
            escaped.append("\\").append(digits.data(), digits.size());
            continue;
        }
        if (isEdge || std::string_view(",+\"\\<>;").find(text[i]) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += text[i];
    }
    return escaped;
}

} // namespace

Bytes parseSubject(std::string_view subject) {
    Bytes der;
    Botan::DER_Encoder encoder(der);
    encoder.start_cons(Botan::SEQUENCE);
    for (const Part& part : splitSubject(subject)) {
        encodePart(encoder, part);
    }
    encoder.end_cons();
    return der;
}

std::string nameText(ByteView der, const std::string& name) {
    return readOrExplain(name, "not a name in DER", [&] {
        Botan::X509_DN parts;
        Botan::BER_Decoder(der.data(), der.size()).decode(parts).verify_end();
        std::string text;
        for (auto part = parts.dn_info().rbegin(); part != parts.dn_info().rend(); ++part) {
            text.append(text.empty() ? "" : ",").append(typeText(part->first)).append("=");
            text.append(valueText(part->second.value()));
        }
        return text;
    });
}

} // namespace host::x509
