#pragma once

#include <cstring>

/// Calls the operation in `slot` of an object's table, as a host does that knows nothing of the object's class. It is
/// called as a member: Microsoft's compiler passes the place of a result by value behind the object there, and in front
/// of all arguments of a plain function.
template <class Result, class... Arguments>
Result callSlot(void* object, unsigned slot, Arguments... arguments) {
    class Object {};
    Result (Object::*operation)(Arguments...) = nullptr;
    void** const table = *static_cast<void***>(object);
    static_assert(sizeof operation >= sizeof(void*));
    std::memcpy(&operation, &table[slot], sizeof(void*));
    return (static_cast<Object*>(object)->*operation)(arguments...);
}
