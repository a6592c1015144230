#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/Cases.h"
#include "bench/Executor.h"
#include "bench/Module.h"
#include "bench/peers/peer.h"
#include "host/plugin/Texts.h"
#include "ry/rylog.h"
#include "text/Base64.h"

// The plug-in as one peer among others. What it takes from the start of a process is measured with p11host.

namespace {

/// Everything between open and close.
struct Plugin {
    explicit Plugin(const std::string& moduleFile) : executor(moduleFile, "") {}

    bench::Executor executor;
    host::Operation sign =
        bench::makeOperation("signData", {"ALGOID=1.2.840.113549.1.1.1", "KEYID=hex:4501", bench::signArgument()});
    host::Operation read = bench::makeOperation("readData", {"OBJ_TYPE=CERTIFICATE"});
};

std::unique_ptr<Plugin> s_plugin;

/// The description of the first slot with a token.
std::string firstReader(const std::string& moduleFile) {
    const bench::Module module(moduleFile);
    CK_FUNCTION_LIST& functions = module.functions();
    CK_SLOT_ID slots[8];
    CK_ULONG count = std::size(slots);
    CK_SLOT_INFO info;
    bench::require(functions.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    bench::require(functions.C_GetSlotInfo(slots[0], &info), "C_GetSlotInfo");
    const std::string name(reinterpret_cast<const char*>(info.slotDescription), sizeof info.slotDescription);
    return std::string(host::trimmed(name));
}

void openModule(const char* moduleFile) {
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    s_plugin = std::make_unique<Plugin>(moduleFile);
    s_plugin->executor.chooseReader(firstReader(moduleFile));
}

void closeModule() {
    s_plugin.reset();
}

void logIn(const char* pin) {
    host::Operation operation =
        bench::makeOperation("authenticate", {"AUTH_TYPE=STATIC", "PINID=USER", std::string("PIN=text:") + pin});
    s_plugin->executor.mustRun(operation);
}

std::size_t sign(unsigned char* signature) {
    const host::ResponsePtr response = s_plugin->executor.mustRun(s_plugin->sign);
    const host::ParameterList& outputs = response->getResponseParameters();
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        const Zel::TString& value = outputs.at(i)->getValue();
        if (outputs.at(i)->getId().compare(L"SIGNEDDATA") == 0) {
            const SecretBuffer bytes = text::decodeBase64({value.c_str(), value.length()});
            peer_require(bytes.size() <= kMostSignatureBytes, "The signature's length");
            std::copy_n(bytes.data(), bytes.size(), signature);
            return bytes.size();
        }
    }
    return 0;
}

/// The bytes that Base64 text stands for: three for each four characters, less those that fill up the last four.
std::size_t bytesOf(const Zel::TString& base64) {
    const wchar_t* const end = base64.c_str() + base64.length();
    return base64.length() / 4 * 3 -
           static_cast<std::size_t>(std::count(end - std::min<std::size_t>(2, base64.length()), end, L'='));
}

std::size_t readCertificates(int whole) {
    peer_require(whole == 0, "The script answers values and nothing else; this");
    const host::ResponsePtr response = s_plugin->executor.mustRun(s_plugin->read);
    const host::ParameterList& outputs = response->getResponseParameters();
    std::size_t bytes = 0;
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        if (outputs.at(i)->getEncodingEnum() == Zel::ParameterEncoding::Base64) {
            bytes += bytesOf(outputs.at(i)->getValue());
        }
    }
    return bytes;
}

void listReaders() {
    peer_require(0, "Use p11host; this");
}

} // namespace

const Peer kPeer = {.open = openModule,
                    .list_readers = listReaders,
                    .log_in = logIn,
                    .sign = sign,
                    .read = readCertificates,
                    .close = closeModule};
