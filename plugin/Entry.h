#pragma once

namespace plugin {

/// Why the operating system calls a library's entry routine; the trace shows the numbers.
enum class EntryReason : unsigned int { ProcessDetach = 0, ProcessAttach = 1, ThreadAttach = 2, ThreadDetach = 3 };

/// The entry routine: gives the log the module's name and, at process attach, keeps `module` (the plug-in's own handle)
/// and reads the plug-in's version. Throws nothing.
void onEntry(void* module, unsigned int reason);

} // namespace plugin
