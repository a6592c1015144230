#include "platform/VersionResource.h"

#include <dlfcn.h>
#include <link.h>

#include <utility>

#include "platform/posix/ElfSection.h"
#include "platform/posix/VersionRecord.h"
#include "text/Utf8.h"

namespace platform {

namespace {

/// The path of a file name. A bare name is not a file in the current directory: for a loaded library the loader knows
/// the path.
std::string locate(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) {
        return name;
    }
    void* handle = dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) {
        return name;
    }
    link_map* map = nullptr;
    const bool isKnown = dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map->l_name != nullptr && *map->l_name != '\0';
    std::string path = isKnown ? map->l_name : name;
    dlclose(handle);
    return path;
}

} // namespace

struct VersionResource::Data {
    VersionRecord record;
};

VersionResource::VersionResource(std::unique_ptr<Data> data) noexcept : m_data(std::move(data)) {}
VersionResource::VersionResource(VersionResource&&) noexcept = default;
VersionResource& VersionResource::operator=(VersionResource&&) noexcept = default;
VersionResource::~VersionResource() = default;

std::optional<VersionResource> VersionResource::open(const std::wstring& fileName) {
    // A name ends at its first zero character, as on Windows.
    const std::string file = locate(text::toUtf8(fileName.c_str()));
    const std::optional<std::string> section = readElfSection(file, kVersionSection, kLargestVersionRecord);
    std::optional<VersionRecord> record = section ? VersionRecord::parse(*section) : std::nullopt;
    if (!record) {
        return std::nullopt;
    }
    return VersionResource(std::make_unique<Data>(Data{std::move(*record)}));
}

std::uint32_t VersionResource::translation() const noexcept {
    return m_data->record.translation();
}

std::optional<std::array<std::uint32_t, 4>> VersionResource::fileVersion() const {
    return m_data->record.fileVersion();
}

std::wstring VersionResource::string(const wchar_t* key) const {
    const std::optional<std::string_view> value = m_data->record.value(text::toUtf8(key));
    return value ? text::toWide(*value) : std::wstring();
}

} // namespace platform
