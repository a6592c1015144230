#include "client/PKCS11Client.h"
#include "client/PluginModule.h"
#include "util/Conversions.h"
#include "util/VersionInfo.h"

Zel::TString PKCS11Client::getVersion() {
    const Trace trace(L"getVersion");
    trace.write(TraceLevel::Value, L"<-- Output Param version = %ws", pluginModule::clientVersion());
    return pluginModule::clientVersion();
}

Zel::TString PKCS11Client::getType() {
    const Trace trace(L"getType");
    trace.write(TraceLevel::Value, L"<-- Output Param type = %ws", kScriptType);
    return kScriptType;
}

Zel::TString PKCS11Client::getName() {
    const Trace trace(L"getName");
    const Zel::TString description = versionString(pluginModule::handle(), L"FileDescription");
    Zel::TString name = versionString(pluginModule::handle(), L"InternalName");
    name.appendFormat(L" (%ws / %ws)", description.c_str(), m_tsLibraryName.c_str());
    trace.write(TraceLevel::Value, L"<-- Output Param name = %ws", name);
    return name;
}

Zel::TString PKCS11Client::getDescription() {
    const Trace trace(L"getDescription");
    Zel::TString description;
    description.format(L"Library Name=%ws (version %ws)", m_tsLibraryName.c_str(),
                       fileVersionText(m_tsLibraryName).c_str());
    CK_INFO info{};
    if (m_cryptoki.isBound() && CryptokiCall(m_cryptoki, trace, cryptoki::getInfo).run(&info) == CKR_OK) {
        description.appendFormat(L"\nManufacturer ID=%ws\nCryptoki version=%d.%d",
                                 Utf82TString(info.manufacturerID, sizeof info.manufacturerID).c_str(),
                                 static_cast<int>(info.cryptokiVersion.major),
                                 static_cast<int>(info.cryptokiVersion.minor));
    }
    trace.write(TraceLevel::Value, L": <-- Output Param name = %ws", description);
    return description;
}

bool PKCS11Client::validate() {
    const Trace trace(L"validate");
    trace.write(TraceLevel::Value, L"<-- Output Param validate = %ws (%d)", m_isReady ? L"TRUE" : L"FALSE", m_isReady);
    return m_isReady;
}

bool PKCS11Client::isLocal() {
    const Trace trace(L"isLocal");
    trace.write(TraceLevel::Value, L"<-- Output Param isLocal = %ws (%d)", L"TRUE", 1);
    return true;
}
