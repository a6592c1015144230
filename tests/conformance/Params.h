#pragma once

#include "zel/Parameter.h"
#include "zel/TString.h"
#include "zel/Vector.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Conformance {

[[nodiscard]] Zel::TString toTString(std::string_view utf8);
[[nodiscard]] std::string toUtf8(const Zel::TString& text);

/// Gives objects of the framework back with `destroy`.
struct Destroy {
    template <class T>
    void operator()(T* object) const {
        object->destroy();
    }
};
using ParameterVector = std::unique_ptr<Zel::Vector<Zel::Parameter>, Destroy>;

/// The name of RSA keys in ALGOID.
inline constexpr const char* kRsa = "1.2.840.113549.1.1.1";

/// A vector of parameters, or no vector at all. `Params()` is an empty vector.
class Params {
public:
    [[nodiscard]] static Params null();

    Params& plain(std::string_view id, std::string_view value);   ///< encoding 2, type 3
    Params& hex(std::string_view id, std::string_view hexText);   ///< encoding 4, type 0: the text as it stands
    Params& text(std::string_view id, std::string_view utf8);     ///< encoding 0, type 3: stands for the UTF-8 bytes
    Params& rawText(std::string_view id, std::string_view utf8);  ///< encoding 0, type 0: the text as it stands
    Params& base64(std::string_view id, std::string_view base64); ///< encoding 1, type 2
    /// encoding 1, type 2, with the Base64 text of the bytes that `hexText` gives.
    Params& bytes(std::string_view id, std::string_view hexText);
    Params& add(std::string_view id, int encoding, int type, std::string_view value);
    Params& append(const Params& other);

    [[nodiscard]] bool isNull() const { return m_null; }
    [[nodiscard]] std::vector<std::string> ids() const;
    /// A new vector for the plug-in; null for `null()`.
    [[nodiscard]] ParameterVector vector() const;

private:
    struct Entry {
        std::string id;
        int encoding;
        int type;
        std::string value;
    };
    std::vector<Entry> m_entries;
    bool m_null = false;
};

} // namespace Conformance
