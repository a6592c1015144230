#include "tests/binary/RawHost.h"

#include "tests/fake/Fake.h"
#include "text/Utf8.h"

RawPlugin::RawPlugin() : m_library(platform::DynamicLibrary::load(PLUGIN_FILE)) {}

void* RawPlugin::newInstance(const std::wstring& module) const {
    using NewInstance = void* (*)(void*);
    const auto function = reinterpret_cast<NewInstance>(symbol("newInstance"));
    Zel::Vector<Zel::Parameter> parameters;
    if (!module.empty()) {
        parameters.add({Zel::ParameterEncoding::Plain, L"DLLNAME", Zel::ParameterType::Text, module.c_str()});
    }
    return function(&parameters);
}

void RawPlugin::freeInstance(void* executor) const {
    using FreeInstance = void (*)(void*);
    reinterpret_cast<FreeInstance>(symbol("freeInstance"))(executor);
}

std::wstring wideModuleFile() {
    return text::toWide(Fake::moduleFile());
}
