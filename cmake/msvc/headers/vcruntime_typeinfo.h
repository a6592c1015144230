#pragma once

// type_info as this ABI lays it out: the table, the readable name when it was asked for, the decorated name.

#include <stddef.h>
#include <vcruntime_exception.h>

struct __type_info_node;
extern __type_info_node __type_info_root_node;

extern "C" {

struct __std_type_info_data {
    const char* _UndecoratedName;
    const char _DecoratedName[1];
    __std_type_info_data() = delete;
    __std_type_info_data(const __std_type_info_data&) = delete;
    __std_type_info_data& operator=(const __std_type_info_data&) = delete;
};
int __cdecl __std_type_info_compare(const __std_type_info_data* one, const __std_type_info_data* other);
size_t __cdecl __std_type_info_hash(const __std_type_info_data* data);
const char* __cdecl __std_type_info_name(__std_type_info_data* data, __type_info_node* names);

} // extern "C"

class type_info {
public:
    type_info(const type_info&) = delete;
    type_info& operator=(const type_info&) = delete;
    virtual ~type_info() noexcept;

    [[nodiscard]] size_t hash_code() const noexcept { return __std_type_info_hash(&_Data); }
    [[nodiscard]] bool operator==(const type_info& other) const noexcept {
        return __std_type_info_compare(&_Data, &other._Data) == 0;
    }
    [[nodiscard]] bool before(const type_info& other) const noexcept {
        return __std_type_info_compare(&_Data, &other._Data) < 0;
    }
    [[nodiscard]] const char* name() const noexcept { return __std_type_info_name(&_Data, &__type_info_root_node); }
    [[nodiscard]] const char* raw_name() const noexcept { return _Data._DecoratedName; }

private:
    mutable __std_type_info_data _Data;
};

namespace std {

using ::type_info;

class bad_cast : public exception {
public:
    bad_cast() noexcept : bad_cast("bad cast", 1) {}
    static bad_cast __construct_from_string_literal(const char* text) noexcept { return bad_cast(text, 1); }

private:
    bad_cast(const char* text, int) noexcept : exception(text, 1) {}
};

class bad_typeid : public exception {
public:
    bad_typeid() noexcept : exception("bad typeid", 1) {}
};

} // namespace std
