#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "zel/BaseDLLInterface.h"

namespace Zel {

/// The framework's vector: owned pointers to heap copies of `T`, growing in steps of 5. Used through its virtual
/// operations, so that elements and array are always handled by the library that made the vector. `T` is copyable;
/// its copies live on the framework's heap whether or not `T` has an operator new of its own.
///
/// Failures: std::out_of_range with the texts given below, std::bad_alloc, and what T's copy constructor throws. An
/// operation that adds one element and fails leaves the vector as it was; one that adds several keeps those that were
/// added before the failure.
///
/// One made with `new` is released with `destroy`; a local one is an ordinary object.
template <class T>
class Vector : public BaseDLLObjectImpl<BaseDLLInterface> {
public:
    Vector(); ///< empty, capacity 5
    Vector(const Vector& other);
    Vector& operator=(const Vector& other); ///< as assign
    ~Vector();

    void* deletingDestructor(unsigned int flags) override; ///< slot 1

    /// Adds copies of all elements of `other` (which may be this vector), in order; grows by exactly the shortfall.
    virtual void append(const Vector& other); // slot 2
    /// Adds a copy of `element` (which may be one of this vector) behind the last one; grows by 5 when full.
    virtual void add(const T& element); // slot 3
    /// Destroys every element; afterwards empty, capacity 5.
    virtual void clear(); // slot 4
    /// Clears, frees the array, grows by the source's capacity + 5 (the capacity afterwards), and adds copies of the
    /// source's elements. Does nothing when `other` is this vector.
    virtual void assign(const Vector& other); // slot 5
    /// Number of places for elements that are allocated.
    [[nodiscard]] virtual std::uint32_t capacity() const noexcept; // slot 6
    [[nodiscard]] virtual std::uint32_t size() const noexcept;     // slot 7
    [[nodiscard]] virtual bool isEmpty() const noexcept;           // slot 8
    /// Element `index`, owned by the vector and valid until it is cleared, assigned or ends. Throws std::out_of_range
    /// "Position exceeds range of vector elements" when `index` is not below the size.
    [[nodiscard]] virtual T* at(std::uint32_t index) const; // slot 9

protected:
    /// Makes room for `count` more elements. When the count of places overflows 32 bits and would be below the size,
    /// throws std::out_of_range "Current size superior at next capacity" and changes nothing.
    void grow(std::uint32_t count);

private:
    static constexpr std::uint32_t kStep = 5;

    static T* copyOf(const T& element);
    static void destroyElement(T* element) noexcept;
    void releaseAll() noexcept;

    T** m_ppElements = nullptr;
    std::uint32_t m_ulSize = 0;
    std::uint32_t m_ulCapacity = 0;
};

template <class T>
Vector<T>::Vector() {
    grow(kStep);
}

template <class T>
Vector<T>::Vector(const Vector& other) : Vector() {
    Vector::append(other);
}

template <class T>
Vector<T>& Vector<T>::operator=(const Vector& other) {
    assign(other);
    return *this;
}

template <class T>
Vector<T>::~Vector() {
    releaseAll();
}

template <class T>
void* Vector<T>::deletingDestructor(unsigned int flags) {
    return this->runDestructor(this, flags);
}

template <class T>
void Vector<T>::append(const Vector& other) {
    const std::uint32_t count = other.size();
    const std::uint32_t free = m_ulCapacity - m_ulSize;
    if (free < count) {
        grow(count - free);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        add(*other.at(i));
    }
}

template <class T>
void Vector<T>::add(const T& element) {
    if (m_ulCapacity < std::uint64_t{m_ulSize} + 1) {
        grow(kStep);
    }
    m_ppElements[m_ulSize] = copyOf(element);
    ++m_ulSize;
}

template <class T>
void Vector<T>::clear() {
    releaseAll();
    grow(kStep);
}

template <class T>
void Vector<T>::assign(const Vector& other) {
    if (this == &other) {
        return;
    }
    releaseAll();
    grow(other.capacity() + kStep);
    append(other);
}

template <class T>
std::uint32_t Vector<T>::capacity() const noexcept {
    return m_ulCapacity;
}

template <class T>
std::uint32_t Vector<T>::size() const noexcept {
    return m_ulSize;
}

template <class T>
bool Vector<T>::isEmpty() const noexcept {
    return m_ulSize == 0;
}

template <class T>
T* Vector<T>::at(std::uint32_t index) const {
    if (index >= m_ulSize) {
        throw std::out_of_range("Position exceeds range of vector elements");
    }
    return m_ppElements[index];
}

template <class T>
void Vector<T>::grow(std::uint32_t count) {
    const std::uint32_t capacity = m_ulCapacity + count;
    if (m_ulSize > capacity) {
        throw std::out_of_range("Current size superior at next capacity");
    }
    T** const elements = static_cast<T**>(allocate(std::size_t{capacity} * sizeof(T*)));
    std::copy_n(m_ppElements, m_ulSize, elements);
    release(m_ppElements);
    m_ppElements = elements;
    m_ulCapacity = capacity;
}

template <class T>
T* Vector<T>::copyOf(const T& element) {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    void* const place = allocate(sizeof(T));
    try {
        return ::new (place) T(element);
    } catch (...) {
        release(place);
        throw;
    }
}

template <class T>
void Vector<T>::destroyElement(T* element) noexcept {
    if constexpr (std::is_base_of_v<BaseDLLInterface, T>) {
        element->destroy();
    } else {
        element->~T();
        release(element);
    }
}

template <class T>
void Vector<T>::releaseAll() noexcept {
    for (std::uint32_t i = 0; i < m_ulSize; ++i) {
        destroyElement(m_ppElements[i]);
    }
    release(m_ppElements);
    m_ppElements = nullptr;
    m_ulSize = 0;
    m_ulCapacity = 0;
}

} // namespace Zel
