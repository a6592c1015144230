#include "util/VersionInfo.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/DynamicLibrary.h"
#include "platform/VersionResource.h"

namespace plugin {

namespace {

std::optional<platform::VersionResource> openModule(void* module) {
    const std::wstring fileName = platform::moduleFileName(module);
    return fileName.empty() ? std::nullopt : platform::VersionResource::open(fileName);
}

Zel::TString versionText(const std::optional<platform::VersionResource>& resource) {
    Zel::TString text(L"?");
    const auto version = resource ? resource->fileVersion() : std::nullopt;
    if (version) {
        const std::array<std::uint32_t, 4>& part = *version;
        text.format(L"%u.%u.%u.%u", part[0], part[1], part[2], part[3]);
    }
    return text;
}

} // namespace

Zel::TString fileVersionText(void* module) {
    return versionText(openModule(module));
}

Zel::TString fileVersionText(const Zel::TString& fileName) {
    return versionText(platform::VersionResource::open(std::wstring(fileName.data(), fileName.length())));
}

Zel::TString versionString(void* module, const wchar_t* key) {
    const std::optional<platform::VersionResource> resource = openModule(module);
    return resource ? Zel::TString(resource->string(key).c_str()) : Zel::TString();
}

} // namespace plugin
