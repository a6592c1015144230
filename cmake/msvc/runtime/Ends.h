#pragma once

/// From now on what the module registers with `atexit` is kept by the module: for a library, which may be unloaded
/// before the program ends. Without this call the C library keeps it until then.
void keepOwnEnds();

/// Runs what was registered since keepOwnEnds, the last one first.
void runOwnEnds();
