#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "watch/calls/FunctionNames.h"

// Every function with its arguments, as data: the watch writes calls by it, and the replay answers them by it.

namespace watch {

/// What an argument is. It may take several of the function's parameters: a buffer and its length are one argument.
enum class Kind : std::uint8_t {
    None,
    // One parameter.
    Session,
    Object,
    Slot,
    Number,
    UserType,
    MechanismType,
    Pointer,     ///< the program's own; only whether it is null counts
    Initialize,  ///< CK_C_INITIALIZE_ARGS
    PaddedLabel, ///< 32 bytes, or fewer that end with a null
    Mechanism,   ///< CK_MECHANISM
    SessionOut,
    ObjectOut,
    SlotOut,
    NumberOut,
    InfoOut,
    SlotInfoOut,
    TokenInfoOut,
    SessionInfoOut,
    MechanismInfoOut,
    // A pointer and a length or count.
    Pin,      ///< masked, also its length
    Masked,   ///< masked, with its length
    Bytes,    ///< shown
    Text,     ///< shown
    Template, ///< of an object whose class the template or the object handle says
    PublicTemplate,
    SecretTemplate, ///< of a private or secret key
    Query,          ///< of C_GetAttributeValue: goes in, comes back filled
    RandomOut,      ///< masked, with its length, which is no pointer
    MaskedOut,      ///< masked; a pointer to the length, as the following ones
    BytesOut,
    SlotsOut,
    MechanismsOut,
    // A pointer, the room, and a pointer to the count.
    ObjectsOut,
};

struct Argument {
    const char* name = nullptr;
    Kind kind = Kind::None;
};

struct Function {
    std::string_view name;
    std::array<Argument, 7> arguments; ///< up to the first None
};

enum class FunctionId : std::uint8_t {
#define WATCH_ID(name) name,
    WATCH_FUNCTIONS(WATCH_ID) WATCH_FUNCTIONS_3(WATCH_ID)
#undef WATCH_ID
};

/// What the module fills alone. A Query goes in, too.
[[nodiscard]] constexpr bool isOutput(Kind kind) noexcept {
    return (kind >= Kind::SessionOut && kind <= Kind::MechanismInfoOut) || kind >= Kind::RandomOut;
}

/// Parameters that an argument of this kind takes.
[[nodiscard]] constexpr std::size_t parametersOf(Kind kind) noexcept {
    if (kind == Kind::None) {
        return 0;
    }
    return kind < Kind::Pin ? 1 : kind < Kind::ObjectsOut ? 2 : 3;
}

inline constexpr Argument kSession{"session", Kind::Session};
inline constexpr Argument kObject{"object", Kind::Object};
inline constexpr Argument kKey{"key", Kind::Object};
inline constexpr Argument kSlot{"slot", Kind::Slot};
inline constexpr Argument kMechanism{"mechanism", Kind::Mechanism};
inline constexpr Argument kTemplate{"template", Kind::Template};
inline constexpr Argument kNewKey{"key", Kind::ObjectOut};
inline constexpr Argument kMessage{"parameter", Kind::Masked};
inline constexpr Argument kData{"data", Kind::Masked};
inline constexpr Argument kDataOut{"data", Kind::MaskedOut};
inline constexpr Argument kEncrypted{"encrypted", Kind::Masked};
inline constexpr Argument kEncryptedOut{"encrypted", Kind::MaskedOut};
inline constexpr Argument kDigestOut{"digest", Kind::MaskedOut};
inline constexpr Argument kSignature{"signature", Kind::Bytes};
inline constexpr Argument kSignatureOut{"signature", Kind::BytesOut};
inline constexpr Argument kAssociated{"associatedData", Kind::Masked};
inline constexpr Argument kFlags{"flags", Kind::Number};

inline constexpr std::array kFunctions{
    Function{"C_Initialize", {{{"args", Kind::Initialize}}}},
    Function{"C_Finalize", {{{"reserved", Kind::Pointer}}}},
    Function{"C_GetInfo", {{{"info", Kind::InfoOut}}}},
    Function{"C_GetSlotList", {{{"tokenPresent", Kind::Number}, {"slots", Kind::SlotsOut}}}},
    Function{"C_GetSlotInfo", {{kSlot, {"info", Kind::SlotInfoOut}}}},
    Function{"C_GetTokenInfo", {{kSlot, {"info", Kind::TokenInfoOut}}}},
    Function{"C_GetMechanismList", {{kSlot, {"mechanisms", Kind::MechanismsOut}}}},
    Function{"C_GetMechanismInfo", {{kSlot, {"type", Kind::MechanismType}, {"info", Kind::MechanismInfoOut}}}},
    Function{"C_InitToken", {{kSlot, {"pin", Kind::Pin}, {"label", Kind::PaddedLabel}}}},
    Function{"C_InitPIN", {{kSession, {"pin", Kind::Pin}}}},
    Function{"C_SetPIN", {{kSession, {"oldPin", Kind::Pin}, {"newPin", Kind::Pin}}}},
    Function{
        "C_OpenSession",
        {{kSlot, kFlags, {"application", Kind::Pointer}, {"notify", Kind::Pointer}, {"session", Kind::SessionOut}}}},
    Function{"C_CloseSession", {{kSession}}},
    Function{"C_CloseAllSessions", {{kSlot}}},
    Function{"C_GetSessionInfo", {{kSession, {"info", Kind::SessionInfoOut}}}},
    Function{"C_GetOperationState", {{kSession, {"state", Kind::MaskedOut}}}},
    Function{
        "C_SetOperationState",
        {{kSession, {"state", Kind::Masked}, {"encryptionKey", Kind::Object}, {"authenticationKey", Kind::Object}}}},
    Function{"C_Login", {{kSession, {"userType", Kind::UserType}, {"pin", Kind::Pin}}}},
    Function{"C_Logout", {{kSession}}},
    Function{"C_CreateObject", {{kSession, kTemplate, {"object", Kind::ObjectOut}}}},
    Function{"C_CopyObject", {{kSession, kObject, kTemplate, {"newObject", Kind::ObjectOut}}}},
    Function{"C_DestroyObject", {{kSession, kObject}}},
    Function{"C_GetObjectSize", {{kSession, kObject, {"size", Kind::NumberOut}}}},
    Function{"C_GetAttributeValue", {{kSession, kObject, {"template", Kind::Query}}}},
    Function{"C_SetAttributeValue", {{kSession, kObject, kTemplate}}},
    Function{"C_FindObjectsInit", {{kSession, kTemplate}}},
    Function{"C_FindObjects", {{kSession, {"objects", Kind::ObjectsOut}}}},
    Function{"C_FindObjectsFinal", {{kSession}}},
    Function{"C_EncryptInit", {{kSession, kMechanism, kKey}}},
    Function{"C_Encrypt", {{kSession, kData, kEncryptedOut}}},
    Function{"C_EncryptUpdate", {{kSession, kData, kEncryptedOut}}},
    Function{"C_EncryptFinal", {{kSession, kEncryptedOut}}},
    Function{"C_DecryptInit", {{kSession, kMechanism, kKey}}},
    Function{"C_Decrypt", {{kSession, kEncrypted, kDataOut}}},
    Function{"C_DecryptUpdate", {{kSession, kEncrypted, kDataOut}}},
    Function{"C_DecryptFinal", {{kSession, kDataOut}}},
    Function{"C_DigestInit", {{kSession, kMechanism}}},
    Function{"C_Digest", {{kSession, kData, kDigestOut}}},
    Function{"C_DigestUpdate", {{kSession, kData}}},
    Function{"C_DigestKey", {{kSession, kKey}}},
    Function{"C_DigestFinal", {{kSession, kDigestOut}}},
    Function{"C_SignInit", {{kSession, kMechanism, kKey}}},
    Function{"C_Sign", {{kSession, kData, kSignatureOut}}},
    Function{"C_SignUpdate", {{kSession, kData}}},
    Function{"C_SignFinal", {{kSession, kSignatureOut}}},
    Function{"C_SignRecoverInit", {{kSession, kMechanism, kKey}}},
    // These signatures give back what was signed.
    Function{"C_SignRecover", {{kSession, kData, {"signature", Kind::MaskedOut}}}},
    Function{"C_VerifyInit", {{kSession, kMechanism, kKey}}},
    Function{"C_Verify", {{kSession, kData, kSignature}}},
    Function{"C_VerifyUpdate", {{kSession, kData}}},
    Function{"C_VerifyFinal", {{kSession, kSignature}}},
    Function{"C_VerifyRecoverInit", {{kSession, kMechanism, kKey}}},
    Function{"C_VerifyRecover", {{kSession, {"signature", Kind::Masked}, kDataOut}}},
    Function{"C_DigestEncryptUpdate", {{kSession, kData, kEncryptedOut}}},
    Function{"C_DecryptDigestUpdate", {{kSession, kEncrypted, kDataOut}}},
    Function{"C_SignEncryptUpdate", {{kSession, kData, kEncryptedOut}}},
    Function{"C_DecryptVerifyUpdate", {{kSession, kEncrypted, kDataOut}}},
    Function{"C_GenerateKey", {{kSession, kMechanism, {"template", Kind::SecretTemplate}, kNewKey}}},
    Function{"C_GenerateKeyPair",
             {{kSession,
               kMechanism,
               {"publicTemplate", Kind::PublicTemplate},
               {"privateTemplate", Kind::SecretTemplate},
               {"publicKey", Kind::ObjectOut},
               {"privateKey", Kind::ObjectOut}}}},
    Function{"C_WrapKey", {{kSession, kMechanism, {"wrappingKey", Kind::Object}, kKey, {"wrapped", Kind::MaskedOut}}}},
    Function{"C_UnwrapKey",
             {{kSession,
               kMechanism,
               {"unwrappingKey", Kind::Object},
               {"wrapped", Kind::Masked},
               {"template", Kind::SecretTemplate},
               kNewKey}}},
    Function{"C_DeriveKey",
             {{kSession, kMechanism, {"baseKey", Kind::Object}, {"template", Kind::SecretTemplate}, kNewKey}}},
    Function{"C_SeedRandom", {{kSession, {"seed", Kind::Masked}}}},
    Function{"C_GenerateRandom", {{kSession, {"random", Kind::RandomOut}}}},
    Function{"C_GetFunctionStatus", {{kSession}}},
    Function{"C_CancelFunction", {{kSession}}},
    Function{"C_WaitForSlotEvent", {{kFlags, {"slot", Kind::SlotOut}, {"reserved", Kind::Pointer}}}},
    Function{"C_LoginUser", {{kSession, {"userType", Kind::UserType}, {"pin", Kind::Pin}, {"username", Kind::Text}}}},
    Function{"C_SessionCancel", {{kSession, kFlags}}},
    Function{"C_MessageEncryptInit", {{kSession, kMechanism, kKey}}},
    Function{"C_EncryptMessage", {{kSession, kMessage, kAssociated, kData, kEncryptedOut}}},
    Function{"C_EncryptMessageBegin", {{kSession, kMessage, kAssociated}}},
    Function{"C_EncryptMessageNext", {{kSession, kMessage, kData, kEncryptedOut, kFlags}}},
    Function{"C_MessageEncryptFinal", {{kSession}}},
    Function{"C_MessageDecryptInit", {{kSession, kMechanism, kKey}}},
    Function{"C_DecryptMessage", {{kSession, kMessage, kAssociated, kEncrypted, kDataOut}}},
    Function{"C_DecryptMessageBegin", {{kSession, kMessage, kAssociated}}},
    Function{"C_DecryptMessageNext", {{kSession, kMessage, kEncrypted, kDataOut, kFlags}}},
    Function{"C_MessageDecryptFinal", {{kSession}}},
    Function{"C_MessageSignInit", {{kSession, kMechanism, kKey}}},
    Function{"C_SignMessage", {{kSession, kMessage, kData, kSignatureOut}}},
    Function{"C_SignMessageBegin", {{kSession, kMessage}}},
    Function{"C_SignMessageNext", {{kSession, kMessage, kData, kSignatureOut}}},
    Function{"C_MessageSignFinal", {{kSession}}},
    Function{"C_MessageVerifyInit", {{kSession, kMechanism, kKey}}},
    Function{"C_VerifyMessage", {{kSession, kMessage, kData, kSignature}}},
    Function{"C_VerifyMessageBegin", {{kSession, kMessage}}},
    Function{"C_VerifyMessageNext", {{kSession, kMessage, kData, kSignature}}},
    Function{"C_MessageVerifyFinal", {{kSession}}},
};

[[nodiscard]] constexpr const Function& functionOf(FunctionId id) noexcept {
    return kFunctions[static_cast<std::size_t>(id)];
}

/// Parameters that the function takes.
[[nodiscard]] constexpr std::size_t parametersOf(const Function& function) noexcept {
    std::size_t count = 0;
    for (const Argument& argument : function.arguments) {
        count += parametersOf(argument.kind);
    }
    return count;
}

// The table has the order of the names.
#define WATCH_CHECK(function) static_assert(functionOf(FunctionId::function).name == #function);
WATCH_FUNCTIONS(WATCH_CHECK)
WATCH_FUNCTIONS_3(WATCH_CHECK)
#undef WATCH_CHECK

} // namespace watch
