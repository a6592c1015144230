#include "platform/VersionResource.h"

#include <windows.h>

#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

struct VersionResource::Data {
    std::vector<std::uint8_t> bytes;
    std::uint32_t translation = 0;

    /// The value at `path`; its size in `size`, in the unit that its kind counts in. Null when it is missing.
    const void* query(const wchar_t* path, UINT& size) const noexcept {
        void* value = nullptr;
        return VerQueryValueW(bytes.data(), path, &value, &size) != 0 ? value : nullptr;
    }
};

namespace {

/// The resource has the language in the lower half.
std::uint32_t languageFirst(std::uint32_t entry) noexcept {
    return entry << 16 | entry >> 16;
}

/// Eight lower-case hexadecimal digits.
std::wstring translationText(std::uint32_t translation) {
    std::wstring text;
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += L"0123456789abcdef"[translation >> shift & 0xF];
    }
    return text;
}

} // namespace

VersionResource::VersionResource(std::unique_ptr<Data> data) noexcept : m_data(std::move(data)) {}
VersionResource::VersionResource(VersionResource&&) noexcept = default;
VersionResource& VersionResource::operator=(VersionResource&&) noexcept = default;
VersionResource::~VersionResource() = default;

std::optional<VersionResource> VersionResource::open(const std::wstring& fileName) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(fileName.c_str(), &ignored);
    if (size == 0) {
        return std::nullopt;
    }
    auto data = std::make_unique<Data>();
    data->bytes.resize(size);
    if (GetFileVersionInfoW(fileName.c_str(), 0, size, data->bytes.data()) == 0) {
        return std::nullopt;
    }
    UINT length = 0;
    const void* entry = data->query(L"\\VarFileInfo\\Translation", length);
    if (entry == nullptr || length < sizeof data->translation) {
        return std::nullopt;
    }
    std::memcpy(&data->translation, entry, sizeof data->translation);
    data->translation = languageFirst(data->translation);
    return VersionResource(std::move(data));
}

std::uint32_t VersionResource::translation() const noexcept {
    return m_data->translation;
}

std::optional<std::array<std::uint32_t, 4>> VersionResource::fileVersion() const {
    UINT length = 0;
    VS_FIXEDFILEINFO info;
    const void* root = m_data->query(L"\\", length);
    if (root == nullptr || length < sizeof info) {
        return std::nullopt;
    }
    std::memcpy(&info, root, sizeof info);
    return std::array<std::uint32_t, 4>{HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                                        HIWORD(info.dwFileVersionLS), LOWORD(info.dwFileVersionLS)};
}

std::wstring VersionResource::string(const wchar_t* key) const {
    const std::wstring path = L"\\StringFileInfo\\" + translationText(m_data->translation) + L"\\" + key;
    UINT length = 0;
    const auto* text = static_cast<const wchar_t*>(m_data->query(path.c_str(), length));
    if (text == nullptr) {
        return {};
    }
    // The length counts the terminator in resources of most compilers, but not of all.
    const std::wstring_view value(text, length);
    return std::wstring(value.substr(0, value.find(L'\0')));
}

} // namespace platform
