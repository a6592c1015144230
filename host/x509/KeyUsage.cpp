#include "host/x509/KeyUsage.h"

#include <algorithm>
#include <array>

#include "host/plugin/Errors.h"

namespace host::x509 {

namespace {

constexpr std::array<std::string_view, KeyUsage().size()> kUsages{
    "digitalSignature", "nonRepudiation", "keyEncipherment", "dataEncipherment", "keyAgreement",
    "keyCertSign",      "cRLSign",        "encipherOnly",    "decipherOnly"};

std::size_t bitOf(std::string_view name) {
    const auto found = std::find(kUsages.begin(), kUsages.end(), name);
    if (found != kUsages.end()) {
        return static_cast<std::size_t>(found - kUsages.begin());
    }
    std::string names;
    for (const std::string_view known : kUsages) {
        names.append(names.empty() ? "" : ", ").append(known);
    }
    throw UsageError("\"" + std::string(name) + "\" is no key usage; there are " + names);
}

} // namespace

std::vector<std::string> usageNames(KeyUsage usage) {
    std::vector<std::string> names;
    for (std::size_t bit = 0; bit < usage.size(); ++bit) {
        if (usage.test(bit)) {
            names.emplace_back(kUsages[bit]);
        }
    }
    return names;
}

KeyUsage parseKeyUsage(std::string_view list) {
    KeyUsage usage;
    for (std::size_t end = 0; end != std::string_view::npos; list.remove_prefix(std::min(list.size(), end + 1))) {
        end = list.find(',');
        usage.set(bitOf(list.substr(0, end)));
        if (end == std::string_view::npos) {
            break;
        }
    }
    return usage;
}

} // namespace host::x509
