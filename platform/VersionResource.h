#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// The version information that a library file carries: four numbers and named texts for one translation. Released
/// with the object.
class VersionResource {
public:
    VersionResource(const VersionResource&) = delete;
    VersionResource& operator=(const VersionResource&) = delete;
    VersionResource(VersionResource&&) noexcept;
    VersionResource& operator=(VersionResource&&) noexcept;
    ~VersionResource();

    /// nullopt when the file is not found, has no version information, or has one without a translation.
    [[nodiscard]] static std::optional<VersionResource> open(const std::wstring& fileName);

    /// Language in the upper 16 bits, code page in the lower (0x040904B0).
    [[nodiscard]] std::uint32_t translation() const noexcept;
    /// The four numbers of the file version; nullopt when the file carries no version.
    [[nodiscard]] std::optional<std::array<std::uint32_t, 4>> fileVersion() const;
    /// Text of `key` ("FileDescription", "InternalName" …) in the first translation; empty when it is missing.
    [[nodiscard]] std::wstring string(const wchar_t* key) const;

private:
    struct Data;
    explicit VersionResource(std::unique_ptr<Data> data) noexcept;
    std::unique_ptr<Data> m_data;
};

} // namespace platform
