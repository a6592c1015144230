#pragma once

#include "zel/TString.h"

namespace plugin {

/// Version of the file that the module with this handle was loaded from: four numbers joined by dots, or "?".
[[nodiscard]] Zel::TString fileVersionText(void* module);
/// Version of a file by name, or "?".
[[nodiscard]] Zel::TString fileVersionText(const Zel::TString& fileName);
/// A named text ("FileDescription", "InternalName") of a module's version information; empty when it is missing.
[[nodiscard]] Zel::TString versionString(void* module, const wchar_t* key);

} // namespace plugin
