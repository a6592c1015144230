// RSA keys that "writeData" imports, alone or as a pair. The keys are throw-away ones whose numbers are known.

#include "tests/conformance/ObjectTest.h"
#include "tests/conformance/Repeated.h"
#include "tests/unit/crypto/OpenSslKeys.h"

#include <algorithm>

namespace Conformance::KeyImportTests {

using Fake::Function;

namespace {

const std::string kScript = "writeData";
const std::string kMethod = "writeKey";

Params keyOf(const std::string& objectType, const OpenSslKey& key = kRsa1024Exponent3) {
    return Params()
        .plain("OBJ_TYPE", objectType)
        .plain("ALGOID", kRsa)
        .plain("KEYENCODING", "PKCS8.clear")
        .bytes("KEYVALUE", key.pkcs8);
}

Params privateKey(const OpenSslKey& key = kRsa1024Exponent3) {
    return keyOf("PRIVATE_KEY", key);
}

Params keyPair(const OpenSslKey& key = kRsa1024Exponent3) {
    return keyOf("KEY_PAIR", key);
}

/// The eight numbers of the private key, as the call shows them.
std::string numbers(const OpenSslKey& key) {
    return std::string(" CKA_PRIME_1=") + key.prime1 + " CKA_PRIME_2=" + key.prime2 +
           " CKA_EXPONENT_1=" + key.exponent1 + " CKA_EXPONENT_2=" + key.exponent2 +
           " CKA_COEFFICIENT=" + key.coefficient + " CKA_MODULUS=" + key.modulus +
           " CKA_PUBLIC_EXPONENT=" + key.publicExponent + " CKA_PRIVATE_EXPONENT=" + key.privateExponent;
}

/// C_CreateObject of the private key with the defaults; `tail` stands behind the twelve fixed entries.
std::string privateCall(const std::string& tail = "", const OpenSslKey& key = kRsa1024Exponent3) {
    return "C_CreateObject(0x1, [CKA_CLASS=3 CKA_TOKEN=true CKA_PRIVATE=true CKA_KEY_TYPE=0" + numbers(key) + tail +
           "])";
}

/// C_CreateObject of the public key; `tail` stands behind the six fixed entries.
std::string publicCall(const std::string& tail = "", const OpenSslKey& key = kRsa1024Exponent3) {
    return std::string("C_CreateObject(0x1, [CKA_CLASS=2 CKA_TOKEN=true CKA_PRIVATE=false CKA_KEY_TYPE=0 "
                       "CKA_MODULUS=") +
           key.modulus + " CKA_PUBLIC_EXPONENT=" + key.publicExponent + tail + "])";
}

const std::vector<CK_ATTRIBUTE_TYPE> kPrivateTypes = {
    CKA_CLASS,      CKA_TOKEN,      CKA_PRIVATE,     CKA_KEY_TYPE, CKA_PRIME_1,         CKA_PRIME_2,
    CKA_EXPONENT_1, CKA_EXPONENT_2, CKA_COEFFICIENT, CKA_MODULUS,  CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT};

Trace complaint(const std::string& text) {
    return {{1, "PKCS11Client::writeKey: " + text}};
}

const Trace kNotBase64 = {{1, "PKCS11Client::getRSAKeyComponentFromTString : TStringB642Binary pKeyValue is NULL or "
                              "nKeyValueLength=0: failed"}};
const Trace kNoKey = {{1, "PKCS11Client::getRSAKeyComponentFromTString : pPrivateKeyPKCS8 is null ( (IPrivateKey "
                          "*)IKey::Create) "}};

Trace keySize(unsigned bits) {
    return {{4, "PKCS11Client::writeKey: key size = " + std::to_string(bits) + " "}};
}

/// From the announcement of the private key's creation to the call; the types of optional entries are `more`.
Trace privateAnnounced(const std::vector<CK_ATTRIBUTE_TYPE>& more = {}, unsigned bits = 1024) {
    std::vector<CK_ATTRIBUTE_TYPE> types = kPrivateTypes;
    types.insert(types.end(), more.begin(), more.end());
    return Trace{{2, "PKCS11Client::writeKey: C_CreateObject private key"}} + in(kMethod, "hSession", 1) +
           in(kMethod, "ulAttCount", static_cast<CK_ULONG>(types.size())) + typeLines(kMethod, types) +
           Trace{{4, "PKCS11Client::writeKey: --> ulKeySizeValue=" + std::to_string(bits)}};
}

Trace searchAnnounced(const std::string& id) {
    return sessionCall(kMethod, "C_FindObjectsInit", 1) +
           dumpedLines(kMethod, {{CKA_CLASS, numberDump(CKO_PUBLIC_KEY)}, {CKA_ID, id}});
}

Trace publicAnnounced(const std::vector<ShownAttribute>& more, const OpenSslKey& key = kRsa1024Exponent3) {
    std::vector<ShownAttribute> shown = {
        {CKA_CLASS, numberDump(CKO_PUBLIC_KEY)}, {CKA_TOKEN, "01"},          {CKA_PRIVATE, "00"},
        {CKA_KEY_TYPE, numberDump(CKK_RSA)},     {CKA_MODULUS, key.modulus}, {CKA_PUBLIC_EXPONENT, key.publicExponent}};
    shown.insert(shown.end(), more.begin(), more.end());
    return Trace{{2, "PKCS11Client::writeKey: C_CreateObject publick key without CKA_MODULUS_BITS"}} +
           in(kMethod, "hSession", 1) + in(kMethod, "ulAttCount", static_cast<CK_ULONG>(shown.size())) +
           dumpedLines(kMethod, shown);
}

Trace notFound(const std::string& id) {
    return {{2, "PKCS11Client::writeKey : key not found", id}};
}

Trace retried(CK_RV rv) {
    return {{1, textf("PKCS11Client::writeKey : C_CreateObject publick key 0x%02x : failed, retry with "
                      "CKA_MODULUS_BITS ",
                      low(rv))}};
}

/// The pair without optional parameters but its ID "01", up to the moment when the public key is about to be made.
Trace pairHead() {
    return loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
           out(kMethod, "hObject", 0x101) + searchAnnounced("01") + findCall(kMethod, 1) + foundLines(kMethod, 0, 0) +
           notFound("01") + sessionCall(kMethod, "C_FindObjectsFinal", 1) + publicAnnounced({{CKA_ID, "01"}});
}

const std::vector<std::string> kPairSearch = {"C_FindObjectsInit(0x1, [CKA_CLASS=2 CKA_ID=01])",
                                              "C_FindObjects(0x1, max=1)", "C_FindObjectsFinal(0x1)"};

Fake::Attributes publicObject(const std::string& id) {
    return Fake::Attributes()
        .number(CKA_CLASS, CKO_PUBLIC_KEY)
        .number(CKA_KEY_TYPE, CKK_RSA)
        .hex(CKA_MODULUS, "C1")
        .hex(CKA_PUBLIC_EXPONENT, "03")
        .hex(CKA_ID, id);
}

} // namespace

class KeyImport : public ObjectTest {
protected:
    /// The calls of the script that make objects, in order; forgets the rest.
    std::vector<std::string> created() {
        std::vector<std::string> lines = calls();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("C_CreateObject"); });
        return lines;
    }
    void expectCreated(const Params& params, const std::vector<std::string>& expected, Where where = Where::current()) {
        expectError(execute(kScript, params), "0", where);
        const std::vector<std::string> actual = created();
        if (actual != expected) {
            ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
                << ::testing::PrintToString(actual) << "\nexpected " << ::testing::PrintToString(expected);
        }
        fake.removeAllObjects();
        forget();
    }
    /// Refused with 33004 and these complaints; no object is made or looked for, and the user is logged out.
    void expectRefused(const Params& params, const Trace& complaints, Where where = Where::current()) {
        fake.restartCallCount();
        expectError(execute(kScript, params), "80ec", where);
        expectTraceAt(1, complaints, where);
        EXPECT_EQ(fake.callCount(Function::C_CreateObject), 0U);
        EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
        EXPECT_EQ(fake.callCount(Function::C_Logout), 1U);
        forget();
    }
};

TEST_F(KeyImport, aPrivateKeyAlone) {
    const Params params = privateKey();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({privateCall()}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced() +
                            out(kMethod, "hObject", 0x101) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
    EXPECT_EQ(fake.objects().size(), 1U);
}

TEST_F(KeyImport, aKeyPair) {
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn(
        {privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2], publicCall(" CKA_ID=01")}));
    expectTrace(storyOf(kScript, params,
                        pairHead() + out(kMethod, "hObject", 0x102) + leave(kMethod) + logoutTrace(kScript, 1), "0"));
    EXPECT_EQ(fake.objects().size(), 2U);
}

class KeyImportSizes : public KeyImport, public ::testing::WithParamInterface<const OpenSslKey*> {};

TEST_P(KeyImportSizes, everyNumberStandsMostSignificantByteFirst) {
    const OpenSslKey& key = *GetParam();
    expectCreated(privateKey(key), {privateCall("", key)});
    expectCreated(keyPair(key).hex("ID", "07"), {privateCall(" CKA_ID=07", key), publicCall(" CKA_ID=07", key)});
}

TEST_P(KeyImportSizes, theKeySizeIsTheModulusInBits) {
    const OpenSslKey& key = *GetParam();
    const std::string bits = std::to_string(std::string(key.modulus).size() * 4);
    fake.passNext(Function::C_CreateObject);
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
    expectCreated(keyPair(key),
                  {privateCall("", key), publicCall("", key), publicCall(" CKA_MODULUS_BITS=" + bits, key)});
}

INSTANTIATE_TEST_SUITE_P(Keys, KeyImportSizes, ::testing::ValuesIn(kOpenSslKeys),
                         [](const auto& key) { return std::string(key.param->name); });

TEST_F(KeyImport, theSizeOfALargerKeyIsTraced) {
    expectError(execute(kScript, privateKey(kRsa2048Exponent65537)), "0");
    std::vector<TraceLine> lines = trace().lines;
    std::erase_if(lines, [](const TraceLine& line) { return line.text.find("ize") == std::string::npos; });
    EXPECT_EQ(lines, (std::vector<TraceLine>{{4, "PKCS11Client::writeKey: key size = 2048 "},
                                             {4, "PKCS11Client::writeKey: --> ulKeySizeValue=2048"}}));
}

TEST_F(KeyImport, numbersOfThePrivateKeyAreNeverDumped) {
    expectError(execute(kScript, keyPair().hex("ID", "01")), "0");
    for (const TraceLine& line : trace().lines) {
        for (const char* secret :
             {kRsa1024Exponent3.prime1, kRsa1024Exponent3.prime2, kRsa1024Exponent3.exponent1,
              kRsa1024Exponent3.exponent2, kRsa1024Exponent3.coefficient, kRsa1024Exponent3.privateExponent}) {
            EXPECT_NE(line.dump, secret) << line.text;
        }
        EXPECT_EQ(line.text.find("MIICdg"), std::string::npos) << line.text;
    }
}

// The keywords

struct KeyRow {
    const char* id;
    const char* value;
    std::string privateTail;
    std::string publicTail;
};

class KeyImportKeyword : public KeyImport, public ::testing::WithParamInterface<KeyRow> {};

TEST_P(KeyImportKeyword, goesToItsTemplates) {
    const KeyRow& row = GetParam();
    expectCreated(keyPair().hex("ID", "01").plain(row.id, row.value),
                  {privateCall(" CKA_ID=01" + row.privateTail), publicCall(" CKA_ID=01" + row.publicTail)});
}

static KeyRow both(const char* id, const char* value, const std::string& tail) {
    return {id, value, tail, tail};
}
static KeyRow privateOnly(const char* id, const char* value, const std::string& tail) {
    return {id, value, tail, ""};
}
static KeyRow publicOnly(const char* id, const char* value, const std::string& tail) {
    return {id, value, "", tail};
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KeyImportKeyword,
    ::testing::Values(
        both("MODIFIABLE", "1", " CKA_MODIFIABLE=true"), both("MODIFIABLE", "0", " CKA_MODIFIABLE=false"),
        both("DERIVE", "1", " CKA_DERIVE=true"), both("DERIVE", "true", " CKA_DERIVE=false"),
        privateOnly("SENSITIVE", "1", " CKA_SENSITIVE=true"), privateOnly("SENSITIVE", "0", " CKA_SENSITIVE=false"),
        both("LABEL", "4142", " CKA_LABEL=4142"), both("LABEL", "41004200", " CKA_LABEL=41"),
        both("LABEL", "00", " CKA_LABEL=empty"), both("LABEL", "", ""), both("LABEL", "no", ""),
        both("SUBJECT", "30000100", " CKA_SUBJECT=30000100"), both("SUBJECT", "", ""), both("SUBJECT", "3", ""),
        publicOnly("ENCRYPT", "1", " CKA_ENCRYPT=true"), publicOnly("ENCRYPT", "TRUE", " CKA_ENCRYPT=false"),
        privateOnly("DECRYPT", "1", " CKA_DECRYPT=true"), privateOnly("DECRYPT", "", " CKA_DECRYPT=false"),
        privateOnly("SIGN", "1", " CKA_SIGN=true"), privateOnly("SIGN", "0", " CKA_SIGN=false"),
        privateOnly("SIGN_RECOVER", "1", " CKA_SIGN_RECOVER=true"),
        privateOnly("SIGN_RECOVER", "2", " CKA_SIGN_RECOVER=false"), publicOnly("WRAP", "1", " CKA_WRAP=true"),
        publicOnly("WRAP", "0", " CKA_WRAP=false"), privateOnly("UNWRAP", "1", " CKA_UNWRAP=true"),
        privateOnly("UNWRAP", "0", " CKA_UNWRAP=false"), privateOnly("EXTRACTABLE", "1", " CKA_EXTRACTABLE=true"),
        privateOnly("EXTRACTABLE", "0", " CKA_EXTRACTABLE=false"), publicOnly("VERIFY", "1", " CKA_VERIFY=true"),
        publicOnly("VERIFY", "0", " CKA_VERIFY=false"), publicOnly("VERIFY_RECOVER", "1", " CKA_VERIFY_RECOVER=true"),
        publicOnly("VERIFY_RECOVER", "0", " CKA_VERIFY_RECOVER=false"), both("sign", "1", ""), both("PRIVATE", "1", ""),
        both("ISSUER", "3000", "")));

TEST_F(KeyImport, tokenAndPrivateChangeTheFixedEntries) {
    const auto privateHead = [](const char* token, const char* isPrivate) {
        return std::string("C_CreateObject(0x1, [CKA_CLASS=3 CKA_TOKEN=") + token + " CKA_PRIVATE=" + isPrivate +
               " CKA_KEY_TYPE=0" + numbers(kRsa1024Exponent3) + "])";
    };
    const auto publicHead = [](const char* token, const char* isPrivate) {
        return std::string("C_CreateObject(0x1, [CKA_CLASS=2 CKA_TOKEN=") + token + " CKA_PRIVATE=" + isPrivate +
               " CKA_KEY_TYPE=0 CKA_MODULUS=" + kRsa1024Exponent3.modulus + " CKA_PUBLIC_EXPONENT=03])";
    };
    expectCreated(keyPair().plain("TOKEN", "1"), {privateHead("true", "true"), publicHead("true", "false")});
    expectCreated(keyPair().plain("TOKEN", "0"), {privateHead("false", "true"), publicHead("false", "false")});
    expectCreated(keyPair().plain("TOKEN", "true"), {privateHead("false", "true"), publicHead("false", "false")});
    expectCreated(keyPair().plain("PRIVATE_PRK", "0"), {privateHead("true", "false"), publicHead("true", "false")});
    expectCreated(keyPair().plain("PRIVATE_PUK", "1"), {privateHead("true", "true"), publicHead("true", "true")});
    expectCreated(keyPair().plain("PRIVATE_PUK", "yes").plain("PRIVATE_PRK", "1"),
                  {privateHead("true", "true"), publicHead("true", "false")});
}

TEST_F(KeyImport, withTokenZeroBothAreSessionObjects) {
    authenticate(); // a logout would end the private one
    expectError(execute(kScript, keyPair().plain("TOKEN", "0")), "0");
    ASSERT_EQ(fake.objects().size(), 2U);
    EXPECT_EQ(fake.objects()[0].attributes.booleanOf(CKA_TOKEN), false);
    EXPECT_EQ(fake.objects()[1].attributes.booleanOf(CKA_TOKEN), false);
}

TEST_F(KeyImport, optionalEntriesStandInTheOrderOfTheRequest) {
    expectCreated(keyPair()
                      .plain("VERIFY_RECOVER", "1")
                      .plain("EXTRACTABLE", "1")
                      .hex("SUBJECT", "3000")
                      .plain("SIGN", "1")
                      .hex("ID", "01")
                      .hex("LABEL", "41")
                      .plain("ENCRYPT", "1"),
                  {privateCall(" CKA_EXTRACTABLE=true CKA_SUBJECT=3000 CKA_SIGN=true CKA_ID=01 CKA_LABEL=41"),
                   publicCall(" CKA_VERIFY_RECOVER=true CKA_SUBJECT=3000 CKA_ID=01 CKA_LABEL=41 CKA_ENCRYPT=true")});
}

TEST_F(KeyImport, everyKeywordAtOnceFillsBothTemplates) {
    fake.passNext(Function::C_CreateObject);
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
    Params params = keyPair().plain("TOKEN", "1").plain("PRIVATE_PRK", "1").plain("PRIVATE_PUK", "0");
    params.plain("MODIFIABLE", "1").plain("DERIVE", "0").plain("SENSITIVE", "1");
    params.hex("LABEL", "41").hex("SUBJECT", "42").hex("ID", "43").plain("ENCRYPT", "1").plain("DECRYPT", "1");
    params.plain("SIGN", "1").plain("SIGN_RECOVER", "0").plain("WRAP", "0").plain("UNWRAP", "0");
    params.plain("EXTRACTABLE", "0").plain("VERIFY", "1").plain("VERIFY_RECOVER", "0");
    const std::string publicTail = " CKA_MODIFIABLE=true CKA_DERIVE=false CKA_LABEL=41 CKA_SUBJECT=42 CKA_ID=43 "
                                   "CKA_ENCRYPT=true CKA_WRAP=false CKA_VERIFY=true CKA_VERIFY_RECOVER=false";

    expectCreated(params, {privateCall(" CKA_MODIFIABLE=true CKA_DERIVE=false CKA_SENSITIVE=true CKA_LABEL=41 "
                                       "CKA_SUBJECT=42 CKA_ID=43 CKA_DECRYPT=true CKA_SIGN=true "
                                       "CKA_SIGN_RECOVER=false CKA_UNWRAP=false CKA_EXTRACTABLE=false"),
                           publicCall(publicTail), publicCall(publicTail + " CKA_MODULUS_BITS=1024")});
}

// Keywords that come again

TEST_F(KeyImport, aRepeatedKeywordAppendsAnotherEntryToItsTemplates) {
    fake.answerNext(Function::C_CreateObject, CKR_OK, 2);
    expectCreated(keyPair()
                      .hex("LABEL", "41")
                      .plain("SIGN", "1")
                      .plain("ENCRYPT", "1")
                      .hex("LABEL", "4243")
                      .plain("ENCRYPT", "0")
                      .plain("DERIVE", "1")
                      .plain("SIGN", "0")
                      .plain("DERIVE", "1"),
                  {privateCall(" CKA_LABEL=41 CKA_SIGN=true CKA_LABEL=4243 CKA_DERIVE=true CKA_SIGN=false "
                               "CKA_DERIVE=true"),
                   publicCall(" CKA_LABEL=41 CKA_ENCRYPT=true CKA_LABEL=4243 CKA_ENCRYPT=false CKA_DERIVE=true "
                              "CKA_DERIVE=true")});
}

TEST_F(KeyImport, aTokenThatTakesNoAttributeTwiceHasItsSay) {
    const Params params = keyPair().hex("ID", "01").hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("8106")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01 CKA_ID=01")}));
    expectTraceAt(1, failed(kMethod, "C_CreateObject", CKR_TEMPLATE_INCONSISTENT));
    EXPECT_TRUE(fake.objects().empty());
}

TEST_F(KeyImport, ofRepeatedIdsAllAreWrittenAndTheLastIsLookedFor) {
    fake.answerNext(Function::C_CreateObject, CKR_OK, 2);
    const Params params = keyPair().hex("ID", "01").hex("LABEL", "41").hex("ID", "0203");

    expectOutputs(execute(kScript, params), {done()});

    const std::string tail = " CKA_ID=01 CKA_LABEL=41 CKA_ID=0203";
    expectCalls(loggedIn({privateCall(tail), "C_FindObjectsInit(0x1, [CKA_CLASS=2 CKA_ID=0203])", kPairSearch[1],
                          kPairSearch[2], publicCall(tail)}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) +
                            privateAnnounced({CKA_ID, CKA_LABEL, CKA_ID}) + out(kMethod, "hObject", 0) +
                            searchAnnounced("0203") + findCall(kMethod, 1) + foundLines(kMethod, 0, 0) +
                            notFound("0203") + sessionCall(kMethod, "C_FindObjectsFinal", 1) +
                            publicAnnounced({{CKA_ID, "01"}, {CKA_LABEL, "41"}, {CKA_ID, "0203"}}) +
                            out(kMethod, "hObject", 0) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
}

TEST_F(KeyImport, aLastIdThatDoesNotDecodeLeavesTheOneBefore) {
    expectError(execute(kScript, keyPair().hex("ID", "01").hex("ID", "Z")), "0");
    expectCalls(loggedIn(
        {privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2], publicCall(" CKA_ID=01")}));
}

TEST_F(KeyImport, twentyThreeEntriesOfThePrivateKeyFit) {
    fake.answerNext(Function::C_CreateObject, CKR_OK, 3);
    const std::string tail = repeatedEntry(11, "CKA_SIGN=true");
    expectCreated(privateKey().append(repeated(11, "SIGN", "1")), {privateCall(tail)});
    expectCreated(keyPair().append(repeated(11, "SIGN", "1")), {privateCall(tail), publicCall()});
}

TEST_F(KeyImport, aTwentyFourthEntryOfThePrivateKeyIsABadParameterWhateverItsKeyword) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"MODIFIABLE", "1"},  {"DERIVE", "0"}, {"SENSITIVE", "1"},  {"LABEL", "4142"},
        {"SUBJECT", "0a"},    {"ID", "01"},    {"DECRYPT", "yes"},  {"SIGN", "1"},
        {"SIGN_RECOVER", ""}, {"UNWRAP", "0"}, {"EXTRACTABLE", "1"}};
    for (const auto& [id, value] : rows) {
        const Params more = repeated(11, "SIGN", "1").plain(id, value).plain("UNWRAP", "never reached");
        expectRefused(privateKey().append(more), complaint("Bad parameter " + id + ": " + value));
        expectRefused(keyPair().append(more), complaint("Bad parameter " + id + ": " + value));
    }
}

TEST_F(KeyImport, sixteenEntriesOfThePublicKeyFitWithItsModulusBits) {
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    const std::string tail = repeatedEntry(9, "CKA_VERIFY=true");
    expectCreated(keyPair().append(repeated(9, "VERIFY", "1")),
                  {privateCall(), publicCall(tail), publicCall(tail + " CKA_MODULUS_BITS=1024")});
}

TEST_F(KeyImport, thePlaceOfTheModulusBitsIsKeptFreeWhateverTheKeyword) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"MODIFIABLE", "1"}, {"DERIVE", "0"}, {"LABEL", "4142"}, {"SUBJECT", "0a"},      {"ID", "01"},
        {"ENCRYPT", "1"},    {"WRAP", "0"},   {"VERIFY", "x"},   {"VERIFY_RECOVER", "1"}};
    for (const auto& [id, value] : rows) {
        const Params more = repeated(9, "VERIFY", "1").plain(id, value).plain("WRAP", "never reached");
        expectRefused(keyPair().append(more), complaint("Bad parameter " + id + ": " + value));
    }
}

TEST_F(KeyImport, anEntryThatFindsNoRoomIsToldOnceThoughItGoesToBoth) {
    expectRefused(keyPair().append(repeated(12, "DERIVE", "1")), complaint("Bad parameter DERIVE: 1"));
    expectRefused(keyPair().append(repeated(9, "VERIFY", "1")).append(repeated(11, "SIGN", "1")).hex("ID", "02"),
                  complaint("Bad parameter ID: 02"));
}

TEST_F(KeyImport, anEntryThatFindsNoRoomIsToldInTheWholeTraceAndTheUserIsLoggedOut) {
    const Params params = keyPair().append(repeated(10, "LABEL", "41"));

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + complaint("Bad parameter LABEL: 41") +
                            leave(kMethod) + logoutTrace(kScript, 1),
                        "80ec"));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(KeyImport, withoutAPairThePublicKeysRoomDoesNotCount) {
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    expectCreated(privateKey().append(repeated(100, "ENCRYPT", "1")).append(repeated(11, "ID", "01")),
                  {privateCall(repeatedEntry(11, "CKA_ID=01"))});
}

TEST_F(KeyImport, fullTemplatesTakeWhatNeedsNoNewEntry) {
    fake.answerNext(Function::C_CreateObject, CKR_OK, 2);
    Params params = keyPair().append(repeated(9, "VERIFY", "1")).append(repeated(11, "SIGN", "1"));
    params.hex("LABEL", "").hex("LABEL", "Z").hex("SUBJECT", "4").hex("ID", "");
    params.append(repeated(50, "TOKEN", "1")).append(repeated(50, "PRIVATE_PRK", "1"));
    params.append(repeated(50, "PRIVATE_PUK", "0")).plain("TOKEN", "0").plain("PRIVATE_PRK", "0");
    params.plain("PRIVATE_PUK", "1");
    expectCreated(params, {"C_CreateObject(0x1, [CKA_CLASS=3 CKA_TOKEN=false CKA_PRIVATE=false CKA_KEY_TYPE=0" +
                               numbers(kRsa1024Exponent3) + repeatedEntry(11, "CKA_SIGN=true") + "])",
                           std::string("C_CreateObject(0x1, [CKA_CLASS=2 CKA_TOKEN=false CKA_PRIVATE=true "
                                       "CKA_KEY_TYPE=0 CKA_MODULUS=") +
                               kRsa1024Exponent3.modulus + " CKA_PUBLIC_EXPONENT=03" +
                               repeatedEntry(9, "CKA_VERIFY=true") + "])"});
}

TEST_F(KeyImport, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params params = keyPair();
    for (int i = 0; i < 60; ++i) {
        const std::string value = textf("%02X", static_cast<unsigned>(i + 1));
        params.hex("LABEL", value).hex("SUBJECT", value).hex("ID", value);
        params.plain("MODIFIABLE", "1").plain("DERIVE", "0").plain("SENSITIVE", "1").plain("ENCRYPT", "1");
        params.plain("DECRYPT", "1").plain("SIGN", "1").plain("SIGN_RECOVER", "0").plain("WRAP", "0");
        params.plain("UNWRAP", "0").plain("EXTRACTABLE", "0").plain("VERIFY", "1").plain("VERIFY_RECOVER", "0");
    }
    expectRefused(params, complaint("Bad parameter LABEL: 02"));
}

// What is required

TEST_F(KeyImport, theRequiredParametersMayStandInAnyOrder) {
    const Params params = Params()
                              .bytes("KEYVALUE", kRsa1024Exponent3.pkcs8)
                              .plain("KEYENCODING", "PKCS8.clear")
                              .hex("ID", "01")
                              .plain("ALGOID", kRsa)
                              .plain("OBJ_TYPE", "PRIVATE_KEY");
    expectCreated(params, {privateCall(" CKA_ID=01")});
}

TEST_F(KeyImport, encryptedSelectsNothingDifferent) {
    expectCreated(Params()
                      .plain("OBJ_TYPE", "PRIVATE_KEY")
                      .plain("ALGOID", kRsa)
                      .plain("KEYENCODING", "PKCS8.encrypted")
                      .bytes("KEYVALUE", kRsa1024Exponent3.pkcs8),
                  {privateCall()});
}

TEST_F(KeyImport, theKeyIsBase64WhateverTheEncoding) {
    // the key of `privateKey()`, taken from the vector that the harness makes
    const ParameterVector made = privateKey().vector();
    const std::string base64 = toUtf8(made->at(3)->getValue());
    expectCreated(Params()
                      .plain("OBJ_TYPE", "PRIVATE_KEY")
                      .plain("ALGOID", kRsa)
                      .plain("KEYENCODING", "PKCS8.clear")
                      .plain("KEYVALUE", base64),
                  {privateCall()});
}

TEST_F(KeyImport, anotherAlgorithmEndsItAtOnce) {
    for (const std::string algorithm : {"1.2.840.10045.2.1", "RSA", "", "1.2.840.113549.1.1.11"}) {
        expectRefused(Params().plain("OBJ_TYPE", "PRIVATE_KEY").plain("ALGOID", algorithm),
                      complaint("Bad parameter ALGOID: " + algorithm));
    }
}

TEST_F(KeyImport, aWrongAlgorithmBehindAParsedKeyStillFails) {
    const Params params = Params()
                              .plain("OBJ_TYPE", "KEY_PAIR")
                              .bytes("KEYVALUE", kRsa1024Exponent3.pkcs8)
                              .plain("ALGOID", "RSA")
                              .plain("KEYENCODING", "nonsense");

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + complaint("Bad parameter ALGOID: RSA") +
                            leave(kMethod) + logoutTrace(kScript, 1),
                        "80ec"));
}

TEST_F(KeyImport, aWrongAlgorithmEndsItBeforeTheKeyIsRead) {
    const Params params =
        Params().plain("OBJ_TYPE", "KEY_PAIR").plain("ALGOID", "RSA").bytes("KEYVALUE", kRsa1024Exponent3.pkcs8);
    expectError(execute(kScript, params), "80ec");
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + complaint("Bad parameter ALGOID: RSA") + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80ec"));
}

TEST_F(KeyImport, anotherEncodingEndsItAtOnce) {
    for (const std::string encoding : {"pkcs8.clear", "PKCS8", "", "PKCS1.clear"}) {
        expectRefused(Params()
                          .plain("OBJ_TYPE", "PRIVATE_KEY")
                          .plain("ALGOID", kRsa)
                          .plain("KEYENCODING", encoding)
                          .plain("ALGOID", "never reached"),
                      complaint("Bad parameter KEYENCODING: " + encoding));
    }
}

TEST_F(KeyImport, whatIsMissingIsToldInAFixedOrder) {
    const Params type = Params().plain("OBJ_TYPE", "KEY_PAIR");
    const auto with = [&type](const Params& more) { return Params(type).append(more); };

    expectRefused(type, complaint("ALGOID parameter not found"));
    expectRefused(with(Params().plain("KEYENCODING", "PKCS8.clear").bytes("KEYVALUE", kRsa1024Exponent3.pkcs8)),
                  complaint("ALGOID parameter not found"));
    expectRefused(with(Params().plain("ALGOID", kRsa)), complaint("KEYENCODING parameter not found"));
    expectRefused(with(Params().plain("ALGOID", kRsa).bytes("KEYVALUE", kRsa1024Exponent3.pkcs8)),
                  complaint("KEYENCODING parameter not found"));
    expectRefused(with(Params().plain("ALGOID", kRsa).plain("KEYENCODING", "PKCS8.clear")),
                  complaint("KEYVALUE parameter not found"));
}

class KeyImportBadValue : public KeyImport {
protected:
    static Params withValue(const Params& value) {
        return Params()
            .plain("OBJ_TYPE", "KEY_PAIR")
            .plain("ALGOID", kRsa)
            .plain("KEYENCODING", "PKCS8.clear")
            .append(value);
    }
};

TEST_F(KeyImportBadValue, thatIsNotBase64) {
    for (const char* value : {"", "%", "MIIC*dg=", "AQI"}) {
        expectRefused(withValue(Params().base64("KEYVALUE", value)),
                      kNotBase64 + complaint("KEYVALUE parameter not found"));
    }
}

TEST_F(KeyImportBadValue, thatIsNoPkcs8Key) {
    const std::string whole = kRsa1024Exponent3.pkcs8;
    const std::string cut = whole.substr(0, whole.size() - 2);
    // the RSAPrivateKey inside, without the PKCS#8 around it: behind 26 bytes of head
    const std::string pkcs1 = whole.substr(52);
    for (const std::string& hexText : {std::string("00"), std::string("3000"), cut, whole + "00", pkcs1}) {
        expectRefused(withValue(Params().bytes("KEYVALUE", hexText)),
                      kNoKey + complaint("KEYVALUE parameter not found"));
    }
}

TEST_F(KeyImportBadValue, wholeTrace) {
    const Params params = withValue(Params().base64("KEYVALUE", "MAA=")); // an empty sequence

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + kNoKey + keySize(0) +
                            complaint("KEYVALUE parameter not found") + leave(kMethod) + logoutTrace(kScript, 1),
                        "80ec"));
}

TEST_F(KeyImportBadValue, aSecondKeyFillsTheSameEntries) {
    expectCreated(keyPair(kRsa2048Exponent65537).bytes("KEYVALUE", kRsa1024Exponent3.pkcs8),
                  {privateCall(), publicCall()});
    expectCreated(keyPair().bytes("KEYVALUE", kRsa2048Exponent65537.pkcs8),
                  {privateCall("", kRsa2048Exponent65537), publicCall("", kRsa2048Exponent65537)});
}

TEST_F(KeyImportBadValue, aSecondKeyThatIsNoneCountsAsMissing) {
    expectRefused(keyPair().base64("KEYVALUE", "MAA="), kNoKey + complaint("KEYVALUE parameter not found"));
    expectRefused(keyPair().base64("KEYVALUE", ""), kNotBase64 + complaint("KEYVALUE parameter not found"));
}

// What the token refuses

TEST_F(KeyImport, aRefusedPrivateKeyEndsItBeforeAnySearch) {
    fake.answerNext(Function::C_CreateObject, CKR_ATTRIBUTE_VALUE_INVALID);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("80f9")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01")}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
                            failed(kMethod, "C_CreateObject", CKR_ATTRIBUTE_VALUE_INVALID) + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80f9"));
}

TEST_F(KeyImport, aPublicKeyWithTheSameIdIsKeptAndNotCompared) {
    const CK_OBJECT_HANDLE old = fake.addObject(publicObject("01"));
    ASSERT_EQ(old, 0x101U);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2]}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
                            out(kMethod, "hObject", 0x102) + searchAnnounced("01") + findCall(kMethod, 1) +
                            foundLines(kMethod, 0x101, 1) + sessionCall(kMethod, "C_FindObjectsFinal", 1) +
                            leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
    EXPECT_EQ(fake.objects().size(), 2U);
    EXPECT_EQ(fake.object(old)->hexOf(CKA_MODULUS), "C1");
}

TEST_F(KeyImport, aPublicKeyWithAnotherIdDoesNotCount) {
    fake.addObject(publicObject("0100"));
    expectError(execute(kScript, keyPair().hex("ID", "01")), "0");
    EXPECT_EQ(fake.objects().size(), 3U);
}

TEST_F(KeyImport, aPairWithoutAnIdIsLookedForByTheBytesOfTheClass) {
    const std::string classBytes = numberDump(CKO_PUBLIC_KEY);
    const Params params = keyPair();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({privateCall(), "C_FindObjectsInit(0x1, [CKA_CLASS=2 CKA_ID=" + classBytes + "])",
                          kPairSearch[1], kPairSearch[2], publicCall()}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced() +
                            out(kMethod, "hObject", 0x101) + searchAnnounced(classBytes) + findCall(kMethod, 1) +
                            foundLines(kMethod, 0, 0) + notFound(classBytes) +
                            sessionCall(kMethod, "C_FindObjectsFinal", 1) + publicAnnounced({}) +
                            out(kMethod, "hObject", 0x102) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
}

TEST_F(KeyImport, aPairWithAnUndecodableIdIsAPairWithoutOne) {
    expectError(execute(kScript, keyPair().hex("ID", "1")), "0");
    expectCalls(loggedIn({privateCall(), "C_FindObjectsInit(0x1, [CKA_CLASS=2 CKA_ID=" + numberDump(2) + "])",
                          kPairSearch[1], kPairSearch[2], publicCall()}));
}

TEST_F(KeyImport, aPairWithoutAnIdFindsAKeyWhoseIdIsThoseBytes) {
    fake.addObject(publicObject(numberDump(CKO_PUBLIC_KEY)));
    expectCreated(keyPair(), {privateCall()});
}

TEST_F(KeyImport, aSearchThatDoesNotBeginLeavesThePrivateKey) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_FUNCTION_FAILED);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("80f8")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0]}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
                            out(kMethod, "hObject", 0x101) + searchAnnounced("01") +
                            failed(kMethod, "C_FindObjectsInit", CKR_FUNCTION_FAILED) + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80f8"));
    EXPECT_EQ(fake.objects().size(), 1U);
}

TEST_F(KeyImport, aSearchThatFailsStaysOpenAndLeavesThePrivateKey) {
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_REMOVED);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("80eb")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1]}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
                            out(kMethod, "hObject", 0x101) + searchAnnounced("01") + findCall(kMethod, 1) +
                            failed(kMethod, "C_FindObjects", CKR_DEVICE_REMOVED) + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80eb"));
    EXPECT_EQ(fake.objects().size(), 1U);
    ASSERT_EQ(fake.sessionCount(), 1U);
    EXPECT_TRUE(fake.sessions()[0].searchActive);
}

TEST_F(KeyImport, aSearchThatDoesNotEndLeavesThePrivateKeyAlone) {
    fake.answerNext(Function::C_FindObjectsFinal, CKR_DEVICE_ERROR);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("80fa")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2]}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + keySize(1024) + privateAnnounced({CKA_ID}) +
                            out(kMethod, "hObject", 0x101) + searchAnnounced("01") + findCall(kMethod, 1) +
                            foundLines(kMethod, 0, 0) + notFound("01") + sessionCall(kMethod, "C_FindObjectsFinal", 1) +
                            failed(kMethod, "C_FindObjectsFinal", CKR_DEVICE_ERROR) + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80fa"));
    EXPECT_EQ(fake.objects().size(), 1U);
}

TEST_F(KeyImport, aSearchThatDoesNotEndOutweighsAFoundKey) {
    fake.addObject(publicObject("01"));
    fake.answerNext(Function::C_FindObjectsFinal, CKR_DEVICE_ERROR);
    expectError(execute(kScript, keyPair().hex("ID", "01")), "80fa");
}

TEST_F(KeyImport, missingFunctionsOfTheSearchAnswerAsNotSupported) {
    struct Missing {
        Function function;
        const char* name;
        std::size_t searchCalls; ///< calls of the search before it
    };
    for (const Missing& missing : {Missing{Function::C_FindObjectsInit, "C_FindObjectsInit", 0},
                                   Missing{Function::C_FindObjects, "C_FindObjects", 1},
                                   Missing{Function::C_FindObjectsFinal, "C_FindObjectsFinal", 2}}) {
        SCOPED_TRACE(missing.name);
        fake.reset();
        plugin = Executor();
        ASSERT_NO_FATAL_FAILURE(startWithReader(Params().hex("PIN", "31323334")));
        fake.setNullEntry(missing.function);
        std::vector<std::string> middle = {privateCall(" CKA_ID=01")};
        middle.insert(middle.end(), kPairSearch.begin(),
                      kPairSearch.begin() + static_cast<std::ptrdiff_t>(missing.searchCalls));

        expectOutputs(execute(kScript, keyPair().hex("ID", "01")), {errorIs("80f4")});

        expectCalls(loggedIn(middle));
        expectTraceAt(1, failed(kMethod, missing.name, CKR_FUNCTION_NOT_SUPPORTED));
        EXPECT_EQ(fake.objects().size(), 1U);
    }
}

TEST_F(KeyImport, aHandleOfZeroIsNoKey) {
    answerFinds(0, 1);
    expectError(execute(kScript, keyPair().hex("ID", "01")), "0");
    EXPECT_EQ(fake.objects().size(), 2U);
    expectTraceAt(1, {});
}

TEST_F(KeyImport, aCountAboveOneIsTakenAsOne) {
    answerFinds(0x55, 7);
    expectError(execute(kScript, keyPair().hex("ID", "01")), "0");
    EXPECT_EQ(fake.objects().size(), 1U);
    const std::vector<TraceLine> lines = trace().lines;
    EXPECT_NE(std::find(lines.begin(), lines.end(), TraceLine{4, "PKCS11Client::writeKey: <-- ObjectCount=1"}),
              lines.end());
}

TEST_F(KeyImport, aPublicKeyThatIsRefusedIsTriedAgainWithItsModulusBits) {
    fake.passNext(Function::C_CreateObject);
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2],
                          publicCall(" CKA_ID=01"), publicCall(" CKA_ID=01 CKA_MODULUS_BITS=1024")}));
    expectTrace(storyOf(kScript, params,
                        pairHead() + retried(CKR_TEMPLATE_INCOMPLETE) + out(kMethod, "hObject", 0x102) +
                            leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
    EXPECT_EQ(fake.objects().size(), 2U);
}

TEST_F(KeyImport, anyRefusalOfThePublicKeyIsTriedAgainButOnlyOnce) {
    fake.passNext(Function::C_CreateObject);
    fake.answerNext(Function::C_CreateObject, CKR_DEVICE_ERROR);
    fake.answerNext(Function::C_CreateObject, CKR_DEVICE_MEMORY);
    const Params params = keyPair().hex("ID", "01");

    expectOutputs(execute(kScript, params), {errorIs("80f6")});

    expectCalls(loggedIn({privateCall(" CKA_ID=01"), kPairSearch[0], kPairSearch[1], kPairSearch[2],
                          publicCall(" CKA_ID=01"), publicCall(" CKA_ID=01 CKA_MODULUS_BITS=1024")}));
    expectTrace(storyOf(kScript, params,
                        pairHead() + retried(CKR_DEVICE_ERROR) + failed(kMethod, "C_CreateObject", CKR_DEVICE_MEMORY) +
                            leave(kMethod) + logoutTrace(kScript, 1),
                        "80f6"));
    EXPECT_EQ(fake.objects().size(), 1U);
}

TEST_F(KeyImport, aPrivateKeyAloneLooksForNothingEvenWithAnId) {
    expectError(execute(kScript, privateKey().hex("ID", "01").plain("ENCRYPT", "1").plain("PRIVATE_PUK", "1")), "0");
    expectCalls(loggedIn({privateCall(" CKA_ID=01")}));
}

} // namespace Conformance::KeyImportTests
