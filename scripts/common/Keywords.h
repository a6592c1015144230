#pragma once

#include <span>
#include <string_view>

#include "client/ScriptContext.h"
#include "token/AttributeTemplate.h"

// What the keywords of the object scripts mean: data, once. A keyword is the id of an operation parameter; it sets one
// attribute: it overwrites a fixed entry of that attribute, else it adds an entry, also when it comes again.

namespace plugin {

enum class KeywordForm {
    Boolean,      ///< "1" is true, every other text false
    Bytes,        ///< hexadecimal text; one that decodes to nothing sets nothing
    Label,        ///< as Bytes, up to the first zero byte
    Category,     ///< "USER" or "CA", a number
    RsaAlgorithm, ///< rsaEncryption's object identifier, the key type as a number
};

/// Which template of a script a keyword goes to; scripts with one template have the public one.
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
/// For certificates: written, searched and removed.
[[nodiscard]] std::span<const Keyword> certificateKeywords();
/// For the search of public keys.
[[nodiscard]] std::span<const Keyword> keySearchKeywords();

/// What becomes of a "LABEL" that does not decode.
enum class UnreadableLabel {
    Skipped, ///< no entry
    Counted, ///< an entry is counted and keeps its slot's preset type, without a value
};

/// Sets what the parameters' keywords say, in the order of the parameters; other parameters are skipped. A template may
/// be null: its half is left out. An unknown category or algorithm stops processing and is traced as
/// ": Bad parameter CERT_TYPE: …" or ": Bad parameter ALGOID: …". An entry that no longer fits, because keywords were
/// repeated, stops processing too and is traced with the keyword's own id.
[[nodiscard]] Result applyKeywords(const Trace& trace, const Zel::Vector<Zel::Parameter>& params,
                                   std::span<const Keyword> keywords, UnreadableLabel unreadableLabel,
                                   AttributeTemplate* publicTemplate, AttributeTemplate* privateTemplate = nullptr);

} // namespace plugin
