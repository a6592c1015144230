#include "platform/TypeName.h"

#if __has_include(<cxxabi.h>)

#include <cstdlib>
#include <cxxabi.h>
#include <memory>

std::string platform::typeName(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           &std::free);
    return name ? name.get() : type.name();
}

#else

// Microsoft's names are readable and begin with the kind of type: "class std::bad_alloc".
std::string platform::typeName(const std::type_info& type) {
    const std::string name = type.name();
    return name.substr(name.find(' ') + 1);
}

#endif
