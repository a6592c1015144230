#include "tests/token/TokenTest.h"

#include "tests/fake/Attributes.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace Token {

namespace {

constexpr const char* kSha256 = "3031300D060960864801650304020105000420";

const Folder& keyFolder() {
    static const Folder s_folder;
    return s_folder;
}

std::string der(const std::string& tag, const std::string& content) {
    return tag + hex(std::string(1, static_cast<char>(content.size() / 2))) + content;
}

Params creation(const Kind& kind) {
    return Params().plain("DLLNAME", watched(kind.module));
}

} // namespace

std::string hex(const std::string& bytes) {
    return Fake::hex(bytes);
}

std::string unhex(const std::string& hexText) {
    return Fake::bytes(hexText);
}

Params certificate(const std::string& der, const std::string& label, const std::string& id) {
    return Params()
        .plain("OBJ_TYPE", "CERTIFICATE")
        .plain("CERT_TYPE", "X_509")
        .bytes("DATA", hex(der))
        .hex("LABEL", hex(label))
        .hex("SUBJECT", commonName("Holder"))
        .hex("ID", id);
}

std::string commonName(const std::string& name) {
    return der("30", der("31", der("30", "0603550403" + der("0C", hex(name)))));
}

std::string keyFile(int bits, int exponent) {
    const std::string name = "rsa-" + std::to_string(bits) + "-" + std::to_string(exponent);
    const Folder& folder = keyFolder();
    if (folder.read(name + ".p8").empty()) {

        (void)folder.run("openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:" + std::to_string(bits) +
                         " -pkeyopt rsa_keygen_pubexp:" + std::to_string(exponent) + " -out key.pem");
        (void)folder.run("openssl pkcs8 -topk8 -nocrypt -in key.pem -outform DER -out " + name + ".p8");
        (void)folder.run("openssl pkey -in key.pem -pubout -out " + name + ".pem");
        if (const char* const kept = std::getenv("TOKEN_KEYS");
            kept != nullptr) { // for who searches for the key afterwards
            std::filesystem::copy(folder.path() + "/key.pem", std::string(kept) + "/" + name + ".pem");
        }
    }
    return folder.path() + "/" + name + ".p8";
}

std::string keyBytes(int bits, int exponent) {
    const std::string file = keyFile(bits, exponent);
    return keyFolder().read(file.substr(file.rfind('/') + 1));
}

Params keyPair(int bits, int exponent, const std::string& label, const std::string& id) {
    return Params()
        .plain("OBJ_TYPE", "KEY_PAIR")
        .plain("ALGOID", kRsa)
        .plain("KEYENCODING", "PKCS8.clear")
        .bytes("KEYVALUE", hex(keyBytes(bits, exponent)))
        .hex("LABEL", hex(label))
        .hex("ID", id)
        .plain("SIGN", "1")
        .plain("VERIFY", "1");
}

std::string kindName(const ::testing::TestParamInfo<Kind>& info) {
    return info.param.name;
}

void TokenTest::SetUp() {
    if (std::string(GetParam().module).empty()) {
        GTEST_SKIP() << GetParam().name << " was not found when the tests were configured";
    }
    GetParam().bringUp(folder);
    plugin = Executor(creation(GetParam()));
    ASSERT_TRUE(plugin);
    ASSERT_EQ(plugin.initialize(), std::nullopt);
    // There is one reader, so the list is its name.
    reader = succeeds("getReaderList").value("READERS").value_or("");
    ASSERT_FALSE(reader.empty());
    succeeds("getPlatformIdentifiers", Params().hex("READERNAME", reader));
    succeeds("init", Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", hex(kOfficerPin)).hex("LABEL", hex("Card")));
    succeeds("initAuthenticator", Params()
                                      .plain("INIT_KEYID", "SO")
                                      .hex("INIT_KEY", hex(kOfficerPin))
                                      .plain("PINID", "USER")
                                      .hex("PIN", hex(kUserPin)));
    ASSERT_FALSE(HasFailure());
}

void TokenTest::TearDown() {
    plugin.free();
    EXPECT_EQ(Executor::alive(), 0);
}

Executor TokenTest::freshExecutor() const {
    Executor executor(creation(GetParam()));
    EXPECT_EQ(executor.initialize(), std::nullopt);
    EXPECT_EQ(executor.execute("getPlatformIdentifiers", Params().hex("READERNAME", reader)).value("ERROR"), "0");
    return executor;
}

void TokenTest::startAfresh() {
    plugin.terminate();
    ASSERT_EQ(plugin.initialize(Params().hex("PIN", hex(kUserPin))), std::nullopt);
    succeeds("getPlatformIdentifiers", Params().hex("READERNAME", reader));
}

Result TokenTest::answers(const std::string& error, const std::string& script, const Params& params, Where where) {
    const Result result = plugin.execute(script, params);
    if (result.value("ERROR") != error) {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
            << script << " answered " << result.value("ERROR").value_or("nothing") << " where " << error << " was due";
    }
    return result;
}

Result TokenTest::login(const std::string& pin, const std::string& error, const std::string& role, Where where) {
    return answers(error, "authenticate",
                   Params().plain("AUTH_TYPE", "STATIC").plain("PINID", role).hex("PIN", hex(pin)), where);
}

std::string TokenTest::bytesOf(const Result& result, const std::string& outputId) const {
    folder.write("output.txt", result.value(outputId).value_or(""));
    return folder.run("base64 -d output.txt");
}

std::string TokenTest::tool(const std::string& arguments) const {
    return folder.run(GetParam().toolEnvironment + std::string("pkcs11-tool --module '") + GetParam().toolModule +
                      "' " + arguments);
}

std::multiset<std::string> TokenTest::objects() const {
    std::istringstream lines(tool(std::string("--list-objects --token-label Card --login --pin ") + kUserPin));
    std::multiset<std::string> found;
    std::string kind;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t end = line.find(" Object; ");
        if (end != std::string::npos) {
            kind = line.substr(0, end);
        } else if (line.starts_with("  label:")) {
            found.insert(kind + " " + line.substr(std::string_view("  label:      ").size()));
        }
    }
    return found;
}

void TokenTest::signs(const std::string& id, const std::string& pem, Where where) {
    folder.write("text", "What is signed here is this line.\n");
    const std::string block = kSha256 + hex(folder.run("openssl dgst -sha256 -binary text"));
    const Result result =
        answers("0", "signData", Params().plain("ALGOID", kRsa).hex("KEYID", id).bytes("DATA", block), where);
    folder.write("signature", bytesOf(result, "SIGNEDDATA"));
    const Outcome verified =
        shell(folder.path(), "openssl dgst -sha256 -verify '" + pem + "' -signature signature text");
    if (verified.status != 0 || verified.output != "Verified OK\n") {
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line())) << "OpenSSL: " << verified.output;
    }
}

void TokenTest::makePublicKey(const std::string& modulus, const std::string& exponent, const std::string& pem) const {
    folder.write("key.conf", "asn1=SEQUENCE:key\n[key]\nalgorithm=SEQUENCE:algorithm\nbits=BITWRAP,SEQUENCE:numbers\n"
                             "[algorithm]\noid=OID:rsaEncryption\nparameters=NULL\n[numbers]\nmodulus=INTEGER:0x" +
                                 hex(modulus) + "\nexponent=INTEGER:0x" + hex(exponent) + "\n");
    (void)folder.run("openssl asn1parse -genconf key.conf -noout -out key.der");
    (void)folder.run("openssl pkey -pubin -inform DER -in key.der -out " + pem);
}

std::string TokenTest::makeCertificate(const std::string& name) const {
    (void)folder.run(
        "test -e ca.key || openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out ca.key");
    (void)folder.run("openssl req -x509 -new -key ca.key -days 1 -subj '/CN=" + name +
                     "' -outform DER -out certificate.der");
    return folder.read("certificate.der");
}

} // namespace Token
