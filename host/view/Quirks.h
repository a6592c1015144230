#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace host {

/// A module whose behaviour is known from our tests.
enum class Product { SoftHsm, OpenCryptoki, Proxy, Trust };

/// What a module or its tokens do, in the words of docs/tokens.md.
struct Quirk {
    Product product;
    bool isSurprise; ///< one that costs a person time when nobody has said it
    const char* title;
    const char* text;
};

/// "SoftHSM2"
[[nodiscard]] const char* nameOf(Product product);
/// By what C_GetInfo says: parts of both fields have to be there.
[[nodiscard]] std::optional<Product> productOf(std::string_view manufacturer, std::string_view description);
/// All that is known, product after product in no order.
[[nodiscard]] const std::vector<Quirk>& quirks();

} // namespace host
