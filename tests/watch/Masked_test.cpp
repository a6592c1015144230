#include <cstring>
#include <functional>
#include <map>
#include <set>

#include "tests/watch/WatchTest.h"
#include "text/Base64.h"
#include "text/Hexadecimal.h"
#include "watch/calls/Binding.h"

// Every buffer of every function carries a marker, going in and coming back. The record may show it in the places that
// are listed here, and in no other.

using namespace tests;
using namespace watch;

namespace {

const std::set<std::string> kShown{
    "C_InitToken label",         "C_LoginUser username",
    "C_Sign signature",          "C_SignFinal signature",
    "C_Verify signature",        "C_VerifyFinal signature",
    "C_SignMessage signature",   "C_SignMessageNext signature",
    "C_VerifyMessage signature", "C_VerifyMessageNext signature",
};

std::string hex(std::string_view text) {
    std::string digits(2 * text.size(), '0');
    text::encodeHexadecimal(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), digits.data());
    return digits;
}

/// Also parts of it, and as digits.
bool showsMarker(const std::string& text) {
    for (std::size_t at = 0; at + 6 <= Loud::kMarker.size(); ++at) {
        const std::string_view part = Loud::kMarker.substr(at, 6);
        if (text.find(part) != std::string::npos || text.find(hex(part)) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/// Arguments for one call, each buffer filled with the marker.
class Arguments {
public:
    explicit Arguments(const Function& function) {
        for (const Argument& argument : function.arguments) {
            add(argument.kind);
        }
    }
    [[nodiscard]] const std::vector<Word>& words() const { return m_words; }

private:
    struct Buffer {
        alignas(16) char bytes[256];
    };

    Word buffer() {
        auto made = std::make_unique<Buffer>();
        for (std::size_t at = 0; at < sizeof made->bytes; at += Loud::kMarker.size()) {
            std::memcpy(made->bytes + at, Loud::kMarker.data(), Loud::kMarker.size());
        }
        m_buffers.push_back(std::move(made));
        return reinterpret_cast<std::uintptr_t>(m_buffers.back()->bytes);
    }
    Word number(CK_ULONG value) {
        const Word address = buffer();
        std::memcpy(pointer<char>(address), &value, sizeof value);
        return address;
    }
    Word attributes(Kind) {
        const Word address = buffer();
        const CK_ATTRIBUTE list[] = {{CKA_VALUE, pointer<void>(buffer()), 16},
                                     {CKA_PRIVATE_EXPONENT, pointer<void>(buffer()), 16},
                                     {CKA_PRIME_1, pointer<void>(buffer()), 16},
                                     {CKA_COEFFICIENT, pointer<void>(buffer()), 16},
                                     {CKA_VENDOR_DEFINED | 5U, pointer<void>(buffer()), 16}};
        std::memcpy(pointer<char>(address), list, sizeof list);
        return address;
    }
    Word mechanism() {
        const CK_MECHANISM made{CKM_AES_GCM, pointer<void>(buffer()), 64};
        const Word address = buffer();
        std::memcpy(pointer<char>(address), &made, sizeof made);
        return address;
    }
    void add(Kind kind) {
        if (kind == Kind::Mechanism) {
            m_words.push_back(mechanism());
        } else if (kind == Kind::Initialize) {
            m_words.push_back(0);
        } else if (kind == Kind::Template || kind == Kind::SecretTemplate || kind == Kind::Query) {
            m_words.insert(m_words.end(), {attributes(kind), 5});
        } else if (kind == Kind::PublicTemplate) {
            m_words.insert(m_words.end(), {0, 0});
        } else if (kind >= Kind::MaskedOut && kind <= Kind::MechanismsOut) {
            m_words.insert(m_words.end(), {buffer(), number(32)});
        } else if (kind == Kind::ObjectsOut) {
            m_words.insert(m_words.end(), {buffer(), 4, number(0)});
        } else if (parametersOf(kind) == 2) {
            m_words.insert(m_words.end(), {buffer(), 32});
        } else if (kind > Kind::MechanismType) {
            m_words.push_back(buffer());
        } else if (kind != Kind::None) {
            m_words.push_back(1);
        }
    }

    std::vector<std::unique_ptr<Buffer>> m_buffers;
    std::vector<Word> m_words;
};

template <class... Parameters, std::size_t... kIndexes>
CK_RV callWith(CK_RV (*function)(Parameters...), const std::vector<Word>& words, std::index_sequence<kIndexes...>) {
    const auto convert = []<class Parameter>(Word word, std::type_identity<Parameter>) {
        if constexpr (std::is_pointer_v<Parameter>) {
            return reinterpret_cast<Parameter>(static_cast<std::uintptr_t>(word));
        } else {
            return static_cast<Parameter>(word);
        }
    };
    return function(convert(words[kIndexes], std::type_identity<Parameters>())...);
}

template <class... Parameters>
CK_RV callWith(CK_RV (*function)(Parameters...), const std::vector<Word>& words) {
    return callWith(function, words, std::index_sequence_for<Parameters...>());
}

/// Structures that a module fills with text, not with secrets.
bool isStructure(const std::string& name) {
    return name == "info";
}

void expectMarkersOnlyWhereShown(const Json& line) {
    for (const char* const side : {"in", "out"}) {
        for (const auto& [name, value] : line[side].items()) {
            const std::string place = line["call"].get<std::string>() + " " + name;
            if (!isStructure(name)) {
                EXPECT_EQ(showsMarker(value.dump()) && !kShown.contains(place), false) << place << ": " << value;
            }
        }
    }
}

class Masked : public WatchTest {
protected:
    /// Calls every function, and gives the record's lines by function.
    std::map<std::string, Json> callAll() {
        CK_FUNCTION_LIST& list = load();
        CK_INTERFACE* interface = nullptr;
        reinterpret_cast<CK_C_GetInterface>(symbol("C_GetInterface"))(nullptr, nullptr, &interface, 0);
        auto& list3 = *static_cast<CK_FUNCTION_LIST_3_0*>(interface->pFunctionList);
#define CALL(name)                                                                                                     \
    if (list.name != nullptr) {                                                                                        \
        callWith(list.name, Arguments(functionOf(FunctionId::name)).words());                                          \
    }
#define CALL_3(name) callWith(list3.added.name, Arguments(functionOf(FunctionId::name)).words());
        WATCH_FUNCTIONS(CALL)
        WATCH_FUNCTIONS_3(CALL_3)
#undef CALL
#undef CALL_3
        std::map<std::string, Json> byName;
        for (const Json& line : lines()) {
            byName[line["call"]] = line;
        }
        return byName;
    }
};

TEST_F(Masked, InEveryPlaceOfEveryFunctionButThoseListed) {
    const std::map<std::string, Json> calls = callAll();
    // One function is absent in the module; three are exported.
    EXPECT_EQ(calls.size(), kFunctions.size() - 1 + 2);
    for (const auto& [name, line] : calls) {
        expectMarkersOnlyWhereShown(line);
    }
}

TEST_F(Masked, WhatIsShownIsThere) {
    std::map<std::string, Json> calls = callAll();
    for (const std::string& place : kShown) {
        const std::string function = place.substr(0, place.find(' '));
        const std::string name = place.substr(place.find(' ') + 1);
        const Json& line = calls[function];
        EXPECT_TRUE(showsMarker(line["in"].dump()) || showsMarker(line["out"].dump())) << place << line;
        EXPECT_TRUE(line["in"].contains(name) || line["out"].contains(name)) << place;
    }
}

TEST_F(Masked, APinWithoutItsLength) {
    std::map<std::string, Json> calls = callAll();
    const Json masked = "masked";
    EXPECT_EQ(calls["C_Login"]["in"], Json({{"session", 1}, {"userType", "CKU_USER"}, {"pin", masked}}));
    EXPECT_EQ(calls["C_SetPIN"]["in"], Json({{"session", 1}, {"oldPin", masked}, {"newPin", masked}}));
    EXPECT_EQ(calls["C_InitPIN"]["in"], Json({{"session", 1}, {"pin", masked}}));
    EXPECT_EQ(calls["C_InitToken"]["in"]["pin"], masked);
    EXPECT_EQ(calls["C_LoginUser"]["in"]["pin"], masked);
}

TEST_F(Masked, DataWithItsLength) {
    std::map<std::string, Json> calls = callAll();
    const Json in = {{"length", 32}, {"value", "masked"}};
    const Json out = {{"length", 16}, {"value", "masked"}};
    EXPECT_EQ(calls["C_Encrypt"]["in"]["data"], in);
    EXPECT_EQ(calls["C_Encrypt"]["out"]["encrypted"], out);
    EXPECT_EQ(calls["C_Decrypt"]["out"]["data"], out);
    EXPECT_EQ(calls["C_Digest"]["out"]["digest"], out);
    EXPECT_EQ(calls["C_Sign"]["in"]["data"], in);
    EXPECT_EQ(calls["C_GenerateRandom"]["out"]["random"], in);
    EXPECT_EQ(calls["C_SeedRandom"]["in"]["seed"], in);
    EXPECT_EQ(calls["C_WrapKey"]["out"]["wrapped"], out);
    EXPECT_EQ(calls["C_EncryptInit"]["in"]["mechanism"],
              Json({{"type", "CKM_AES_GCM"}, {"parameter", {{"length", 64}, {"value", "masked"}}}}));
}

/// A template with a class and a value.
struct Value {
    explicit Value(CK_OBJECT_CLASS ofClass) : objectClass(ofClass) {}
    CK_OBJECT_CLASS objectClass;
    char bytes[17] = "Secret#Marker!01";
    CK_ATTRIBUTE list[2] = {{CKA_CLASS, &objectClass, sizeof objectClass}, {CKA_VALUE, bytes, 16}};
};

TEST_F(Masked, TheValueOfAnObjectByItsClass) {
    CK_FUNCTION_LIST& list = load();
    const std::vector<std::pair<CK_OBJECT_CLASS, bool>> classes{{CKO_DATA, true},        {CKO_CERTIFICATE, false},
                                                                {CKO_PUBLIC_KEY, false}, {CKO_PRIVATE_KEY, true},
                                                                {CKO_SECRET_KEY, true},  {CKO_OTP_KEY, true}};
    for (const auto& [objectClass, isSecret] : classes) {
        Value value(objectClass);
        CK_OBJECT_HANDLE object = 0;
        list.C_CreateObject(1, value.list, 2, &object);
        EXPECT_EQ(showsMarker(line()["in"].dump()) || line()["in"]["template"][1]["value"] == hex(Loud::kMarker),
                  !isSecret)
            << objectClass;
        list.C_FindObjectsInit(1, value.list, 2);
        EXPECT_EQ(line()["in"]["template"][1]["value"] == "masked", isSecret) << objectClass;
    }
}

TEST_F(Masked, TheValueOfAnObjectWhoseClassIsNotKnown) {
    CK_FUNCTION_LIST& list = load();
    CK_OBJECT_CLASS objectClass = 0;
    char bytes[16] = {};
    CK_ATTRIBUTE both[] = {{CKA_CLASS, &objectClass, sizeof objectClass}, {CKA_VALUE, bytes, 16}};
    const auto shown = [&](CK_ULONG session) {
        list.C_GetAttributeValue(session, 7, &both[1], 1);
        return line()["out"]["template"][0]["value"] != "masked";
    };
    loud->objectClass = CKO_CERTIFICATE;
    EXPECT_FALSE(shown(1));
    list.C_GetAttributeValue(1, 7, both, 2);
    EXPECT_EQ(line()["out"]["template"][1]["value"], hex(Loud::kMarker)) << "the same call says its class";
    EXPECT_TRUE(shown(1));
    EXPECT_FALSE(shown(2)) << "known in another session only";
    list.C_DestroyObject(1, 7);
    EXPECT_FALSE(shown(1)) << "the handle may mean another object";
    list.C_GetAttributeValue(1, 7, both, 2);
    list.C_Logout(1);
    EXPECT_FALSE(shown(1));
    list.C_GetAttributeValue(1, 7, both, 2);
    list.C_CloseSession(1);
    EXPECT_FALSE(shown(1));
    list.C_GetAttributeValue(1, 7, both, 2);
    loud->objectClass = CKO_SECRET_KEY;
    list.C_GetAttributeValue(1, 7, both, 2);
    EXPECT_EQ(line()["out"]["template"][1]["value"], "masked");
}

TEST_F(Masked, AnObjectWhoseHandleAnotherSessionHasGivenAway) {
    CK_FUNCTION_LIST& list = load();
    char bytes[16] = {};
    CK_ATTRIBUTE attribute{CKA_VALUE, bytes, 16};
    Value certificate(CKO_CERTIFICATE);
    Value data(CKO_DATA);
    CK_OBJECT_HANDLE object = 0;
    const auto isShown = [&] {
        list.C_GetAttributeValue(1, object, &attribute, 1);
        return line()["out"]["template"][0]["value"] != "masked";
    };
    list.C_CreateObject(1, certificate.list, 2, &object);
    EXPECT_TRUE(isShown());
    list.C_CreateObject(2, data.list, 2, &object); // has the same handle
    EXPECT_FALSE(isShown());
    list.C_CreateObject(1, certificate.list, 2, &object);
    list.C_DestroyObject(2, object);
    EXPECT_FALSE(isShown());
    list.C_CreateObject(1, certificate.list, 2, &object);
    list.C_InitToken(3, nullptr, 0, nullptr);
    EXPECT_FALSE(isShown());
}

TEST_F(Masked, AnObjectWhoseHandleAnotherSessionFindsAsAKeyOrGivesUp) {
    CK_FUNCTION_LIST& list = load();
    char bytes[16] = {};
    CK_ATTRIBUTE attribute{CKA_VALUE, bytes, 16};
    Value certificate(CKO_CERTIFICATE);
    Value key(CKO_PRIVATE_KEY);
    const auto find = [&](CK_SESSION_HANDLE session, Value& value) {
        CK_OBJECT_HANDLE object = 0; // is the same in each search
        CK_ULONG count = 0;
        list.C_FindObjectsInit(session, value.list, 1);
        list.C_FindObjects(session, &object, 1, &count);
    };
    const auto isShown = [&] {
        list.C_GetAttributeValue(2, Loud::kHandle, &attribute, 1);
        return line()["out"]["template"][0]["value"] != "masked";
    };
    find(2, certificate);
    EXPECT_TRUE(isShown());
    find(3, key);
    EXPECT_FALSE(isShown()) << "the handle means a key in another session";
    find(2, certificate);
    list.C_CloseSession(1);
    EXPECT_FALSE(isShown()) << "the object may have been one of the closed session";
    find(2, certificate);
    CK_SESSION_HANDLE opened = 0;
    list.C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &opened);
    EXPECT_TRUE(isShown()) << "a new session takes nothing away";
    find(opened, certificate);
    list.C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &opened);
    EXPECT_FALSE(isShown()) << "sessions have ended unseen, because one has the handle of an earlier one";
}

TEST_F(Masked, AClassInABufferThatTheModuleDidNotFill) {
    CK_FUNCTION_LIST& list = load();
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_ATTRIBUTE attribute{CKA_CLASS, &objectClass, sizeof objectClass};
    loud->result = CKR_DEVICE_ERROR;
    loud->objectClass = CKO_CERTIFICATE;
    list.C_GetAttributeValue(1, 7, &attribute, 1);
    loud->result = CKR_OK;
    char bytes[16] = {};
    CK_ATTRIBUTE value{CKA_VALUE, bytes, 16};
    list.C_GetAttributeValue(1, 7, &value, 1);
    EXPECT_EQ(line()["out"]["template"][0]["value"], "masked");
}

TEST_F(Masked, BuffersBehindTheLastAnswerOfAFailedCall) {
    CK_FUNCTION_LIST& list = load();
    char label[] = "Secret#Marker!01";
    CK_ATTRIBUTE attribute{CKA_LABEL, label, 16};
    loud->result = CKR_ATTRIBUTE_TYPE_INVALID;
    loud->length = 16; // as before the call
    list.C_GetAttributeValue(1, 7, &attribute, 1);
    EXPECT_FALSE(showsMarker(line().dump())) << line();
}

TEST_F(Masked, TheFoundObjectsOfAMixedSearch) {
    CK_FUNCTION_LIST& list = load();
    CK_OBJECT_HANDLE found[2];
    CK_ULONG count = 0;
    char bytes[16] = {};
    CK_ATTRIBUTE value{CKA_VALUE, bytes, 16};
    const auto shownAfterSearch = [&](CK_ATTRIBUTE* searched, CK_ULONG searchedCount) {
        list.C_FindObjectsInit(1, searched, searchedCount);
        list.C_FindObjects(1, found, 2, &count);
        list.C_GetAttributeValue(1, found[0], &value, 1);
        return line()["out"]["template"][0]["value"] != "masked";
    };
    Value certificate(CKO_CERTIFICATE);
    Value key(CKO_PRIVATE_KEY);
    EXPECT_TRUE(shownAfterSearch(certificate.list, 1));
    EXPECT_FALSE(shownAfterSearch(key.list, 1));
    EXPECT_TRUE(shownAfterSearch(certificate.list, 1));
    EXPECT_FALSE(shownAfterSearch(nullptr, 0));
    CK_ATTRIBUTE twice[] = {certificate.list[0], key.list[0]};
    EXPECT_FALSE(shownAfterSearch(twice, 2));
}

TEST_F(Masked, ParametersOfMechanismsButTheirLeadingNumbers) {
    struct Case {
        CK_MECHANISM_TYPE type;
        std::vector<std::string> numbers;
    };
    const Case cases[] = {{CKM_RSA_PKCS_PSS, {"hashAlg", "mgf", "sLen"}},
                          {CKM_RSA_PKCS_OAEP, {"hashAlg", "mgf", "source"}},
                          {CKM_ECDH1_DERIVE, {"kdf"}},
                          {CKM_AES_CTR, {"counterBits"}},
                          {CKM_SHA224_HMAC_GENERAL, {"macLength"}},
                          {CKM_AES_GCM, {}},
                          {CKM_VENDOR_DEFINED, {}}};
    CK_FUNCTION_LIST& list = load();
    for (const Case& one : cases) {
        // The numbers, and the marker behind them.
        std::vector<CK_ULONG> bytes(one.numbers.size() + 8);
        for (std::size_t i = 0; i < one.numbers.size(); ++i) {
            bytes[i] = static_cast<CK_ULONG>(i + 1);
        }
        const std::size_t begin = one.numbers.size() * sizeof(CK_ULONG);
        std::memcpy(reinterpret_cast<char*>(bytes.data()) + begin, Loud::kMarker.data(), Loud::kMarker.size());
        const auto length = static_cast<CK_ULONG>(begin + Loud::kMarker.size());
        CK_MECHANISM mechanism{one.type, bytes.data(), length};
        EXPECT_EQ(list.C_DecryptInit(1, &mechanism, 1), CKR_OK);
        Json wanted{{"length", length}, {"value", "masked"}};
        for (std::size_t i = 0; i < one.numbers.size(); ++i) {
            wanted[one.numbers[i]] = i + 1;
        }
        EXPECT_EQ(line()["in"]["mechanism"]["parameter"], wanted) << one.type;
    }
}

} // namespace
