#include <exception>

#include "client/PKCS11Client.h"
#include "client/PluginModule.h"
#include "util/Conversions.h"
#include "util/VersionInfo.h"

using namespace plugin;

namespace {

/// The answer of a query, or an empty text when memory is short: queries never throw.
template <class Query>
Zel::TString textOf(const wchar_t* method, Query query) {
    return traced(method, [&query](const Trace& trace) -> Zel::TString {
        try {
            return query(trace);
        } catch (const std::exception&) {
            return {};
        }
    });
}

} // namespace

Zel::TString PKCS11Client::getVersion() {
    return textOf(L"getVersion", [](const Trace& trace) {
        trace.write(TraceLevel::Value, L"<-- Output Param version = %ws", pluginModule::clientVersion());
        return Zel::TString(pluginModule::clientVersion());
    });
}

Zel::TString PKCS11Client::getType() {
    return textOf(L"getType", [](const Trace& trace) {
        trace.write(TraceLevel::Value, L"<-- Output Param type = %ws", kScriptType);
        return Zel::TString(kScriptType);
    });
}

Zel::TString PKCS11Client::getName() {
    return textOf(L"getName", [this](const Trace& trace) {
        const Zel::TString description = versionString(pluginModule::handle(), L"FileDescription");
        Zel::TString name = versionString(pluginModule::handle(), L"InternalName");
        name.appendFormat(L" (%ws / %ws)", description.c_str(), m_tsLibraryName.c_str());
        trace.write(TraceLevel::Value, L"<-- Output Param name = %ws", name);
        return name;
    });
}

Zel::TString PKCS11Client::getDescription() {
    return textOf(L"getDescription", [this](const Trace& trace) {
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
    });
}

bool PKCS11Client::validate() {
    return traced(L"validate", [this](const Trace& trace) {
        trace.write(TraceLevel::Value, L"<-- Output Param validate = %ws (%d)", m_isReady ? L"TRUE" : L"FALSE",
                    m_isReady);
        return m_isReady;
    });
}

bool PKCS11Client::isLocal() {
    return traced(L"isLocal", [](const Trace& trace) {
        trace.write(TraceLevel::Value, L"<-- Output Param isLocal = %ws (%d)", L"TRUE", 1);
        return true;
    });
}
