#pragma once

// std::exception as this ABI lays it out, 24 bytes: the table, the text, and whether the object owns the text. The two
// functions that copy and free the text are the runtime library's.

#include <corecrt.h>
#include <stddef.h>

extern "C" {

typedef void(__cdecl* terminate_handler)();
[[noreturn]] void __cdecl terminate() throw();

struct __std_exception_data {
    const char* _What;
    bool _DoFree;
};
void __cdecl __std_exception_copy(const __std_exception_data* from, __std_exception_data* to);
void __cdecl __std_exception_destroy(__std_exception_data* data);

} // extern "C"

namespace std {

class exception {
public:
    exception() noexcept : _Data() {}
    explicit exception(const char* text) noexcept : _Data() {
        const __std_exception_data from = {text, true};
        __std_exception_copy(&from, &_Data);
    }
    /// `text` lives for ever and is not copied.
    exception(const char* text, int) noexcept : _Data{text, false} {}
    exception(const exception& other) noexcept : _Data() { __std_exception_copy(&other._Data, &_Data); }
    exception& operator=(const exception& other) noexcept {
        if (this != &other) {
            __std_exception_destroy(&_Data);
            __std_exception_copy(&other._Data, &_Data);
        }
        return *this;
    }
    virtual ~exception() noexcept { __std_exception_destroy(&_Data); }

    [[nodiscard]] virtual const char* what() const {
        return _Data._What != nullptr ? _Data._What : "Unknown exception";
    }

private:
    __std_exception_data _Data;
};

class bad_exception : public exception {
public:
    bad_exception() noexcept : exception("bad exception", 1) {}
};

class bad_alloc : public exception {
public:
    bad_alloc() noexcept : bad_alloc("bad allocation") {}

private:
    friend class bad_array_new_length;
    bad_alloc(const char* text) noexcept : exception(text, 1) {}
};

class bad_array_new_length : public bad_alloc {
public:
    bad_array_new_length() noexcept : bad_alloc("bad array new length") {}
};

} // namespace std
