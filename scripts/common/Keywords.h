#pragma once

#include <span>
#include <string_view>

#include "client/ScriptContext.h"
#include "token/AttributeTemplate.h"

// The keywords of the object scripts as data. A keyword is the id of an operation parameter that sets one attribute. It
// overwrites the attribute's fixed entry; without a fixed entry, each occurrence appends one.

namespace plugin {

enum class KeywordForm {
    Boolean,      ///< "1" is true, every other text false
    Bytes,        ///< hexadecimal text; an undecodable or empty text sets nothing
    Label,        ///< as Bytes, up to the first zero byte
    Category,     ///< "USER" or "CA", a number
    RsaAlgorithm, ///< rsaEncryption's object identifier, the key type as a number
};

/// The template that a keyword sets; a script with one template uses it as the public one.
enum class KeywordHalf : unsigned int { Public = 1, Private = 2, Both = 3 };

struct Keyword {
    std::wstring_view id; ///< a literal
    CK_ATTRIBUTE_TYPE attribute;
    KeywordForm form;
    KeywordHalf half;
};

/// "1.2.840.113549.1.1.1".
inline constexpr std::wstring_view kRsaEncryption = L"1.2.840.113549.1.1.1";

/// For key import and key pair generation.
[[nodiscard]] std::span<const Keyword> keyKeywords();
/// For writing, searching and removing certificates.
[[nodiscard]] std::span<const Keyword> certificateKeywords();
/// For searching public keys.
[[nodiscard]] std::span<const Keyword> keySearchKeywords();

/// What to do with a "LABEL" that does not decode.
enum class UnreadableLabel {
    Skipped, ///< no entry
    Counted, ///< an entry is counted and keeps its slot's preset type, without a value
};

/// Sets the attributes of all keywords among the parameters, in the order of the parameters; other parameters are
/// skipped. A null template is skipped. An unknown category or algorithm stops processing and is traced as ": Bad
/// parameter CERT_TYPE: …" or ": Bad parameter ALGOID: …". A keyword that finds its template full, after repeated
/// keywords, stops processing too and is traced with its own id.
[[nodiscard]] Result applyKeywords(const Trace& trace, const Zel::Vector<Zel::Parameter>& params,
                                   std::span<const Keyword> keywords, UnreadableLabel unreadableLabel,
                                   AttributeTemplate* publicTemplate, AttributeTemplate* privateTemplate = nullptr);

} // namespace plugin
