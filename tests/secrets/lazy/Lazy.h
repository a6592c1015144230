#pragma once

/// Calls a function of another library, which the loader binds at the first call unless it binds everything at load.
[[gnu::visibility("default")]] int callAnotherLibrary();
