#pragma once

#include <cstddef>

namespace Zel {

class Text;

/// What the framework exports and a host needs to make texts and objects: functions that take pointers and numbers, and
/// so can be called whoever compiled them.
struct Heap {
    void* (*allocate)(std::size_t size);
    void (*release)(void* block);
    void (*makeText)(Text* place, const wchar_t* characters, int length);
    void (*copyText)(Text* place, const Text& other);
    void (*endText)(Text* text);
};

/// Those of the framework that the plug-in under test uses.
[[nodiscard]] const Heap& heap();

} // namespace Zel
