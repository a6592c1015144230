#pragma once

/// Chooses the value that guards this module's stack frames. Call it before any frame that is guarded.
void chooseCookie();
