#include "scripts/common/Keywords.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "scripts/common/ParameterErrors.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

using enum KeywordForm;
using enum KeywordHalf;

constexpr Keyword kKeyKeywords[] = {
    {L"TOKEN", CKA_TOKEN, Boolean, Both},
    {L"PRIVATE_PRK", CKA_PRIVATE, Boolean, Private},
    {L"PRIVATE_PUK", CKA_PRIVATE, Boolean, Public},
    {L"MODIFIABLE", CKA_MODIFIABLE, Boolean, Both},
    {L"DERIVE", CKA_DERIVE, Boolean, Both},
    {L"SENSITIVE", CKA_SENSITIVE, Boolean, Private},
    {L"LABEL", CKA_LABEL, Label, Both},
    {L"SUBJECT", CKA_SUBJECT, Bytes, Both},
    {L"ID", CKA_ID, Bytes, Both},
    {L"ENCRYPT", CKA_ENCRYPT, Boolean, Public},
    {L"DECRYPT", CKA_DECRYPT, Boolean, Private},
    {L"SIGN", CKA_SIGN, Boolean, Private},
    {L"SIGN_RECOVER", CKA_SIGN_RECOVER, Boolean, Private},
    {L"WRAP", CKA_WRAP, Boolean, Public},
    {L"UNWRAP", CKA_UNWRAP, Boolean, Private},
    {L"EXTRACTABLE", CKA_EXTRACTABLE, Boolean, Private},
    {L"VERIFY", CKA_VERIFY, Boolean, Public},
    {L"VERIFY_RECOVER", CKA_VERIFY_RECOVER, Boolean, Public},
};

constexpr Keyword kCertificateKeywords[] = {
    {L"LABEL", CKA_LABEL, Label, Public},
    {L"SUBJECT", CKA_SUBJECT, Bytes, Public},
    {L"ID", CKA_ID, Bytes, Public},
    {L"ISSUER", CKA_ISSUER, Bytes, Public},
    {L"SN", CKA_SERIAL_NUMBER, Bytes, Public},
    {L"TOKEN", CKA_TOKEN, Boolean, Public},
    {L"PRIVATE", CKA_PRIVATE, Boolean, Public},
    {L"MODIFIABLE", CKA_MODIFIABLE, Boolean, Public},
    {L"CERT_CATEGORY", CKA_CERTIFICATE_CATEGORY, Category, Public},
};

constexpr Keyword kKeySearchKeywords[] = {
    {L"ALGOID", CKA_KEY_TYPE, RsaAlgorithm, Public},  {L"LABEL", CKA_LABEL, Label, Public},
    {L"SUBJECT", CKA_SUBJECT, Bytes, Public},         {L"ID", CKA_ID, Bytes, Public},
    {L"TOKEN", CKA_TOKEN, Boolean, Public},           {L"PRIVATE", CKA_PRIVATE, Boolean, Public},
    {L"MODIFIABLE", CKA_MODIFIABLE, Boolean, Public},
};

constexpr CK_ULONG kTokenUser = 1;
constexpr CK_ULONG kAuthority = 2;

Result applyBytes(const Trace& trace, const Keyword& keyword, const Zel::TString& value,
                  UnreadableLabel unreadableLabel, AttributeTemplate& target) {
    SecretBuffer bytes = TStringHex2Binary(value);
    const bool isCounted = keyword.form == Label && unreadableLabel == UnreadableLabel::Counted;
    if (bytes.isEmpty() && !isCounted) {
        return CKR_OK;
    }
    if (!target.hasRoomFor(keyword.attribute)) {
        return badParameter(trace, keyword.id.data(), value);
    }
    if (bytes.isEmpty()) {
        target.setWithoutValue(keyword.attribute);
        return CKR_OK;
    }
    if (keyword.form == Label) {
        bytes.truncate(bytes.textLength());
    }
    target.setBytes(keyword.attribute, std::move(bytes));
    return CKR_OK;
}

/// The number that a category or an algorithm stands for; nullopt for an unknown one.
std::optional<CK_ULONG> numberOf(const Keyword& keyword, const Zel::TString& value) {
    if (keyword.form == RsaAlgorithm) {
        return equals(value, kRsaEncryption) ? std::optional<CK_ULONG>(CKK_RSA) : std::nullopt;
    }
    if (equals(value, L"USER")) {
        return kTokenUser;
    }
    return equals(value, L"CA") ? std::optional<CK_ULONG>(kAuthority) : std::nullopt;
}

Result applyNumber(const Trace& trace, const Keyword& keyword, const Zel::TString& value, AttributeTemplate& target) {
    const std::optional<CK_ULONG> number = numberOf(keyword, value);
    if (!number) {
        // A bad category is traced as CERT_TYPE: operators' tools look for this text.
        return badParameter(trace, keyword.form == Category ? L"CERT_TYPE" : keyword.id.data(), value);
    }
    if (!target.hasRoomFor(keyword.attribute)) {
        return badParameter(trace, keyword.id.data(), value);
    }
    target.setNumber(keyword.attribute, *number);
    return CKR_OK;
}

Result applyBoolean(const Trace& trace, const Keyword& keyword, const Zel::TString& value, AttributeTemplate& target) {
    if (!target.hasRoomFor(keyword.attribute)) {
        return badParameter(trace, keyword.id.data(), value);
    }
    target.setBoolean(keyword.attribute, equals(value, L"1"));
    return CKR_OK;
}

Result applyTo(const Trace& trace, const Keyword& keyword, const Zel::TString& value, UnreadableLabel unreadableLabel,
               AttributeTemplate& target) {
    switch (keyword.form) {
    case Boolean:
        return applyBoolean(trace, keyword, value, target);
    case Category:
    case RsaAlgorithm:
        return applyNumber(trace, keyword, value, target);
    case Bytes:
    case Label:
        break;
    }
    return applyBytes(trace, keyword, value, unreadableLabel, target);
}

bool goesTo(const Keyword& keyword, KeywordHalf half) {
    return (static_cast<unsigned int>(keyword.half) & static_cast<unsigned int>(half)) != 0;
}

} // namespace

std::span<const Keyword> keyKeywords() {
    return kKeyKeywords;
}

std::span<const Keyword> certificateKeywords() {
    return kCertificateKeywords;
}

std::span<const Keyword> keySearchKeywords() {
    return kKeySearchKeywords;
}

Result applyKeywords(const Trace& trace, const Zel::Vector<Zel::Parameter>& params, std::span<const Keyword> keywords,
                     UnreadableLabel unreadableLabel, AttributeTemplate* publicTemplate,
                     AttributeTemplate* privateTemplate) {
    for (const Zel::Parameter& parameter : elements(params)) {
        const Zel::TString& id = parameter.getId();
        const auto keyword =
            std::find_if(keywords.begin(), keywords.end(), [&id](const Keyword& k) { return equals(id, k.id); });
        if (keyword == keywords.end()) {
            continue;
        }
        const Zel::TString& value = parameter.getValue();
        for (const auto& [target, half] :
             {std::pair(publicTemplate, KeywordHalf::Public), std::pair(privateTemplate, KeywordHalf::Private)}) {
            if (target == nullptr || !goesTo(*keyword, half)) {
                continue;
            }
            if (const Result applied = applyTo(trace, *keyword, value, unreadableLabel, *target); !applied.isOk()) {
                return applied;
            }
        }
    }
    return CKR_OK;
}

} // namespace plugin
