#pragma once

#include <cstdint>

#include "zel/Vector.h"

namespace plugin {

/// The elements of one of the framework's vectors in a range-based loop; null is an empty range:
///
///     for (const Zel::Parameter& parameter : elements(params)) { … }
///
/// The vector may be the host's own: its size is read again before each element, and its exceptions pass.
template <class T>
class Elements {
public:
    struct End {};
    class Iterator {
    public:
        explicit Iterator(const Zel::Vector<T>* vector) : m_pVector(vector) {}
        const T& operator*() const { return *m_pVector->at(m_index); }
        Iterator& operator++() {
            ++m_index;
            return *this;
        }
        bool operator!=(End) const { return m_pVector != nullptr && m_index < m_pVector->size(); }

    private:
        const Zel::Vector<T>* m_pVector;
        std::uint32_t m_index = 0;
    };

    explicit Elements(const Zel::Vector<T>* vector) : m_pVector(vector) {}
    [[nodiscard]] Iterator begin() const { return Iterator(m_pVector); }
    [[nodiscard]] End end() const { return {}; }

private:
    const Zel::Vector<T>* m_pVector;
};

template <class T>
[[nodiscard]] Elements<T> elements(const Zel::Vector<T>* vector) {
    return Elements<T>(vector);
}
template <class T>
[[nodiscard]] Elements<T> elements(const Zel::Vector<T>& vector) {
    return Elements<T>(&vector);
}

} // namespace plugin
