#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>

#include "tests/binary/microsoft/Heap.h"

// What crosses the border, as a host that is built with Microsoft's compiler declares it for itself: no header of ours
// is seen. The order of the virtual operations and the layout of the objects are the contract; names matter for
// exceptions alone. Unlike ours, these classes have a virtual destructor: Microsoft's compiler puts it into one slot,
// as an operation that takes the flags of a deleting destructor.

namespace Zel {

/// A text of the framework. Making, copying and ending it is the framework's, through its exported functions.
class Text {
public:
    Text(const wchar_t* characters) { heap().makeText(this, characters, -1); } // NOLINT(google-explicit-constructor)
    Text(const Text& other) { heap().copyText(this, other); }
    Text& operator=(const Text&) = delete;
    ~Text() { heap().endText(this); }
    [[nodiscard]] const wchar_t* characters() const { return m_characters; }

private:
    const wchar_t* m_characters;
    // The framework's alone.
    [[maybe_unused]] std::size_t m_length;
    [[maybe_unused]] std::size_t m_capacity;
    [[maybe_unused]] wchar_t m_inside[24];
};

class Object {
public:
    virtual void destroy() = 0;  // slot 0
    virtual ~Object() = default; // slot 1

    static void* operator new(std::size_t size) { return heap().allocate(size); }
    static void operator delete(void* block) { heap().release(block); }
};

class Parameter final : public Object {
public:
    Parameter(const Text& id, const Text& value, int encoding = 2, int type = 3)
        : id(id), value(value), encoding(encoding), type(type) {
        ++alive;
    }
    Parameter(const Parameter& other) : Parameter(other.id, other.value, other.encoding, other.type) {}
    ~Parameter() override { --alive; }
    void destroy() override { delete this; }

    const Text id;
    const Text value;
    const int encoding;
    const int type;
    static inline int alive = 0;
};

/// One of the host's own runs this code; one of the plug-in's runs the plug-in's.
template <class Element>
class Vector : public Object {
public:
    Vector() { ++alive; }
    Vector(const Vector&) = delete;
    ~Vector() override {
        Vector::clear();
        --alive;
    }
    void destroy() override { delete this; }
    virtual void append(const Vector& other) { // slot 2
        for (std::uint32_t i = 0; i < other.size(); ++i) {
            add(*other.at(i));
        }
    }
    virtual void add(const Element& element) { m_elements[m_size++] = new Element(element); } // slot 3
    virtual void clear() {                                                                    // slot 4
        while (m_size > 0) {
            delete m_elements[--m_size];
        }
    }
    virtual void assign(const Vector& other) { // slot 5
        clear();
        append(other);
    }
    [[nodiscard]] virtual std::uint32_t capacity() const noexcept { return kCapacity; } // slot 6
    [[nodiscard]] virtual std::uint32_t size() const noexcept { return m_size; }        // slot 7
    [[nodiscard]] virtual bool isEmpty() const noexcept { return m_size == 0; }         // slot 8
    [[nodiscard]] virtual Element* at(std::uint32_t index) const {                      // slot 9
        if (index >= m_size) {
            throw std::out_of_range("a vector of the host's");
        }
        return m_elements[index];
    }

    static inline int alive = 0;

private:
    static constexpr std::uint32_t kCapacity = 8;
    Element* m_elements[kCapacity] = {};
    std::uint32_t m_size = 0;
};

class Operation : public Object {
public:
    [[nodiscard]] virtual Text getId() const = 0;                       // slot 2
    [[nodiscard]] virtual Text getScriptType() const = 0;               // slot 3
    [[nodiscard]] virtual Text getScript() const = 0;                   // slot 4
    [[nodiscard]] virtual Vector<Parameter>* getParameters() const = 0; // slot 5
};

/// Made by the plug-in: nothing of it is ever made here. Its vector stands in it.
class Response : public Object {
public:
    [[nodiscard]] const Text& id() const { return m_id; }
    [[nodiscard]] const Vector<Parameter>* parameters() const {
        return reinterpret_cast<const Vector<Parameter>*>(&m_parameters);
    }

private:
    Response();
    Text m_id;
    void* m_parameters[3];
};

class Executor : public Object {
public:
    virtual void initialize(Vector<Parameter>* access, Vector<Parameter>* runtime) = 0; // slot 2
    virtual Response* execute(Operation* operation) = 0;                                // slot 3
    virtual void terminate() = 0;                                                       // slot 4
    virtual Text getVersion() = 0;                                                      // slot 5
    virtual Text getType() = 0;                                                         // slot 6
    virtual Text getName() = 0;                                                         // slot 7
    virtual Text getDescription() = 0;                                                  // slot 8
    virtual Vector<Text>* getSupportedScripts() = 0;                                    // slot 9
    virtual bool validate() = 0;                                                        // slot 10
    virtual bool isLocal() = 0;                                                         // slot 11
};

class LocalizedException : public std::exception {
public:
    [[nodiscard]] const Text& message() const { return m_message; }
    [[nodiscard]] const Text& code() const { return m_code; }

private:
    LocalizedException();
    Text m_message;
    Text m_code;
};

class ClientOperationException : public LocalizedException {};

} // namespace Zel
