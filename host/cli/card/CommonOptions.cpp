#include "host/cli/card/CommonOptions.h"

namespace host {

namespace {

constexpr std::initializer_list<CardOption> kChoice = {
    {"--token", "LABEL", "The token with this label; default: P11HOST_TOKEN"},
    {"--serial", "TEXT", "The token with this serial number"},
    {"--uri", "URI", "The token of a pkcs11: URI; default: P11HOST_URI"},
};

constexpr std::initializer_list<CardOption> kCare = {
    {"--last-try", "stop|ask|go", "What to do with one try left; default: ask"},
    {"--dry-run", "", "Check everything and show the scripts; call nothing that writes"},
};

} // namespace

std::vector<CardOption> withToken(std::initializer_list<CardOption> more) {
    std::vector<CardOption> options(more);
    options.insert(options.end(), kChoice);
    return options;
}

std::vector<CardOption> withPin(std::initializer_list<CardOption> more) {
    std::vector<CardOption> options = withToken(more);
    options.insert(options.end(), kCare);
    return options;
}

} // namespace host
