#include "tests/binary/RawHost.h"

#include "platform/Encoding.h"
#include "tests/fake/Fake.h"

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
    const std::string file = Fake::moduleFile();
    std::wstring text(file.size(), L'\0');
    text.resize(platform::utf8ToWide(file.data(), file.size(), text.data(), text.size()));
    return text;
}
