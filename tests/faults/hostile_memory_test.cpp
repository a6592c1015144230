// Modules that use, and scribble over, the memory that they are handed, and modules that call back.

#include "tests/faults/Hostile.h"

#include <cstring>

namespace Faults {

namespace {

using Conformance::Executor;
using Conformance::Result;
using Fake::Function;

class HostileMemory : public HostileTest {
protected:
    Story story;

    void use(const std::string& name) {
        story = storyNamed(name);
        setStage(story);
    }
    void expectOutcome(const std::string& error, const std::vector<Output>& outputs, Where where = Where::current()) {
        std::vector<Output> expected = {{"ERROR", 2, 3, error}};
        expected.insert(expected.end(), outputs.begin(), outputs.end());
        expectOutputs(execute(story.script, story.params), expected, where);
        expectUsable(where);
    }
    void expectGood(Where where = Where::current()) { expectOutcome(story.good.error, story.good.outputs, where); }
};

/// What a module leaves of a template that it was only to read.
void scribble(CK_ATTRIBUTE* list, CK_ULONG count) {
    for (CK_ULONG i = 0; i < count; ++i) {
        list[i].type = 0x80001234;
        list[i].pValue = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x1));
        list[i].ulValueLen = static_cast<CK_ULONG>(-1) / 2;
    }
}

/// The same, and the values too.
void scribbleAll(CK_ATTRIBUTE* list, CK_ULONG count) {
    for (CK_ULONG i = 0; i < count; ++i) {
        std::memset(list[i].pValue, 0xEE, static_cast<std::size_t>(list[i].ulValueLen));
    }
    scribble(list, count);
}

// Every byte that was promised is there: a sanitizer sees the first one that is not.

TEST_F(HostileMemory, allTheRoomForValuesIsThere) {
    use("Read1PublicKeysNoSession");
    fake.hook<Function::C_GetAttributeValue>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG count) {
            for (CK_ULONG i = 0; i < count; ++i) {
                if (list[i].pValue == nullptr) {
                    list[i].ulValueLen = 3;
                } else {
                    std::memset(list[i].pValue, 0x41, static_cast<std::size_t>(list[i].ulValueLen));
                }
            }
            return CKR_OK;
        });
    expectOutcome("0", {{"COUNT", 2, 1, "1"}, {"MODULUS1", 1, 2, "QUFB"}, {"PUBLICEXPONENT1", 1, 2, "QUFB"}});
}

TEST_F(HostileMemory, aTerminatorBehindAValueHasRoom) {
    use("Read1CertificatesNoSession");
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        if (list[0].pValue != nullptr) {
            std::memcpy(list[0].pValue, "AAA", 4);
        }
        list[0].ulValueLen = 3;
        return CKR_OK;
    });
    expectOutcome("0", {{"COUNT", 2, 1, "1"}, {"DATA1", 1, 2, "QUFB"}});
}

TEST_F(HostileMemory, aTerminatorBehindNothingHasRoom) {
    use("Read1CertificatesNoSession");
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        if (list[0].pValue != nullptr) {
            *static_cast<char*>(list[0].pValue) = '\0';
        }
        list[0].ulValueLen = 0;
        return CKR_OK;
    });
    expectOutcome("0", {{"COUNT", 2, 1, "1"}, {"DATA1", 1, 2, ""}});
}

TEST_F(HostileMemory, aTerminatorBehindASignatureHasRoom) {
    use("SignUserLoggedIn");
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE* signature, CK_ULONG* length) {
        *length = 3;
        if (signature != nullptr) {
            std::memcpy(signature, "AAA", 4);
        }
        return CKR_OK;
    });
    expectOutcome("0", {{"SIGNEDDATA", 1, 2, "QUFB"}});
}

TEST_F(HostileMemory, allTheRoomForSlotsIsThere) {
    use("OneReader");
    fake.hook<Function::C_GetSlotList>([](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
        for (CK_ULONG i = 0; list != nullptr && i < *count; ++i) {
            list[i] = Fake::kSlot;
        }
        *count = 100;
        return CKR_OK;
    });
    const Result result = execute(story.script, story.params);
    expectError(result, "0");
    EXPECT_EQ(result.value("READERS").value_or("").size(), 100U * 26 + 99U * 2);
    expectUsable();
}

TEST_F(HostileMemory, allOfATokensInformationIsThere) {
    use("StateOfUserLoggedIn");
    fake.hook<Function::C_GetTokenInfo>([](CK_SLOT_ID, CK_TOKEN_INFO* info) {
        std::memset(static_cast<void*>(info), 0xFF, sizeof *info);
        return CKR_OK;
    });
    expectOutcome("0", {{"AUTHSTATE", 0, 1, "3"}, {"LEFTPINTRY", 2, 1, "1"}});
}

TEST_F(HostileMemory, allOfASlotsInformationIsThere) {
    use("OneReader");
    fake.hook<Function::C_GetSlotInfo>([](CK_SLOT_ID, CK_SLOT_INFO* info) {
        std::memset(static_cast<void*>(info), 0x42, sizeof *info);
        return CKR_OK;
    });
    std::string name;
    for (int i = 0; i < 64; ++i) {
        name += "42";
    }
    expectOutcome("0", {{"READERS", 4, 0, name}});
}

TEST_F(HostileMemory, allOfASessionsInformationIsThere) {
    use("StateOfUserLoggedIn");
    fake.hook<Function::C_GetSessionInfo>([](CK_SESSION_HANDLE, CK_SESSION_INFO* info) {
        std::memset(static_cast<void*>(info), 0xFF, sizeof *info);
        return CKR_OK;
    });
    expectOutcome("80ed", {});
}

TEST_F(HostileMemory, allOfAModulesInformationIsThere) {
    start();
    fake.hook<Function::C_GetInfo>([](CK_INFO* info) {
        std::memset(static_cast<void*>(info), 'M', sizeof *info);
        return CKR_OK;
    });
    const std::string text = Conformance::toUtf8(plugin.get()->getDescription());
    EXPECT_NE(text.find("\nManufacturer ID=" + std::string(32, 'M') + "\nCryptoki version=77.77"), std::string::npos)
        << text;
    expectUsable();
}

// What a module writes over its inputs reaches nobody.

TEST_F(HostileMemory, aSearchTemplateIsScribbledOver) {
    use("Read1CertificatesNoSession");
    fake.hook<Function::C_FindObjectsInit>([this](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count) {
        const CK_RV rv = fake.honest().C_FindObjectsInit(session, list, count);
        scribbleAll(list, count);
        return rv;
    });
    expectGood();
}

TEST_F(HostileMemory, aSearchTemplateOfTwoSweepsIsScribbledOver) {
    use("RemoveKeyPairNoSession");
    fake.hook<Function::C_FindObjectsInit>([this](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count) {
        const CK_RV rv = fake.honest().C_FindObjectsInit(session, list, count);
        scribble(list, count);
        return rv;
    });
    expectGood();
    EXPECT_TRUE(fake.objects().empty());
}

TEST_F(HostileMemory, anObjectsTemplateIsScribbledOver) {
    use("WriteCertificateNoSession");
    fake.hook<Function::C_CreateObject>(
        [this](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count, CK_OBJECT_HANDLE* object) {
            const CK_RV rv = fake.honest().C_CreateObject(session, list, count, object);
            scribbleAll(list, count);
            return rv;
        });
    expectGood();
}

TEST_F(HostileMemory, aPairsTemplatesAreScribbledOver) {
    use("WriteKeyPairNoSession");
    fake.hook<Function::C_CreateObject>(
        [this](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count, CK_OBJECT_HANDLE* object) {
            const CK_RV rv = fake.honest().C_CreateObject(session, list, count, object);
            scribble(list, count);
            return rv;
        });
    expectGood();
    ASSERT_EQ(fake.objects().size(), 2U);
    EXPECT_EQ(fake.objects()[1].attributes.hexOf(CKA_ID), "01");
}

TEST_F(HostileMemory, aRefusedPublicKeysTemplateIsScribbledOver) {
    use("WriteKeyPairNoSession");
    int calls = 0;
    fake.hook<Function::C_CreateObject>(
        [this, &calls](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count, CK_OBJECT_HANDLE* object) {
            if (++calls == 2) {
                scribble(list, count);
                return CKR_TEMPLATE_INCOMPLETE;
            }
            return fake.honest().C_CreateObject(session, list, count, object);
        });
    expectGood();
    EXPECT_EQ(calls, 3);
    ASSERT_EQ(fake.objects().size(), 2U);
    EXPECT_EQ(fake.objects()[1].attributes.numberOf(CKA_MODULUS_BITS), CK_ULONG{1024});
}

TEST_F(HostileMemory, generationTemplatesAndMechanismAreScribbledOver) {
    use("GenerateKeyPairNoSession");
    fake.hook<Function::C_GenerateKeyPair>([this](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
                                                  CK_ATTRIBUTE* publicList, CK_ULONG publicCount,
                                                  CK_ATTRIBUTE* privateList, CK_ULONG privateCount,
                                                  CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey) {
        const CK_RV rv = fake.honest().C_GenerateKeyPair(session, mechanism, publicList, publicCount, privateList,
                                                         privateCount, publicKey, privateKey);
        scribbleAll(publicList, publicCount);
        scribbleAll(privateList, privateCount);
        std::memset(static_cast<void*>(mechanism), 0xEE, sizeof *mechanism);
        return rv;
    });
    expectGood();
}

TEST_F(HostileMemory, aSigningMechanismIsScribbledOver) {
    use("SignUserLoggedIn");
    fake.hook<Function::C_SignInit>([this](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
        const CK_RV rv = fake.honest().C_SignInit(session, mechanism, key);
        std::memset(static_cast<void*>(mechanism), 0xEE, sizeof *mechanism);
        return rv;
    });
    expectGood();
}

TEST_F(HostileMemory, aReadTemplateIsScribbledOverInBothPasses) {
    use("Read2PublicKeysNoSession");
    fake.hook<Function::C_GetAttributeValue>(
        [this](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* list, CK_ULONG count) {
            const CK_RV rv = fake.honest().C_GetAttributeValue(session, object, list, count);
            for (CK_ULONG i = 0; i < count; ++i) {
                list[i].type = 0x80001234;
                list[i].pValue = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x1));
            }
            return rv;
        });
    expectGood();
}

TEST_F(HostileMemory, aContainerNamesTemplateIsScribbledOver) {
    use("NameContainerNoSession");
    fake.hook<Function::C_SetAttributeValue>(
        [this](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* list, CK_ULONG count) {
            const CK_RV rv = fake.honest().C_SetAttributeValue(session, object, list, count);
            scribbleAll(list, count);
            return rv;
        });
    expectGood();
}

TEST_F(HostileMemory, aPinIsScribbledOver) {
    use("LoginOfUser");
    fake.hook<Function::C_Login>([this](CK_SESSION_HANDLE session, CK_USER_TYPE role, CK_BYTE* pin, CK_ULONG length) {
        const CK_RV rv = fake.honest().C_Login(session, role, pin, length);
        std::memset(pin, 0, static_cast<std::size_t>(length));
        return rv;
    });
    expectGood();
}

// The PIN that is kept is the one that was given: a wrong one would cost a try.
TEST_F(HostileMemory, aPinThatWasScribbledOverIsKeptAsItWas) {
    use("LoginOfUser");
    fake.hook<Function::C_Login>([this](CK_SESSION_HANDLE session, CK_USER_TYPE role, CK_BYTE* pin, CK_ULONG length) {
        const CK_RV rv = fake.honest().C_Login(session, role, pin, length);
        std::memset(pin, 0, static_cast<std::size_t>(length));
        return rv;
    });
    expectError(execute("authenticate", story.params), "0");
    for (int i = 0; i < 2; ++i) {
        expectError(execute("deauthenticate", Params().plain("PINID", "USER")), "0");
        expectError(execute("writeData", Params()), "0");
        expectError(execute("authenticate", Params().plain("AUTH_TYPE", "STATIC")), "0");
    }
}

TEST_F(HostileMemory, theRoomForALabelIsScribbledOver) {
    use("Init");
    fake.hook<Function::C_InitToken>([this](CK_SLOT_ID slot, CK_BYTE* pin, CK_ULONG length, CK_BYTE* label) {
        const CK_RV rv = fake.honest().C_InitToken(slot, pin, length, label);
        std::memset(label, 0xEE, 32);
        std::memset(pin, 0xEE, static_cast<std::size_t>(length));
        return rv;
    });
    expectGood();
}

TEST_F(HostileMemory, initialisationArgumentsAreScribbledOver) {
    fake.hook<Function::C_Initialize>([this](CK_VOID_PTR arguments) {
        const CK_RV rv = fake.honest().C_Initialize(arguments);
        std::memset(arguments, 0xEE, sizeof(CK_C_INITIALIZE_ARGS));
        return rv;
    });
    start();
    expectUsable();
}

// A handle that comes along with a refusal is none.

TEST_F(HostileMemory, aSessionIsOpenedAndRefused) {
    use("Read1CertificatesNoSession");
    fake.answerNext(Function::C_OpenSession, CKR_DEVICE_ERROR, 1, Fake::When::After);
    expectOutputs(execute(story.script, story.params), {{"ERROR", 2, 3, "80fa"}});
    forget();
    expectError(execute("readData", Params()), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectUsable();
}

// Modules that call the plug-in while it calls them.

TEST_F(HostileMemory, aModuleAsksTheSameExecutor) {
    use("Read1CertificatesNoSession");
    std::string state;
    fake.hook<Function::C_FindObjects>(
        [&](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* found, CK_ULONG room, CK_ULONG* count) {
            state = plugin.execute("getCardState").value("CARDSTATE").value_or("");
            return fake.honest().C_FindObjects(session, found, room, count);
        });
    expectGood();
    EXPECT_EQ(state, "1");
}

TEST_F(HostileMemory, aModuleListsReadersWhileTheyAreListed) {
    use("ThreeReaders");
    bool isInside = false;
    fake.hook<Function::C_GetSlotInfo>([&](CK_SLOT_ID slot, CK_SLOT_INFO* info) {
        if (!isInside) {
            isInside = true;
            EXPECT_EQ(plugin.execute("getReaderList").value("ERROR"), "0");
            isInside = false;
        }
        return fake.honest().C_GetSlotInfo(slot, info);
    });
    expectError(execute("getReaderList"), "0");
    expectUsable();
}

TEST_F(HostileMemory, aModuleUsesAnotherExecutor) {
    use("SignUserLoggedIn");
    std::string error;
    fake.hook<Function::C_SignInit>([&](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
        Executor other(creation());
        EXPECT_EQ(other.initialize(), std::nullopt);
        error = other.execute("getReaderList").value("ERROR").value_or("");
        other.free();
        return fake.honest().C_SignInit(session, mechanism, key);
    });
    expectGood();
    EXPECT_EQ(error, "0");
}

TEST_F(HostileMemory, aModuleTerminatesTheExecutor) {
    use("Read1CertificatesNoSession");
    fake.hook<Function::C_GetAttributeValue>(
        [this](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* list, CK_ULONG count) {
            plugin.terminate();
            return fake.honest().C_GetAttributeValue(session, object, list, count);
        });
    expectOutcome("80ff", {{"COUNT", 2, 1, "0"}});
}

TEST_F(HostileMemory, aModuleInitialisesTheExecutorAgain) {
    use("Read1CertificatesNoSession");
    std::string message;
    fake.hook<Function::C_FindObjectsFinal>([&](CK_SESSION_HANDLE session) {
        const auto failure = plugin.initialize();
        message = failure ? failure->message : "";
        return fake.honest().C_FindObjectsFinal(session);
    });
    expectGood();
    EXPECT_EQ(message, "Plugin not terminated");
}

TEST_F(HostileMemory, aModuleSignsWhileItSigns) {
    use("SignUserLoggedIn");
    bool isInside = false;
    std::string error;
    fake.hook<Function::C_Sign>(
        [&](CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG dataLength, CK_BYTE* signature, CK_ULONG* length) {
            if (!isInside) {
                isInside = true;
                error = plugin.execute("signData", story.params).value("ERROR").value_or("");
            }
            return fake.honest().C_Sign(session, data, dataLength, signature, length);
        });
    // One operation of a kind at a time: the inner one is refused.
    expectGood();
    EXPECT_EQ(error, "80f5");
}

} // namespace

} // namespace Faults
