#pragma once

namespace tests {

/// Looks through the memory of this process. P11SEEK_SECRETS names the file with what it looks for, P11SEEK_FOUND the
/// one where it appends a line: "search", whether the process may be dumped, and behind it every secret that it found,
/// with the place. Does nothing without P11SEEK_FOUND.
///
/// The secret "planted" it puts into its own data, heap and stack before each search: a search that does not find those
/// three finds nothing.
void searchOwnMemory();

} // namespace tests
