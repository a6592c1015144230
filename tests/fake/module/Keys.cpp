#include "tests/fake/module/Model.h"

#include <algorithm>

namespace Fake {

namespace {

template <class T>
std::string_view plain(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

std::string makeModulus(std::size_t length, unsigned pair) {
    std::string modulus(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        modulus[i] = static_cast<char>(i);
    }
    modulus.front() = static_cast<char>(0xC0);
    modulus[1] = static_cast<char>(pair);
    modulus.back() = 0x01;
    return modulus;
}

CK_RV readKey(const CK_ATTRIBUTE* entries, CK_ULONG count, CK_OBJECT_CLASS keyClass, Object& key) {
    const CK_RV rv = readTemplate(entries, count, key);
    if (rv != CKR_OK) {
        return rv;
    }
    const CK_KEY_TYPE rsa = CKK_RSA;
    key.setMissing(CKA_CLASS, plain(keyClass));
    key.setMissing(CKA_KEY_TYPE, plain(rsa));
    const bool fits = key.number(CKA_CLASS) == keyClass && key.number(CKA_KEY_TYPE) == rsa;
    return fits ? CKR_OK : CKR_TEMPLATE_INCONSISTENT;
}

CK_RV checkSize(const Object& key) {
    const std::optional<CK_ULONG> bits = key.number(CKA_MODULUS_BITS);
    if (!bits) {
        return CKR_TEMPLATE_INCOMPLETE;
    }
    return *bits < 512 || *bits > 8192 || *bits % 8 != 0 ? CKR_KEY_SIZE_RANGE : CKR_OK;
}

void completePair(Object& publicKey, Object& privateKey, unsigned pair) {
    constexpr CK_BBOOL kTrue = CK_TRUE;
    constexpr CK_BBOOL kFalse = CK_FALSE;
    const std::string modulus = makeModulus(*publicKey.number(CKA_MODULUS_BITS) / 8, pair);
    publicKey.setMissing(CKA_PUBLIC_EXPONENT, std::string_view("\1\0\1", 3));
    publicKey.set(CKA_MODULUS, modulus);
    privateKey.set(CKA_MODULUS, modulus);
    // Masked as it stands: a scan of memory must not find what the model copies.
    privateKey.setMissing(CKA_PUBLIC_EXPONENT, {});
    for (Attribute& attribute : privateKey.attributes) {
        if (attribute.type == CKA_PUBLIC_EXPONENT) {
            attribute.value = *publicKey.find(CKA_PUBLIC_EXPONENT);
        }
    }
    privateKey.setMissing(CKA_SENSITIVE, plain(kTrue));
    privateKey.setMissing(CKA_EXTRACTABLE, plain(kFalse));
    publicKey.set(CKA_LOCAL, plain(kTrue));
    privateKey.set(CKA_LOCAL, plain(kTrue));
}

bool isSigningMechanism(CK_MECHANISM_TYPE type) {
    return type == CKM_RSA_PKCS || type == CKM_RSA_X_509 || type == CKM_SHA1_RSA_PKCS || type == CKM_SHA256_RSA_PKCS ||
           type == CKM_SHA384_RSA_PKCS || type == CKM_SHA512_RSA_PKCS;
}

/// The block of the modulus's length: 00 01 FF … FF 00 and the data, every byte of it inverted (so that no copy of what
/// was signed lies about in memory); for plain RSA zeros before the data. Empty when it does not fit.
std::string makeBlock(std::string_view data, std::size_t length, bool padded) {
    if (data.size() + (padded ? 11 : 0) > length) {
        return {};
    }
    std::string block(length, padded ? '\xFF' : '\0');
    const std::size_t start = length - data.size();
    if (padded) {
        block[0] = 0x00;
        block[1] = 0x01;
        block[start - 1] = 0x00;
    }
    for (std::size_t i = 0; i < data.size(); ++i) {
        block[start + i] = static_cast<char>(~data[i]);
    }
    return block;
}

} // namespace

CK_RV act(State& state, Of<Function::C_GenerateKeyPair>, CK_SESSION_HANDLE handle, CK_MECHANISM* mechanism,
          CK_ATTRIBUTE* publicEntries, CK_ULONG publicCount, CK_ATTRIBUTE* privateEntries, CK_ULONG privateCount,
          CK_OBJECT_HANDLE* publicResult, CK_OBJECT_HANDLE* privateResult) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (mechanism == nullptr || publicResult == nullptr || privateResult == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    if (mechanism->mechanism != CKM_RSA_PKCS_KEY_PAIR_GEN) {
        return CKR_MECHANISM_INVALID;
    }
    Object publicKey;
    Object privateKey;
    CK_RV rv = readKey(publicEntries, publicCount, CKO_PUBLIC_KEY, publicKey);
    rv = rv != CKR_OK ? rv : readKey(privateEntries, privateCount, CKO_PRIVATE_KEY, privateKey);
    rv = rv != CKR_OK ? rv : checkSize(publicKey);
    rv = rv != CKR_OK ? rv : placeObject(state, *session, publicKey, false);
    rv = rv != CKR_OK ? rv : placeObject(state, *session, privateKey, true);
    if (rv != CKR_OK) {
        return rv;
    }
    completePair(publicKey, privateKey, ++state.keyPairs);
    *publicResult = state.addObject(std::move(publicKey)).handle;
    *privateResult = state.addObject(std::move(privateKey)).handle;
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_SignInit>, CK_SESSION_HANDLE handle, CK_MECHANISM* mechanism,
          CK_OBJECT_HANDLE keyHandle) {
    Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (session->signing) {
        return CKR_OPERATION_ACTIVE;
    }
    if (mechanism == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    if (!isSigningMechanism(mechanism->mechanism)) {
        return CKR_MECHANISM_INVALID;
    }
    const Object* key = state.object(*session, keyHandle);
    if (key == nullptr) {
        return CKR_KEY_HANDLE_INVALID;
    }
    const bool isRsa = key->number(CKA_CLASS) == CKO_PRIVATE_KEY &&
                       key->number(CKA_KEY_TYPE).value_or(CKK_RSA) == CKK_RSA && key->find(CKA_MODULUS) != nullptr;
    if (!isRsa) {
        return CKR_KEY_TYPE_INCONSISTENT;
    }
    if (!key->flag(CKA_SIGN, true)) {
        return CKR_KEY_FUNCTION_NOT_PERMITTED;
    }
    session->signing = Signing{mechanism->mechanism, keyHandle};
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_Sign>, CK_SESSION_HANDLE handle, CK_BYTE* data, CK_ULONG dataLength,
          CK_BYTE* signature, CK_ULONG* signatureLength) {
    Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (!session->signing) {
        return CKR_OPERATION_NOT_INITIALIZED;
    }
    const Signing signing = *session->signing;
    const Object* key = state.object(*session, signing.key);
    if (key == nullptr || signatureLength == nullptr || (data == nullptr && dataLength != 0)) {
        session->signing.reset();
        return key == nullptr ? CKR_KEY_HANDLE_INVALID : CKR_ARGUMENTS_BAD;
    }
    const std::size_t length = key->find(CKA_MODULUS)->size();
    const CK_ULONG room = *signatureLength;
    *signatureLength = static_cast<CK_ULONG>(length);
    if (signature == nullptr) {
        return CKR_OK;
    }
    if (room < length) {
        return CKR_BUFFER_TOO_SMALL;
    }
    session->signing.reset();
    const std::string block = makeBlock({reinterpret_cast<const char*>(data), static_cast<std::size_t>(dataLength)},
                                        length, signing.mechanism != CKM_RSA_X_509);
    if (block.empty()) {
        return CKR_DATA_LEN_RANGE;
    }
    std::copy(block.begin(), block.end(), signature);
    return CKR_OK;
}

} // namespace Fake
