// Modules that write into the room that they are given: all of it is there, and what they write beyond it faults in
// their own call, at the first byte behind.

#include "tests/faults/Hostile.h"
#include "tests/faults/posix/Guard.h"

#include <cstring>

namespace Faults {

namespace {

using Conformance::Result;
using Fake::Function;
using Fake::Module;

/// Who is asked for room: operator new, or the stack of the plug-in's operation.
enum class Place { Heap, Stack };

/// What a module does with the room that it is given, `behind` which our own bytes still follow.
using Scrawl = std::function<void(void* room, std::size_t size, std::size_t behind)>;

struct Case {
    std::string name;
    std::string story; ///< empty: the executor's description is asked for
    Place place;
    void (*set)(Module& fake, const Scrawl& scrawl);
};

void PrintTo(const Case& guarded, std::ostream* out) {
    *out << guarded.name;
}

// Texts and keys come into buffers that hold a terminator of ours behind the bytes that the module is told of.
constexpr std::size_t kTerminator = 1;

void setSlotList(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetSlotList>([=](CK_BBOOL withToken, CK_SLOT_ID* list, CK_ULONG* count) {
        const CK_ULONG room = *count;
        const CK_RV rv = fake.honest().C_GetSlotList(withToken, list, count);
        if (list != nullptr) {
            scrawl(list, room * sizeof(CK_SLOT_ID), 0);
        }
        return rv;
    });
}

void setSlotCount(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetSlotList>([=](CK_BBOOL withToken, CK_SLOT_ID* list, CK_ULONG* count) {
        const CK_RV rv = fake.honest().C_GetSlotList(withToken, list, count);
        scrawl(count, sizeof *count, 0);
        return rv;
    });
}

void setOpenSession(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_OpenSession>(
        [=](CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
            const CK_RV rv = fake.honest().C_OpenSession(slot, flags, application, notify, session);
            scrawl(session, sizeof *session, 0);
            return rv;
        });
}

void setCreateObject(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_CreateObject>(
        [=](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count, CK_OBJECT_HANDLE* object) {
            const CK_RV rv = fake.honest().C_CreateObject(session, list, count, object);
            scrawl(object, sizeof *object, 0);
            return rv;
        });
}

void setGenerateKeyPair(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GenerateKeyPair>([=](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
                                               CK_ATTRIBUTE* publicList, CK_ULONG publicCount,
                                               CK_ATTRIBUTE* privateList, CK_ULONG privateCount,
                                               CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey) {
        const CK_RV rv = fake.honest().C_GenerateKeyPair(session, mechanism, publicList, publicCount, privateList,
                                                         privateCount, publicKey, privateKey);
        scrawl(publicKey, sizeof *publicKey, 0);
        return rv;
    });
}

void setAttributeValue(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetAttributeValue>(
        [=](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* list, CK_ULONG count) {
            const std::vector<CK_ATTRIBUTE> rooms(list, list + count);
            const CK_RV rv = fake.honest().C_GetAttributeValue(session, object, list, count);
            for (const CK_ATTRIBUTE& room : rooms) {
                if (room.pValue != nullptr) {
                    scrawl(room.pValue, room.ulValueLen, kTerminator);
                }
            }
            return rv;
        });
}

void setSign(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_Sign>(
        [=](CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG size, CK_BYTE* signature, CK_ULONG* length) {
            const CK_ULONG room = *length;
            const CK_RV rv = fake.honest().C_Sign(session, data, size, signature, length);
            if (signature != nullptr) {
                scrawl(signature, room, kTerminator);
            }
            return rv;
        });
}

void setFindObjects(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_FindObjects>(
        [=](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* found, CK_ULONG room, CK_ULONG* count) {
            const CK_RV rv = fake.honest().C_FindObjects(session, found, room, count);
            scrawl(found, room * sizeof(CK_OBJECT_HANDLE), 0);
            return rv;
        });
}

void setSlotInfo(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetSlotInfo>([=](CK_SLOT_ID slot, CK_SLOT_INFO* info) {
        const CK_RV rv = fake.honest().C_GetSlotInfo(slot, info);
        scrawl(info, sizeof *info, 0);
        return rv;
    });
}

void setTokenInfo(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetTokenInfo>([=](CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
        const CK_RV rv = fake.honest().C_GetTokenInfo(slot, info);
        scrawl(info, sizeof *info, 0);
        return rv;
    });
}

void setSessionInfo(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetSessionInfo>([=](CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
        const CK_RV rv = fake.honest().C_GetSessionInfo(session, info);
        scrawl(info, sizeof *info, 0);
        return rv;
    });
}

void setInfo(Module& fake, const Scrawl& scrawl) {
    fake.hook<Function::C_GetInfo>([=](CK_INFO* info) {
        const CK_RV rv = fake.honest().C_GetInfo(info);
        scrawl(info, sizeof *info, 0);
        return rv;
    });
}

std::vector<Case> cases() {
    return {
        {"slotList", "OneReader", Place::Heap, &setSlotList},
        {"certificate", "Read1CertificatesNoSession", Place::Heap, &setAttributeValue},
        {"publicKey", "Read1PublicKeysNoSession", Place::Heap, &setAttributeValue},
        {"modulusOfGeneratedKey", "GenerateKeyPairNoSession", Place::Heap, &setAttributeValue},
        {"signature", "SignUserLoggedIn", Place::Heap, &setSign},
        {"signatureOfOwnLogin", "SignNoSession", Place::Heap, &setSign},
        {"slotCount", "OneReader", Place::Stack, &setSlotCount},
        {"session", "Read1CertificatesNoSession", Place::Stack, &setOpenSession},
        {"createdCertificate", "WriteCertificateNoSession", Place::Stack, &setCreateObject},
        {"importedKey", "WriteKeyPairNoSession", Place::Stack, &setCreateObject},
        {"generatedKey", "GenerateKeyPairNoSession", Place::Stack, &setGenerateKeyPair},
        {"foundObject", "Read1CertificatesNoSession", Place::Stack, &setFindObjects},
        {"foundObjectToRemove", "RemoveCertificateNoSession", Place::Stack, &setFindObjects},
        {"foundKey", "SignUserLoggedIn", Place::Stack, &setFindObjects},
        {"slotInfo", "OneReader", Place::Stack, &setSlotInfo},
        {"tokenInfoOfReader", "KnownReader", Place::Stack, &setTokenInfo},
        {"tokenInfoOfState", "StateOfUserLoggedIn", Place::Stack, &setTokenInfo},
        {"tokenInfoOfLastTry", "UnlockWithWrongKeyAtLastTry", Place::Stack, &setTokenInfo},
        {"sessionInfo", "StateOfUserLoggedIn", Place::Stack, &setSessionInfo},
        {"sessionInfoOfLogin", "SignNoSession", Place::Stack, &setSessionInfo},
        {"moduleInfo", "", Place::Stack, &setInfo},
    };
}

class GuardPages : public HostileTest, public ::testing::WithParamInterface<Case> {
protected:
    void SetUp() override {
        HostileTest::SetUp();
        if (!GetParam().story.empty()) {
            story = storyNamed(GetParam().story);
        }
    }

    /// One run in which the module writes all of its room and `beyond` bytes more, against a wall behind it. What it
    /// wrote within its room is made good again.
    void play(std::size_t beyond) {
        if (GetParam().place == Place::Heap) {
            prepare([beyond](void* room, std::size_t size, std::size_t behind) {
                overwrite(room, size, beyond, static_cast<char*>(room) + size + behind);
            });
            const Guard::Blocks guarded;
            ask();
            return;
        }
        // Where the variable stands that is to end at a page is seen in a first run.
        const void* end = nullptr;
        prepare([&](void* room, std::size_t size, std::size_t) {
            end = end == nullptr ? static_cast<char*>(room) + size : end;
        });
        Guard::runOnOwnStack([this] { ask(); }, 0);
        prepare([this, beyond](void* room, std::size_t size, std::size_t) { overwriteOnStack(room, size, beyond); });
        Guard::runOnOwnStack([this] { ask(); }, Guard::shiftToBoundary(end));
    }

    Story story;
    std::optional<Result> result;
    std::string description;
    unsigned scrawls = 0;

private:
    void prepare(const Scrawl& scrawl) {
        plugin.free();
        fake.reset();
        scrawls = 0;
        if (GetParam().story.empty()) {
            start();
        } else {
            setStage(story);
        }
        GetParam().set(fake, [this, scrawl](void* room, std::size_t size, std::size_t behind) {
            ++scrawls;
            scrawl(room, size, behind);
        });
    }

    void ask() {
        if (GetParam().story.empty()) {
            description = Conformance::toUtf8(plugin.get()->getDescription());
            return;
        }
        result = execute(story.script, story.params);
    }

    static void overwrite(void* room, std::size_t size, std::size_t beyond, const void* wall) {
        const std::string kept(static_cast<const char*>(room), size);
        Guard::write(room, size + beyond, wall);
        std::memcpy(room, kept.data(), size);
    }

    void overwriteOnStack(void* room, std::size_t size, std::size_t beyond) {
        const char* const end = static_cast<char*>(room) + size;
        const auto* const wall = static_cast<const char*>(Guard::boundaryBehind(end));
        if (scrawls > 1) {
            return; // another call's variable stands elsewhere
        }
        ASSERT_LE(wall - end, 8);
        const std::string kept(static_cast<const char*>(room), size);
        {
            const Guard::Fence fence(wall);
            Guard::write(room, size + beyond, wall);
        }
        std::memcpy(room, kept.data(), size);
    }
};

TEST_P(GuardPages, allOfTheRoomIsThere) {
    play(0);
    EXPECT_GE(scrawls, 1U);
    if (GetParam().story.empty()) {
        EXPECT_NE(description.find("\nManufacturer ID=Fake Tokens"), std::string::npos) << description;
    } else {
        std::vector<Output> expected = {{"ERROR", 2, 3, story.good.error}};
        expected.insert(expected.end(), story.good.outputs.begin(), story.good.outputs.end());
        expectOutputs(*result, expected);
    }
    expectUsable();
}

TEST_P(GuardPages, aFewBytesMoreFaultInTheModulesCall) {
    EXPECT_EXIT(play(16), ::testing::ExitedWithCode(Guard::kAtTheWall), "");
}

TEST_P(GuardPages, manyBytesMoreFaultInTheModulesCall) {
    EXPECT_EXIT(play(100000), ::testing::ExitedWithCode(Guard::kAtTheWall), "");
}

INSTANTIATE_TEST_SUITE_P(Room, GuardPages, ::testing::ValuesIn(cases()),
                         [](const auto& guarded) { return guarded.param.name; });

} // namespace

} // namespace Faults
