#pragma once

#include <cstddef>
#include <new>

#include "zel/Allocator.h"

namespace Zel {

/// The base of every object that crosses a library boundary: two virtual operations, in slots 0 and 1 of its table on
/// every compiler. The destructor is not virtual, because compilers disagree on how many slots a virtual destructor
/// takes.
class BaseDLLInterface {
public:
    /// Ends the object and frees its storage (runs deletingDestructor with kFreeStorage).
    virtual void destroy() = 0;

    /// Runs the destructor of the object's own class; frees its storage through the framework's heap when bit 0 of
    /// `flags` is set. Returns the object's address, which must not be used once the storage is freed.
    virtual void* deletingDestructor(unsigned int flags) = 0;

    static constexpr unsigned int kFreeStorage = 1;

protected:
    ~BaseDLLInterface() = default;
};

/// Base of the classes that implement an interface `T` and cross the boundary: their storage comes from the framework's
/// heap, and `destroy` is implemented for them. A final class overrides deletingDestructor with `return
/// runDestructor(this, flags);`.
template <class T>
class BaseDLLObjectImpl : public T {
public:
    void destroy() override { this->deletingDestructor(BaseDLLInterface::kFreeStorage); }

    static void* operator new(std::size_t size) { return allocate(size); }
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return tryAllocate(size); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept { release(block); }
    static void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
    static void operator delete(void*, void*) noexcept {}

protected:
    ~BaseDLLObjectImpl() = default;

    template <class Final>
    static void* runDestructor(Final* object, unsigned int flags) {
        object->~Final();
        if ((flags & BaseDLLInterface::kFreeStorage) != 0) {
            release(object);
        }
        return object;
    }
};

} // namespace Zel
