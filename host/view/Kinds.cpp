#include "host/view/Kinds.h"

namespace host::view {

namespace {

struct KindOfName {
    std::string_view part;
    Kind kind;
};

// The first row whose part stands in the name decides.
constexpr std::array<KindOfName, 16> kParts = {{
    {"C_SessionCancel", Kind::Session},
    {"Session", Kind::Session},
    {"OperationState", Kind::Session},
    {"C_Log", Kind::Login},
    {"PIN", Kind::Login},
    {"InitToken", Kind::Login},
    {"Object", Kind::Objects},
    {"AttributeValue", Kind::Objects},
    {"C_DigestKey", Kind::Cryptography},
    {"Key", Kind::Keys},
    {"Random", Kind::Cryptography},
    {"Encrypt", Kind::Cryptography},
    {"Decrypt", Kind::Cryptography},
    {"Digest", Kind::Cryptography},
    {"Sign", Kind::Cryptography},
    {"Verify", Kind::Cryptography},
}};

} // namespace

Kind kindOf(std::string_view function) noexcept {
    for (const KindOfName& row : kParts) {
        if (function.find(row.part) != std::string_view::npos) {
            return row.kind;
        }
    }
    return Kind::Module;
}

bool isOftenExpected(std::string_view function, std::string_view result) noexcept {
    return result == "CKR_BUFFER_TOO_SMALL" || result == "CKR_CRYPTOKI_ALREADY_INITIALIZED" ||
           result == "CKR_NO_EVENT" ||
           (function == "C_GetAttributeValue" &&
            (result == "CKR_ATTRIBUTE_TYPE_INVALID" || result == "CKR_ATTRIBUTE_SENSITIVE"));
}

} // namespace host::view
