#pragma once

/// Runs the module's static initialisers; false when one of C's fails.
[[nodiscard]] bool runInitialisers();
