#include "tests/fuzz/PlayModule.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

namespace Fuzz {

namespace {

using Fake::Attributes;
using Fake::Function;
using Fake::When;

/// The functions that the plug-in calls.
constexpr Function kFunctions[] = {
    Function::C_Initialize,
    Function::C_Finalize,
    Function::C_GetInfo,
    Function::C_GetFunctionList,
    Function::C_GetSlotList,
    Function::C_GetSlotInfo,
    Function::C_GetTokenInfo,
    Function::C_InitToken,
    Function::C_InitPIN,
    Function::C_SetPIN,
    Function::C_OpenSession,
    Function::C_CloseSession,
    Function::C_GetSessionInfo,
    Function::C_Login,
    Function::C_Logout,
    Function::C_CreateObject,
    Function::C_DestroyObject,
    Function::C_GetAttributeValue,
    Function::C_SetAttributeValue,
    Function::C_FindObjectsInit,
    Function::C_FindObjects,
    Function::C_FindObjectsFinal,
    Function::C_SignInit,
    Function::C_Sign,
    Function::C_GenerateKeyPair,
};

constexpr CK_RV kResults[] = {
    CKR_OK,
    CKR_GENERAL_ERROR,
    CKR_HOST_MEMORY,
    CKR_ARGUMENTS_BAD,
    CKR_DEVICE_ERROR,
    CKR_DEVICE_REMOVED,
    CKR_TOKEN_NOT_PRESENT,
    CKR_TOKEN_NOT_RECOGNIZED,
    CKR_SESSION_HANDLE_INVALID,
    CKR_SESSION_CLOSED,
    CKR_SESSION_READ_ONLY_EXISTS,
    CKR_PIN_INCORRECT,
    CKR_PIN_LOCKED,
    CKR_PIN_EXPIRED,
    CKR_USER_ALREADY_LOGGED_IN,
    CKR_USER_ANOTHER_ALREADY_LOGGED_IN,
    CKR_USER_NOT_LOGGED_IN,
    CKR_USER_PIN_NOT_INITIALIZED,
    CKR_BUFFER_TOO_SMALL,
    CKR_ATTRIBUTE_SENSITIVE,
    CKR_ATTRIBUTE_TYPE_INVALID,
    CKR_TEMPLATE_INCONSISTENT,
    CKR_FUNCTION_NOT_SUPPORTED,
    CKR_CRYPTOKI_NOT_INITIALIZED,
    CKR_CRYPTOKI_ALREADY_INITIALIZED,
};

CK_RV resultFrom(Input& input) {
    return input.below(8) == 0 ? input.number<CK_RV>() : input.oneOf(kResults);
}

/// Bytes without sense, and how often they are still given out.
struct Noise {
    std::string bytes;
    CK_ULONG number = 0;
    int calls = 0;

    template <class T>
    void fill(T* target) const {
        fill(reinterpret_cast<unsigned char*>(target), sizeof(T));
    }
    void fill(unsigned char* target, std::size_t length) const {
        for (std::size_t i = 0; i < length; ++i) {
            target[i] = bytes.empty() ? 0xFF : static_cast<unsigned char>(bytes[i % bytes.size()]);
        }
    }
};

/// Lengths are small, or so large that nobody has the memory. Those between cost time and find nothing.
std::shared_ptr<Noise> noiseFrom(Input& input) {
    constexpr CK_ULONG kSmall = 0x1000;
    constexpr CK_ULONG kHuge = 0x10000000;
    auto noise = std::make_shared<Noise>();
    noise->number = input.number<CK_ULONG>();
    noise->number = noise->number > kSmall && noise->number < kHuge ? noise->number % kSmall : noise->number;
    noise->calls = 1 + static_cast<int>(input.below(3));
    noise->bytes = input.bytes(40);
    return noise;
}

/// After the honest function, for as long as the noise lasts: its output is overwritten.
template <Function F, class Distort, class Honest>
void distortAfter(Fake::Module& fake, const std::shared_ptr<Noise>& noise, Honest honest, Distort distort) {
    fake.hook<F>([noise, honest, distort, fake](auto... arguments) {
        const CK_RV rv = (fake.honest().*honest)(arguments...);
        if (noise->calls > 0) {
            --noise->calls;
            distort(*noise, arguments...);
        }
        return rv;
    });
}

/// A length is asked for, or bytes are: what comes is the noise, as far as there is room, and the length is its own.
void giveBytes(const Noise& noise, unsigned char* target, CK_ULONG room, CK_ULONG* length) {
    if (target != nullptr) {
        noise.fill(target, static_cast<std::size_t>(std::min<CK_ULONG>(room, noise.bytes.size())));
    }
    *length = noise.number;
}

Attributes objectFrom(Input& input) {
    constexpr CK_ULONG kClasses[] = {CKO_CERTIFICATE, CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_DATA};
    Attributes object;
    object.number(CKA_CLASS, input.oneOf(kClasses)).boolean(CKA_PRIVATE, input.below(4) == 0);
    if (input.below(4) != 0) {
        object.number(CKA_KEY_TYPE, CKK_RSA).raw(CKA_ID, input.boolean() ? std::string("\x01") : input.bytes(8));
    }
    if (input.below(4) != 0) {
        object.raw(CKA_VALUE, input.bytes(40)).raw(CKA_MODULUS, "\xC0" + input.bytes(40));
        object.raw(CKA_PUBLIC_EXPONENT, std::string("\x01\x00\x01", 3)).raw(CKA_LABEL, input.bytes(10));
    }
    return object;
}

} // namespace

PlayModule::PlayModule() {
    m_fake.reset();
    m_fake.setRecording(false);
    limitLogout();
}

PlayModule::~PlayModule() {
    makeHonest();
    m_fake.unhook(Function::C_Logout);
    m_fake.reset();
}

void PlayModule::limitLogout() {
    constexpr int kMostRefusals = 5;
    m_fake.hook<Function::C_Logout>([this](CK_SESSION_HANDLE session) {
        const CK_RV rv = m_fake.honest().C_Logout(session);
        m_logoutsRefused = rv == CKR_OK ? 0 : m_logoutsRefused + 1;
        if (m_logoutsRefused > kMostRefusals) {
            m_logoutsRefused = 0;
            return CK_RV{CKR_OK};
        }
        return rv;
    });
}

void PlayModule::setUp(Input& input) {
    for (std::size_t count = input.below(5); count > 0; --count) {
        m_fake.addObject(objectFrom(input));
    }
    if (input.below(4) == 0) {
        m_fake.addSlot(input.bytes(70), input.boolean());
    }
    if (input.below(4) == 0) {
        m_fake.setTries(input.boolean() ? Fake::Role::User : Fake::Role::SecurityOfficer, input.below(4));
    }
    if (input.below(8) == 0) {
        m_fake.clearUserPin();
    }
    if (input.below(8) == 0) {
        m_fake.setTokenInitialized(input.boolean());
    }
    if (input.below(8) == 0) {
        m_fake.setDescription(Fake::kSlot, input.bytes(64));
    }
    if (input.below(8) == 0) {
        m_fake.setNextSessionHandle(input.number<CK_SESSION_HANDLE>());
        m_fake.setNextObjectHandle(input.number<CK_OBJECT_HANDLE>());
    }
}

void PlayModule::disturb(Input& input) {
    switch (input.below(5)) {
    case 0:
        return m_fake.removeToken();
    case 1:
        return m_fake.insertToken();
    case 2:
        return m_fake.dropSessions();
    case 3:
        m_fake.addSlot(input.bytes(70), input.boolean());
        return;
    default:
        m_fake.addObject(objectFrom(input));
    }
}

void PlayModule::addFault(Input& input) {
    m_isFaulty = true;
    switch (input.below(6)) {
    case 0:
    case 1:
        return addAnswer(input);
    case 2:
        return addTokenFault(input);
    case 3:
        return addObjectFault(input);
    case 4:
        return addSessionFault(input);
    default:
        if (input.below(8) == 0) {
            return m_fake.setNullList(input.boolean());
        }
        // Without a logout there is no end of trying.
        if (const Function function = input.oneOf(kFunctions); function != Function::C_Logout) {
            m_fake.setNullEntry(function, input.below(4) != 0);
        }
    }
}

void PlayModule::addAnswer(Input& input) {
    const CK_RV rv = resultFrom(input);
    const When when = input.boolean() ? When::Before : When::After;
    const Function function = input.oneOf(kFunctions);
    switch (input.below(4)) {
    case 0:
        return m_fake.answerCall(1 + input.below(40), rv, when);
    case 1:
        m_fake.passNext(function, static_cast<unsigned>(input.below(3)));
        [[fallthrough]];
    case 2:
        return m_fake.answerNext(function, rv, 1 + static_cast<unsigned>(input.below(4)), when);
    default:
        if (function != Function::C_Logout) {
            m_fake.answerAlways(function, rv, when);
        }
    }
}

void PlayModule::addTokenFault(Input& input) {
    const auto noise = noiseFrom(input);
    const auto fillSecond = [](const Noise& bytes, auto, auto* info) { bytes.fill(info); };
    switch (input.below(5)) {
    case 0:
        return distortAfter<Function::C_GetTokenInfo>(m_fake, noise, &CK_FUNCTION_LIST::C_GetTokenInfo, fillSecond);
    case 1:
        return distortAfter<Function::C_GetSlotInfo>(m_fake, noise, &CK_FUNCTION_LIST::C_GetSlotInfo, fillSecond);
    case 2:
        return distortAfter<Function::C_GetSessionInfo>(m_fake, noise, &CK_FUNCTION_LIST::C_GetSessionInfo, fillSecond);
    case 3:
        return distortAfter<Function::C_GetInfo>(m_fake, noise, &CK_FUNCTION_LIST::C_GetInfo,
                                                 [](const Noise& bytes, CK_INFO* info) { bytes.fill(info); });
    default:
        return distortAfter<Function::C_GetSlotList>(
            m_fake, noise, &CK_FUNCTION_LIST::C_GetSlotList,
            [](const Noise& bytes, CK_BBOOL, CK_SLOT_ID*, CK_ULONG* count) { *count = bytes.number; });
    }
}

void PlayModule::addObjectFault(Input& input) {
    const auto noise = noiseFrom(input);
    switch (input.below(4)) {
    case 0:
        m_fake.hook<Function::C_GetAttributeValue>([noise, fake = m_fake](CK_SESSION_HANDLE session,
                                                                          CK_OBJECT_HANDLE object,
                                                                          CK_ATTRIBUTE* attributes, CK_ULONG count) {
            if (noise->calls-- <= 0) {
                return fake.honest().C_GetAttributeValue(session, object, attributes, count);
            }
            for (CK_ULONG i = 0; i < count; ++i) {
                giveBytes(*noise, static_cast<unsigned char*>(attributes[i].pValue), attributes[i].ulValueLen,
                          &attributes[i].ulValueLen);
            }
            return CK_RV{CKR_OK};
        });
        return;
    case 1:
        return distortAfter<Function::C_FindObjects>(
            m_fake, noise, &CK_FUNCTION_LIST::C_FindObjects,
            [](const Noise& bytes, CK_SESSION_HANDLE, CK_OBJECT_HANDLE* found, CK_ULONG most, CK_ULONG* count) {
                bytes.fill(found);
                *count = std::max<CK_ULONG>(bytes.number, most);
            });
    case 2:
        return distortAfter<Function::C_GenerateKeyPair>(m_fake, noise, &CK_FUNCTION_LIST::C_GenerateKeyPair,
                                                         [](const Noise& bytes, auto, auto, auto, auto, auto, auto,
                                                            CK_OBJECT_HANDLE* open, CK_OBJECT_HANDLE* secret) {
                                                             bytes.fill(open);
                                                             bytes.fill(secret);
                                                         });
    default:
        return distortAfter<Function::C_CreateObject>(
            m_fake, noise, &CK_FUNCTION_LIST::C_CreateObject,
            [](const Noise& bytes, auto, auto, auto, CK_OBJECT_HANDLE* object) { bytes.fill(object); });
    }
}

void PlayModule::addSessionFault(Input& input) {
    const auto noise = noiseFrom(input);
    switch (input.below(4)) {
    case 0:
        m_fake.hook<Function::C_Sign>([noise, fake = m_fake](CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG length,
                                                             CK_BYTE* signature, CK_ULONG* signatureLength) {
            if (noise->calls-- <= 0) {
                return fake.honest().C_Sign(session, data, length, signature, signatureLength);
            }
            giveBytes(*noise, signature, *signatureLength, signatureLength);
            return CK_RV{CKR_OK};
        });
        return;
    case 1:
        return distortAfter<Function::C_OpenSession>(
            m_fake, noise, &CK_FUNCTION_LIST::C_OpenSession,
            [](const Noise& bytes, auto, auto, auto, auto, CK_SESSION_HANDLE* session) { bytes.fill(session); });
    case 2:
        // Sessions go while a script is under way.
        return distortAfter<Function::C_FindObjectsInit>(
            m_fake, noise, &CK_FUNCTION_LIST::C_FindObjectsInit,
            [](const Noise&, auto, auto, auto) { Fake::module().dropSessions(); });
    default:
        m_fake.setSessionState(input.boolean() ? std::optional<CK_STATE>(input.below(6)) : std::nullopt);
    }
}

void PlayModule::makeHonest() {
    for (const Function function : kFunctions) {
        m_fake.setNullEntry(function, false);
        if (function != Function::C_Logout) {
            m_fake.unhook(function);
        }
    }
    m_fake.setNullList(false);
    m_fake.clearAnswers();
    m_fake.reset();
    m_fake.setRecording(false);
    m_fake.setInitialized(true);
}

} // namespace Fuzz
