#pragma once

namespace plugin {

/// The occasions on which the operating system calls a library; the trace shows the numbers.
enum class EntryReason : unsigned int { ProcessDetach = 0, ProcessAttach = 1, ThreadAttach = 2, ThreadDetach = 3 };

/// Carried out on every such occasion: names the module to the log; at process attach keeps `module` (the plug-in's own
/// handle) and reads the plug-in's version. Throws nothing.
void onEntry(void* module, unsigned int reason);

} // namespace plugin
