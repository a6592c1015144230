#pragma once

#include <string>

namespace platform {

/// A loaded dynamic library, which the destructor unloads. Move-only.
class DynamicLibrary {
public:
    DynamicLibrary() noexcept = default;
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    ~DynamicLibrary();

    /// Loads `name` (file name or path, searched as the system searches). On failure the object is not loaded.
    [[nodiscard]] static DynamicLibrary load(const wchar_t* name) noexcept;

    [[nodiscard]] bool isLoaded() const noexcept { return m_handle != nullptr; }
    /// The system's handle; null when not loaded.
    [[nodiscard]] void* handle() const noexcept { return m_handle; }
    /// Address of an exported symbol, null when the library does not export it.
    [[nodiscard]] void* symbol(const char* name) const noexcept;
    void unload() noexcept;

    /// The system's message for this thread's last failed load, as UTF-8.
    [[nodiscard]] static std::string lastError();

private:
    void* m_handle = nullptr;
};

/// The file that the module with this handle was loaded from (full path); empty when unknown. On Linux the handle of a
/// module is any address inside it.
[[nodiscard]] std::wstring moduleFileName(void* module);

} // namespace platform
