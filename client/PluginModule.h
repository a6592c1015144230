#pragma once

/// The plug-in's own library, known once the process has loaded it.
namespace plugin::pluginModule {

/// Keeps the handle and reads the file version from it. Throws nothing; when memory is short, the version is "?".
void attach(void* module);
/// Null before attach.
[[nodiscard]] void* handle();
/// Four numbers joined by dots, or "?".
[[nodiscard]] const wchar_t* clientVersion();

} // namespace plugin::pluginModule
