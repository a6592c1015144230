#include "tests/fuzz/PlayInput.h"

#include "tests/fake/Fake.h"

#include <algorithm>
#include <iterator>

namespace Fuzz {

namespace {

using Zel::ParameterEncoding;
using Zel::ParameterType;

constexpr const wchar_t* kScripts[] = {
    L"getReaderList",
    L"getPlatformIdentifiers",
    L"getCardState",
    L"getAuthenticatorState",
    L"init",
    L"recycle",
    L"initAuthenticator",
    L"changeAuthenticator",
    L"unlockAuthenticator",
    L"authenticate",
    L"deauthenticate",
    L"writeData",
    L"readData",
    L"removeData",
    L"generateKeyPair",
    L"signData",
    L"beginSynchronization",
    L"endSynchronization",
};

constexpr const wchar_t* kIds[] = {
    L"PINID",
    L"ALGOID",
    L"PIN",
    L"LABEL",
    L"KEYID",
    L"DATA",
    L"NEW_PIN",
    L"INIT_KEYID",
    L"CONTAINER_NAME",
    L"UNLOCK_TYPE",
    L"TOKEN",
    L"SUBJECT",
    L"OLD_PIN",
    L"OBJ_TYPE",
    L"MODIFIABLE",
    L"CERT_TYPE",
    L"AUTH_TYPE",
    L"PUBLICEXPONENT",
    L"PRIVATE",
    L"KEYVALUE",
    L"KEYSIZE",
    L"KEYENCODING",
    L"INIT_KEY",
    L"WRAP",
    L"VERIFY",
    L"UNLOCK_KEYID",
    L"UNLOCK_KEY",
    L"SN",
    L"SIGN",
    L"SENSITIVE",
    L"RECYCLE_KEYID",
    L"RECYCLE_KEY",
    L"READERNAME",
    L"PRIVATE_PUK",
    L"PRIVATE_PRK",
    L"ISSUER",
    L"EXTRACTABLE",
    L"ENCRYPT",
    L"CERT_CATEGORY",
    L"readerName",
    L"ID",
    L"DEFAULT_CONTAINER",
    L"SIGN_RECOVER",
    L"UNWRAP",
    L"DERIVE",
    L"DECRYPT",
    L"VERIFY_RECOVER",
};

/// A value that is right for some id, as it would be sent for it.
struct Value {
    int encoding;
    int type;
    const wchar_t* text;
};

constexpr Value kValues[] = {
    {2, 3, L"USER"},
    {2, 3, L"SO"},
    {2, 3, L"STATIC"},
    {2, 3, L"CERTIFICATE"},
    {2, 3, L"KEY_PAIR"},
    {2, 3, L"PRIVATE_KEY"},
    {2, 3, L"CONTAINER_NAME"},
    {2, 3, L"ANY"},
    {2, 3, L"X_509"},
    {2, 3, L"PKCS8.clear"},
    {2, 3, L"1.2.840.113549.1.1.1"},
    {2, 3, L"1024"},
    {2, 3, L"1"},
    {2, 3, L"0"},
    {2, 3, L"CA"},
    {2, 3, L"PIN"},
    {4, 0, L"31323334"},
    {4, 0, L"3132333435363738"},
    {4, 0, L"46616B65205265616465722030"},
    {4, 0, L"01"},
    {4, 0, L"4100"},
    {1, 2, L"AQAB"},
    {1, 2, L"MIIBAg=="},
    {1, 2, L"MDMCAQAwDQYJKoZIhvcNAQEBBQAEHzAdAgEAAgIMoQIBEQICCsECAT0CATUCATUCATECASY="},
};

/// What each script asks for: without a push in the right direction, requests that go all the way would be rare.
struct Request {
    const wchar_t* id;
    int encoding;
    int type;
    const wchar_t* value;
};

constexpr const wchar_t* kRsa = L"1.2.840.113549.1.1.1";

constexpr Request kUser[] = {{L"AUTH_TYPE", 2, 3, L"STATIC"}, {L"PINID", 2, 3, L"USER"}, {L"PIN", 4, 0, L"31323334"}};
constexpr Request kOfficer[] = {
    {L"AUTH_TYPE", 2, 3, L"STATIC"}, {L"PINID", 2, 3, L"SO"}, {L"PIN", 4, 0, L"3132333435363738"}};
constexpr Request kSign[] = {{L"ALGOID", 2, 3, kRsa}, {L"KEYID", 4, 0, L"01"}, {L"DATA", 1, 2, L"AQI="}};
constexpr Request kGenerate[] = {
    {L"ALGOID", 2, 3, kRsa}, {L"KEYSIZE", 2, 3, L"1024"}, {L"PUBLICEXPONENT", 1, 2, L"AQAB"}, {L"ID", 4, 0, L"01"}};
constexpr Request kCertificate[] = {
    {L"OBJ_TYPE", 2, 3, L"CERTIFICATE"}, {L"CERT_TYPE", 2, 3, L"X_509"}, {L"DATA", 1, 2, L"MIIBAg=="}};
constexpr Request kReader[] = {{L"READERNAME", 4, 0, L"46616B65205265616465722030"}};
constexpr Request kChange[] = {{L"AUTH_TYPE", 2, 3, L"STATIC"},
                               {L"PINID", 2, 3, L"USER"},
                               {L"OLD_PIN", 4, 0, L"31323334"},
                               {L"NEW_PIN", 4, 0, L"31323334"}};
constexpr Request kUnlock[] = {{L"UNLOCK_TYPE", 2, 3, L"PIN"},
                               {L"UNLOCK_KEYID", 2, 3, L"SO"},
                               {L"UNLOCK_KEY", 4, 0, L"3132333435363738"},
                               {L"NEW_PIN", 4, 0, L"31323334"}};
constexpr Request kRecycle[] = {{L"RECYCLE_KEYID", 2, 3, L"SO"}, {L"RECYCLE_KEY", 4, 0, L"3132333435363738"}};
constexpr Request kInit[] = {
    {L"INIT_KEYID", 2, 3, L"SO"}, {L"INIT_KEY", 4, 0, L"3132333435363738"}, {L"LABEL", 4, 0, L"41"}};
constexpr Request kAny[] = {{L"OBJ_TYPE", 2, 3, L"ANY"}};
constexpr Request kPairs[] = {{L"OBJ_TYPE", 2, 3, L"KEY_PAIR"}};
constexpr Request kName[] = {
    {L"OBJ_TYPE", 2, 3, L"CONTAINER_NAME"}, {L"KEYID", 4, 0, L"01"}, {L"CONTAINER_NAME", 4, 0, L"4142"}};

void add(ParameterList& list, int encoding, const std::wstring& id, int type, const std::wstring& value) {
    list.add(
        {static_cast<ParameterEncoding>(encoding), textFrom(id), static_cast<ParameterType>(type), textFrom(value)});
}

template <std::size_t N>
void addAll(ParameterList& list, const Request (&requests)[N]) {
    for (const Request& request : requests) {
        add(list, request.encoding, request.id, request.type, request.value);
    }
}

void addRequest(ParameterList& list, std::size_t choice) {
    switch (choice) {
    case 0:
        return addAll(list, kUser);
    case 1:
        return addAll(list, kOfficer);
    case 2:
        return addAll(list, kSign);
    case 3:
        return addAll(list, kGenerate);
    case 4:
        return addAll(list, kCertificate);
    case 5:
        return addAll(list, kReader);
    case 6:
        return addAll(list, kChange);
    case 7:
        return addAll(list, kUnlock);
    case 8:
        return addAll(list, kRecycle);
    case 9:
        return addAll(list, kInit);
    case 10:
        return addAll(list, kAny);
    case 11:
        return addAll(list, kPairs);
    case 12:
        return addAll(list, kName);
    default: {
        addAll(list, {{L"OBJ_TYPE", 2, 3, L"KEY_PAIR"}, {L"ALGOID", 2, 3, kRsa}});
        addAll(list, {{L"KEYENCODING", 2, 3, L"PKCS8.clear"}, {L"ID", 4, 0, L"01"}});
        const Value& key = *std::rbegin(kValues);
        return add(list, key.encoding, L"KEYVALUE", key.type, key.text);
    }
    }
}

void addParameter(ParameterList& list, Input& input) {
    const std::wstring id = input.below(8) == 0 ? input.text(20) : input.oneOf(kIds);
    const std::size_t kind = input.below(8);
    if (kind < 5) {
        const Value& value = input.oneOf(kValues);
        add(list, value.encoding, id, value.type, value.text);
    } else {
        const int encoding = kind == 5 ? input.number<int>() : static_cast<int>(input.below(5));
        const int type = kind == 5 ? input.number<int>() : static_cast<int>(input.below(4));
        add(list, encoding, id, type, input.text(100));
    }
}

std::wstring moduleFrom(Input& input) {
    const std::string file = input.below(16) == 0 ? Fake::emptyModuleFile() : Fake::moduleFile();
    return {file.begin(), file.end()};
}

} // namespace

Zel::TString textFrom(const std::wstring& text) {
    return {text.data(), static_cast<int>(text.size())};
}

ParameterList creationFrom(Input& input) {
    ParameterList list;
    if (input.below(8) == 0) {
        // A prefix that stood inside the honest reader's name would, rightly, hide that reader.
        add(list, 2, L"readerPrefix", 3, L"#" + input.text(10));
    }
    add(list, 2, input.below(16) == 0 ? L"dllname" : L"DLLNAME", 3, moduleFrom(input));
    if (input.below(16) == 0) {
        add(list, static_cast<int>(input.below(5)), input.text(10), 3, input.text(10));
    }
    return list;
}

std::optional<ParameterList> parametersFrom(Input& input) {
    constexpr std::size_t kRequests = 14;
    if (input.below(16) == 0) {
        return std::nullopt;
    }
    ParameterList list;
    if (input.boolean()) {
        addRequest(list, input.below(kRequests));
    }
    for (std::size_t count = input.below(6); count > 0; --count) {
        addParameter(list, input);
    }
    return list;
}

std::wstring scriptFrom(Input& input) {
    return input.below(32) == 0 ? input.text(20) : input.oneOf(kScripts);
}

bool isScript(const std::wstring& name) {
    return std::find(std::begin(kScripts), std::end(kScripts), name) != std::end(kScripts);
}

} // namespace Fuzz
