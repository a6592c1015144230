#pragma once

#include <cstdint>
#include <stdexcept>

#include "zel/BaseDLLInterface.h"

namespace Zel {

/// The framework's vector: owned pointers to heap copies of `T`, growing in steps of 5. Used through its virtual
/// operations, so that elements and array are always handled by the library that made the vector. `T` is copyable;
/// its copies live on the framework's heap whether or not `T` has an operator new of its own.
///
/// Failures: std::out_of_range with the texts given below, std::bad_alloc.
template <class T>
class Vector final : public BaseDLLObjectImpl<BaseDLLInterface> {
public:
    Vector();                        ///< empty, capacity 5
    Vector(const Vector& other);
    Vector& operator=(const Vector& other);
    ~Vector();

    void* deletingDestructor(unsigned int flags) override; ///< slot 1

    /// Adds copies of all elements of `other`, in order; grows by exactly the shortfall.
    virtual void append(const Vector& other);
    /// Adds a copy of `element` behind the last one; grows by 5 when full.
    virtual void add(const T& element);
    /// Destroys every element; afterwards empty, capacity 5.
    virtual void clear();
    /// Clear, then grow by the source's capacity + 5, then copies of the source's elements. Nothing for itself.
    virtual void assign(const Vector& other);
    [[nodiscard]] virtual std::uint32_t capacity() const noexcept;
    [[nodiscard]] virtual std::uint32_t size() const noexcept;
    [[nodiscard]] virtual bool isEmpty() const noexcept;
    /// Element `index`, owned by the vector. Not below the size: std::out_of_range
    /// "Position exceeds range of vector elements".
    [[nodiscard]] virtual T* at(std::uint32_t index) const;
};

} // namespace Zel
