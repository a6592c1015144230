#pragma once

#include <string>
#include <string_view>

namespace host::desk {

/// Returns true when the name of a desk is the URL of a database of PostgreSQL, and not a file.
[[nodiscard]] bool isServerUrl(std::string_view desk);

/// Returns true for libpq's other form, "host=... dbname=...", which is no name of a file.
[[nodiscard]] bool isKeyValueText(std::string_view desk);

/// UsageError for a URL with a password in it, which everybody may read who lists the processes.
void refusePassword(const std::string& url);

/// The URL as the client library takes it: with limits for a server that does not answer, which the URL may set itself,
/// and with the file that holds the password (none when `passwordFile` is empty).
[[nodiscard]] std::string connectionText(const std::string& url, const std::string& passwordFile);

} // namespace host::desk
