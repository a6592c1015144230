#include "platform/DynamicLibrary.h"

#include <utility>

namespace platform {

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        unload();
        m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
}

DynamicLibrary::~DynamicLibrary() {
    unload();
}

} // namespace platform
