#include "host/desk/journal/DatabaseUrl.h"

#include <algorithm>
#include <array>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

/// Seconds, but for the last one: milliseconds until what was sent and not received ends the connection.
constexpr std::array<std::array<std::string_view, 2>, 5> kLimits = {{{"connect_timeout", "5"},
                                                                     {"keepalives_idle", "10"},
                                                                     {"keepalives_interval", "5"},
                                                                     {"keepalives_count", "2"},
                                                                     {"tcp_user_timeout", "15000"}}};

/// With which the other form of a connection's text may begin.
constexpr std::array<std::string_view, 12> kKeys = {"host",    "hostaddr",        "port",    "dbname",
                                                    "user",    "password",        "service", "passfile",
                                                    "sslmode", "connect_timeout", "options", "application_name"};

/// With "%70" as "p".
std::string decoded(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = text[i] == '%' ? fromHexadecimal(text.substr(i + 1, 2)) : std::nullopt;
        plain += byte && byte->size() == 1 ? *byte : std::string(1, text[i]);
        i += byte && byte->size() == 1 ? 2 : 0;
    }
    return plain;
}

} // namespace

bool isServerUrl(std::string_view desk) {
    return desk.substr(0, 13) == "postgresql://" || desk.substr(0, 11) == "postgres://";
}

bool isKeyValueText(std::string_view desk) {
    const std::size_t begin = std::min(desk.find_first_not_of(" \t\n"), desk.size());
    const std::size_t end = std::min(desk.find_first_of("= \t\n", begin), desk.size());
    const std::size_t sign = std::min(desk.find_first_not_of(" \t\n", end), desk.size());
    const auto found = std::find(kKeys.begin(), kKeys.end(), desk.substr(begin, end - begin));
    return found != kKeys.end() && desk.substr(sign, 1) == "=";
}

void refusePassword(const std::string& url) {
    const std::string place = url.substr(url.find("://") + 3, url.find('?') - url.find("://") - 3);
    const std::size_t at = place.rfind('@'); // a password may hold any character
    const bool isBesideUser = at != std::string::npos && place.substr(0, at).find(':') != std::string::npos;
    if (isBesideUser || decoded(url).find("password=") != std::string::npos) {
        throw UsageError("--desk: leave the password out of the URL, where every user can see it; give --desk-password "
                         "env:NAME, or write it to the file that PGPASSFILE names (default: ~/.pgpass)");
    }
}

std::string connectionText(const std::string& url, const std::string& passwordFile) {
    std::string text = url;
    const auto add = [&](std::string_view name, std::string_view value) {
        text += text.find('?') == std::string::npos ? '?' : '&';
        text.append(name).append("=").append(value);
    };
    for (const auto& [name, value] : kLimits) {
        if (url.find(std::string(name) + "=") == std::string::npos) {
            add(name, value);
        }
    }
    if (!passwordFile.empty()) {
        add("passfile", passwordFile);
    }
    return text;
}

} // namespace host::desk
