#include "tests/secrets/Stories.h"

#include "tests/secrets/Heap.h"
#include "tests/unit/crypto/OpenSslKeys.h"

#include <cstdint>

namespace Secrets {

namespace {

constexpr const wchar_t* kRsa = L"1.2.840.113549.1.1.1";

std::string fromHex(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::wstring hexOf(const std::string& bytes) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 0xF];
    }
    return text;
}

std::wstring base64Of(const std::string& bytes) {
    constexpr wchar_t kDigits[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::wstring text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        text += kDigits[group >> 18 & 63];
        text += kDigits[group >> 12 & 63];
        text += i + 1 < bytes.size() ? kDigits[group >> 6 & 63] : L'=';
        text += i + 2 < bytes.size() ? kDigits[group & 63] : L'=';
    }
    return text;
}

std::wstring wideOf(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

/// Bytes that occur nowhere else, other ones for each seed, none of them zero.
std::string noise(std::size_t size, std::uint32_t seed) {
    std::string bytes;
    std::uint32_t state = seed * 2654435761U + 1;
    while (bytes.size() < size) {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24 | 1U);
    }
    return bytes;
}

/// As noise, of printable characters.
std::string pin(std::size_t size, std::uint32_t seed) {
    std::string text = noise(size, seed);
    for (char& character : text) {
        character = static_cast<char>('!' + static_cast<unsigned char>(character) % 90);
    }
    return text;
}

Given plain(const wchar_t* id, const wchar_t* value) {
    return {id, 2, 3, value};
}
Given hex(const wchar_t* id, const std::string& bytes) {
    return {id, 4, 0, hexOf(bytes)};
}
Given text(const wchar_t* id, const std::string& ascii) {
    return {id, 0, 3, wideOf(ascii)};
}
Given base64(const wchar_t* id, const std::string& bytes) {
    return {id, 1, 2, base64Of(bytes)};
}

std::vector<Given> operator+(std::vector<Given> a, const std::vector<Given>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class Author {
public:
    Author(Book& book, Pins pins) : m_book(book), m_size(pins == Pins::Short ? 8 : 24) {}

    void write();

private:
    std::string secret(const char* name, Kind kind, const std::string& bytes, bool isKept = false) {
        m_book.secrets.push_back({name, kind, bytes, isKept});
        return bytes;
    }
    void makePins();
    void makeValues();
    void makeKey();
    void tell(const char* name, const std::vector<Given>& access, const std::vector<Step>& before, const Step& last,
              bool hasKey = false) {
        m_book.stories.push_back({name, access, before, last, hasKey});
    }
    void tellOfPins();
    void tellOfRoles();
    void tellOfTokens();
    void tellOfObjects();
    void tellOfKeys();

    [[nodiscard]] Step login() const {
        return {L"authenticate", {plain(L"AUTH_TYPE", L"STATIC"), plain(L"PINID", L"USER"), hex(L"PIN", user)}};
    }
    [[nodiscard]] Step officerLogin() const {
        return {L"authenticate", {plain(L"AUTH_TYPE", L"STATIC"), plain(L"PINID", L"SO"), hex(L"PIN", officer)}};
    }
    [[nodiscard]] std::vector<Given> knownUser() const { return {hex(L"PIN", user)}; }
    [[nodiscard]] std::vector<Given> names() const {
        return {hex(L"LABEL", label), hex(L"SUBJECT", subject), hex(L"ID", id)};
    }
    [[nodiscard]] std::vector<Given> search() const {
        return names() + std::vector{hex(L"ISSUER", issuer), hex(L"SN", serial)};
    }

    Book& m_book;
    std::size_t m_size;
    std::string user, newUser, wrong, officer, newOfficer;
    std::string data, keyId, id, label, subject, issuer, serial, certificate, readCertificate, container, tokenLabel,
        exponent, pkcs8;
};

void Author::makePins() {
    user = secret("the user's PIN", Kind::Pin, pin(m_size, 11), true);
    newUser = secret("the user's new PIN", Kind::Pin, pin(m_size, 12), true);
    wrong = secret("a wrong PIN", Kind::Pin, pin(m_size, 13), true);
    officer = secret("the officer's PIN", Kind::Pin, pin(m_size, 14));
    newOfficer = secret("the officer's new PIN", Kind::Pin, pin(m_size, 15));
    m_book.userPin = user;
    m_book.officerPin = officer;
}

void Author::makeValues() {
    data = secret("the data to sign", Kind::Value, noise(51, 21), true);
    keyId = secret("the key's identifier", Kind::Value, noise(20, 22), true);
    id = secret("the ID", Kind::Value, noise(20, 23));
    label = secret("the LABEL", Kind::Value, noise(24, 24));
    subject = secret("the SUBJECT", Kind::Value, noise(40, 25));
    issuer = secret("the ISSUER", Kind::Value, noise(40, 26));
    serial = secret("the SN", Kind::Value, noise(16, 27));
    certificate = secret("the certificate", Kind::Value, noise(300, 28), true);
    readCertificate = secret("the certificate that is read", Kind::Public, noise(300, 32), true);
    container = secret("the container's name", Kind::Value, noise(24, 29));
    tokenLabel = secret("the token's label", Kind::Value, noise(32, 30));
    exponent = secret("the public exponent", Kind::Value, noise(16, 31));
    m_book.keyId = keyId;
}

void Author::makeKey() {
    const OpenSslKey& key = kRsa1024Exponent3;
    pkcs8 = fromHex(key.pkcs8);
    secret("the private exponent", Kind::Key, fromHex(key.privateExponent));
    secret("prime 1", Kind::Key, fromHex(key.prime1));
    secret("prime 2", Kind::Key, fromHex(key.prime2));
    secret("exponent 1", Kind::Key, fromHex(key.exponent1));
    secret("exponent 2", Kind::Key, fromHex(key.exponent2));
    secret("the coefficient", Kind::Key, fromHex(key.coefficient));
    // The modulus in it is no secret: what stands behind is. The cut keeps the pieces of its Base64 where they are.
    const std::string modulus = fromHex(key.modulus);
    const std::size_t modulusEnd = pkcs8.find(modulus) + modulus.size();
    secret("the PKCS#8 structure", Kind::Key, pkcs8.substr((modulusEnd + 23) / 24 * 24));
}

void Author::tellOfPins() {
    const auto kept = [this](const Given& given) { return std::vector{given, plain(L"AUTH_TYPE", L"STATIC")}; };
    tell("authenticate", {}, {}, login());
    tell("authenticate with a PIN of initialize, hex", kept(hex(L"PIN", user)), {}, {L"authenticate", {}});
    tell("authenticate with a PIN of initialize, text", kept(text(L"PIN", user)), {}, {L"authenticate", {}});
    tell("authenticate with a PIN of initialize, Base64", kept(base64(L"PIN", user)), {}, {L"authenticate", {}});
    tell("authenticate with a wrong PIN", {}, {},
         {L"authenticate", {plain(L"AUTH_TYPE", L"STATIC"), hex(L"PIN", wrong)}});
    tell("authenticate with many parameters", kept(hex(L"PIN", wrong)), {},
         {L"authenticate",
          {hex(L"PIN", wrong), text(L"PIN", user), base64(L"PIN", wrong), hex(L"OLD_PIN", user),
           hex(L"NEW_PIN", newUser), plain(L"PINID", L"USER"), hex(L"PIN", user)}});
    tell("authenticate with a bad role", knownUser(), {},
         {L"authenticate", {hex(L"PIN", user), hex(L"OLD_PIN", user), plain(L"PINID", L"NOBODY")}});
    tell("deauthenticate", {}, {login()}, {L"deauthenticate", {plain(L"PINID", L"USER")}});
    tell("authenticator state", knownUser(), {login()}, {L"getAuthenticatorState", {plain(L"PINID", L"USER")}});
    tell("changeAuthenticator", {}, {},
         {L"changeAuthenticator", {plain(L"PINID", L"USER"), hex(L"OLD_PIN", user), hex(L"NEW_PIN", newUser)}});
    tell("changeAuthenticator when logged in", {}, {login()},
         {L"changeAuthenticator", {plain(L"PINID", L"USER"), hex(L"OLD_PIN", user), hex(L"NEW_PIN", newUser)}});
    tell("changeAuthenticator with PINs of initialize", {text(L"OLD_PIN", user), base64(L"NEW_PIN", newUser)}, {},
         {L"changeAuthenticator", {plain(L"PINID", L"USER")}});
}

void Author::tellOfRoles() {
    tell("the officer's authenticate", {}, {}, officerLogin());
    tell("the officer's authenticate after the user's", {}, {login()}, officerLogin());
    tell("the user's authenticate after the officer's", {}, {officerLogin()}, login());
    tell("the officer's changeAuthenticator", knownUser(), {},
         {L"changeAuthenticator", {plain(L"PINID", L"SO"), hex(L"OLD_PIN", officer), hex(L"NEW_PIN", newOfficer)}});
    tell("the officer's changeAuthenticator, his PINs before his role", {}, {},
         {L"changeAuthenticator", {hex(L"OLD_PIN", officer), hex(L"NEW_PIN", newOfficer), plain(L"PINID", L"SO")}});
    const std::vector initParams{plain(L"INIT_KEYID", L"SO"), hex(L"INIT_KEY", officer), plain(L"PINID", L"USER"),
                                 hex(L"PIN", newUser)};
    tell("initAuthenticator", {}, {}, {L"initAuthenticator", initParams});
    tell("initAuthenticator when logged in", knownUser(), {officerLogin()},
         {L"initAuthenticator", {plain(L"INIT_KEYID", L"SO"), plain(L"PINID", L"USER")}});
    const std::vector unlockParams{plain(L"UNLOCK_TYPE", L"STATIC"), plain(L"PINID", L"USER"), hex(L"PIN", newUser),
                                   plain(L"UNLOCK_KEYID", L"SO"), hex(L"UNLOCK_KEY", officer)};
    tell("unlockAuthenticator", {}, {}, {L"unlockAuthenticator", unlockParams});
    tell("unlockAuthenticator with a wrong key", {}, {},
         {L"unlockAuthenticator", unlockParams + std::vector{hex(L"UNLOCK_KEY", wrong)}});
    tell("unlockAuthenticator with a malformed key", {}, {},
         {L"unlockAuthenticator", unlockParams + std::vector{plain(L"UNLOCK_KEY", (hexOf(officer) + L"Z").c_str())}});
}

void Author::tellOfTokens() {
    tell("init", {}, {},
         {L"init", {plain(L"INIT_KEYID", L"SO"), hex(L"INIT_KEY", officer), hex(L"LABEL", tokenLabel)}});
    tell("recycle", knownUser(), {login()},
         {L"recycle", {plain(L"RECYCLE_KEYID", L"SO"), hex(L"RECYCLE_KEY", officer), hex(L"LABEL", tokenLabel)}});
    tell("getReaderList", knownUser(), {}, {L"getReaderList", {}});
    tell("getCardState", knownUser(), {}, {L"getCardState", {}});
    tell("beginSynchronization", knownUser(), {}, {L"beginSynchronization", {}});
    tell("endSynchronization", knownUser(), {}, {L"endSynchronization", {}});
    tell("getPlatformIdentifiers", knownUser(), {}, {L"getPlatformIdentifiers", {plain(L"READERNAME", L"46616B65")}});
    tell("an unknown script", knownUser(), {}, {L"unknown", {hex(L"PIN", user), hex(L"DATA", data)}});
}

void Author::tellOfObjects() {
    const auto writing = [this](const std::string& bytes) {
        return Step{L"writeData", std::vector{plain(L"OBJ_TYPE", L"CERTIFICATE"), plain(L"CERT_TYPE", L"X_509"),
                                              base64(L"DATA", bytes)} +
                                      search()};
    };
    const Step write = writing(certificate);
    const auto reading = [this](const wchar_t* script, const wchar_t* type, const std::vector<Given>& params) {
        return Step{script, std::vector{plain(L"OBJ_TYPE", type)} + params};
    };
    tell("write a certificate", knownUser(), {}, write);
    tell("write a certificate when logged in", {}, {login()}, write);
    tell("read certificates", knownUser(), {writing(readCertificate)}, reading(L"readData", L"CERTIFICATE", search()));
    tell("remove certificates", knownUser(), {write}, reading(L"removeData", L"CERTIFICATE", search()));
    tell("remove nothing", knownUser(), {}, reading(L"removeData", L"ANY", search()));
    tell("name a container", knownUser(), {},
         {L"writeData",
          {plain(L"OBJ_TYPE", L"CONTAINER_NAME"), hex(L"KEYID", keyId), hex(L"CONTAINER_NAME", container)}},
         true);
    tell("name a container without a key", knownUser(), {},
         {L"writeData",
          {plain(L"OBJ_TYPE", L"CONTAINER_NAME"), hex(L"KEYID", keyId), hex(L"CONTAINER_NAME", container)}});
}

void Author::tellOfKeys() {
    const auto import = [this](const wchar_t* type, const std::string& key) {
        return Step{L"writeData", std::vector{plain(L"OBJ_TYPE", type), plain(L"ALGOID", kRsa),
                                              plain(L"KEYENCODING", L"PKCS8.clear"), base64(L"KEYVALUE", key)} +
                                      names()};
    };
    tell("import a private key", knownUser(), {}, import(L"PRIVATE_KEY", pkcs8));
    tell("import a key pair", knownUser(), {}, import(L"KEY_PAIR", pkcs8));
    tell("import a key pair when logged in", {}, {login()}, import(L"KEY_PAIR", pkcs8));
    tell("import a key that is cut off", knownUser(), {}, import(L"KEY_PAIR", pkcs8.substr(0, pkcs8.size() - 1)));
    tell("import a key with a bad algorithm", knownUser(), {},
         {L"writeData", {plain(L"OBJ_TYPE", L"KEY_PAIR"), base64(L"KEYVALUE", pkcs8), plain(L"ALGOID", L"1.2")}});
    const std::vector generate{plain(L"ALGOID", kRsa), plain(L"KEYSIZE", L"1024"), base64(L"PUBLICEXPONENT", exponent)};
    tell("generate a key pair", knownUser(), {}, {L"generateKeyPair", generate + names()});
    tell("read public keys", knownUser(), {import(L"KEY_PAIR", pkcs8)},
         {L"readData", std::vector{plain(L"OBJ_TYPE", L"KEY_PAIR"), plain(L"ALGOID", kRsa)} + names()});
    const std::vector sign{plain(L"ALGOID", kRsa), hex(L"KEYID", keyId), base64(L"DATA", data)};
    tell("sign", knownUser(), {}, {L"signData", sign}, true);
    tell("sign when logged in", {}, {login()}, {L"signData", sign}, true);
    tell("sign what initialize gave",
         {text(L"PIN", user), plain(L"ALGOID", kRsa), hex(L"KEYID", keyId), base64(L"DATA", data)}, {},
         {L"signData", {}}, true);
    tell("sign without a key", knownUser(), {}, {L"signData", sign});
}

void Author::write() {
    makePins();
    makeValues();
    makeKey();
    tellOfPins();
    tellOfRoles();
    tellOfTokens();
    tellOfObjects();
    tellOfKeys();
}

const Book* make(Pins pins) {
    auto* const made = new Book;
    Author(*made, pins).write();
    return made;
}

} // namespace

const Book& book(Pins pins) {
    const Heap::Unwatched unwatched;
    static const Book* const s_short = make(Pins::Short);
    static const Book* const s_long = make(Pins::Long);
    return pins == Pins::Short ? *s_short : *s_long;
}

} // namespace Secrets
