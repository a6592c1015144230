#include "tests/fake/AttributeKinds.h"
#include "tests/fake/module/Model.h"

#include <algorithm>
#include <array>

namespace Fake {

namespace {

using Bytes = std::string_view;
constexpr Bytes kTrue("\1", 1);
constexpr Bytes kFalse("\0", 1);

Bytes valueOf(const CK_ATTRIBUTE& entry) {
    return {static_cast<const char*>(entry.pValue), static_cast<std::size_t>(entry.ulValueLen)};
}

bool isWellFormed(const CK_ATTRIBUTE& entry) {
    if (entry.ulValueLen == CK_UNAVAILABLE_INFORMATION || (entry.pValue == nullptr && entry.ulValueLen != 0)) {
        return false;
    }
    switch (attributeType(entry.type).kind) {
    case AttributeKind::Number:
        return entry.ulValueLen == sizeof(CK_ULONG);
    case AttributeKind::Boolean:
        return entry.ulValueLen == sizeof(CK_BBOOL);
    default:
        return true;
    }
}

/// What an object of its class cannot be without.
bool isComplete(const Object& object) {
    const auto has = [&object](CK_ATTRIBUTE_TYPE type) { return object.find(type) != nullptr; };
    switch (object.number(CKA_CLASS).value_or(CKO_DATA)) {
    case CKO_CERTIFICATE:
        return has(CKA_CERTIFICATE_TYPE) && has(CKA_VALUE);
    case CKO_PUBLIC_KEY:
        return has(CKA_KEY_TYPE) && has(CKA_MODULUS) && has(CKA_PUBLIC_EXPONENT);
    case CKO_PRIVATE_KEY:
        return has(CKA_KEY_TYPE) && has(CKA_MODULUS) && has(CKA_PRIVATE_EXPONENT);
    default:
        return true;
    }
}

bool isSensitive(const Object& object, CK_ATTRIBUTE_TYPE type) {
    constexpr std::array kSecret = {CKA_PRIVATE_EXPONENT, CKA_PRIME_1,    CKA_PRIME_2,
                                    CKA_EXPONENT_1,       CKA_EXPONENT_2, CKA_COEFFICIENT};
    return object.number(CKA_CLASS) == CKO_PRIVATE_KEY &&
           std::find(kSecret.begin(), kSecret.end(), type) != kSecret.end() &&
           (object.flag(CKA_SENSITIVE, false) || !object.flag(CKA_EXTRACTABLE, true));
}

bool isFixed(CK_ATTRIBUTE_TYPE type) {
    constexpr std::array kFixed = {CKA_CLASS,   CKA_TOKEN,        CKA_PRIVATE,         CKA_CERTIFICATE_TYPE,
                                   CKA_VALUE,   CKA_KEY_TYPE,     CKA_MODIFIABLE,      CKA_LOCAL,
                                   CKA_MODULUS, CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT};
    return std::find(kFixed.begin(), kFixed.end(), type) != kFixed.end();
}

bool matches(const Object& object, const CK_ATTRIBUTE* entries, CK_ULONG count) {
    return std::all_of(entries, entries + count, [&object](const CK_ATTRIBUTE& entry) {
        const Masked* value = object.find(entry.type);
        return value != nullptr && value->equals(valueOf(entry));
    });
}

CK_RV copyOut(const Object& object, CK_ATTRIBUTE& entry) {
    const Masked* value = object.find(entry.type);
    const CK_ULONG room = entry.ulValueLen;
    entry.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    if (isSensitive(object, entry.type)) {
        return CKR_ATTRIBUTE_SENSITIVE;
    }
    if (value == nullptr) {
        return CKR_ATTRIBUTE_TYPE_INVALID;
    }
    if (entry.pValue != nullptr) {
        if (room < value->size()) {
            return CKR_BUFFER_TOO_SMALL;
        }
        value->copyTo(entry.pValue);
    }
    entry.ulValueLen = static_cast<CK_ULONG>(value->size());
    return CKR_OK;
}

} // namespace

CK_RV readTemplate(const CK_ATTRIBUTE* entries, CK_ULONG count, Object& object) {
    if (entries == nullptr && count != 0) {
        return CKR_ARGUMENTS_BAD;
    }
    for (CK_ULONG i = 0; i < count; ++i) {
        if (!isWellFormed(entries[i])) {
            return CKR_ATTRIBUTE_VALUE_INVALID;
        }
        if (object.find(entries[i].type) != nullptr) {
            return CKR_TEMPLATE_INCONSISTENT;
        }
        object.set(entries[i].type, valueOf(entries[i]));
    }
    return CKR_OK;
}

CK_RV placeObject(State& state, const Session& session, Object& object, bool privateByDefault) {
    object.slot = session.slot;
    object.setMissing(CKA_TOKEN, kFalse);
    object.setMissing(CKA_PRIVATE, privateByDefault ? kTrue : kFalse);
    object.setMissing(CKA_MODIFIABLE, kTrue);
    if (!object.flag(CKA_TOKEN, false)) {
        object.owner = session.handle;
    } else if (!session.isReadWrite()) {
        return CKR_SESSION_READ_ONLY;
    }
    if (object.flag(CKA_PRIVATE, false) && state.slotOf(session).token.login != Role::User) {
        return CKR_USER_NOT_LOGGED_IN;
    }
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_CreateObject>, CK_SESSION_HANDLE handle, CK_ATTRIBUTE* entries, CK_ULONG count,
          CK_OBJECT_HANDLE* result) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (result == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    Object object;
    CK_RV rv = readTemplate(entries, count, object);
    if (rv != CKR_OK) {
        return rv;
    }
    if (object.find(CKA_CLASS) == nullptr || !isComplete(object)) {
        return CKR_TEMPLATE_INCOMPLETE;
    }
    rv = placeObject(state, *session, object, object.number(CKA_CLASS) == CKO_PRIVATE_KEY);
    if (rv == CKR_OK) {
        *result = state.addObject(std::move(object)).handle;
    }
    return rv;
}

CK_RV act(State& state, Of<Function::C_DestroyObject>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    const Object* object = state.object(*session, objectHandle);
    if (object == nullptr) {
        return CKR_OBJECT_HANDLE_INVALID;
    }
    if (!object->owner && !session->isReadWrite()) {
        return CKR_SESSION_READ_ONLY;
    }
    std::erase_if(state.objects, [objectHandle](const Object& other) { return other.handle == objectHandle; });
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_GetAttributeValue>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle,
          CK_ATTRIBUTE* entries, CK_ULONG count) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    const Object* object = state.object(*session, objectHandle);
    if (object == nullptr) {
        return CKR_OBJECT_HANDLE_INVALID;
    }
    if (entries == nullptr && count != 0) {
        return CKR_ARGUMENTS_BAD;
    }
    CK_RV result = CKR_OK;
    for (CK_ULONG i = 0; i < count; ++i) {
        const CK_RV rv = copyOut(*object, entries[i]);
        result = rv != CKR_OK ? rv : result;
    }
    return result;
}

CK_RV act(State& state, Of<Function::C_SetAttributeValue>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle,
          CK_ATTRIBUTE* entries, CK_ULONG count) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    Object* object = state.object(*session, objectHandle);
    if (object == nullptr) {
        return CKR_OBJECT_HANDLE_INVALID;
    }
    if (!object->owner && !session->isReadWrite()) {
        return CKR_SESSION_READ_ONLY;
    }
    if (!object->flag(CKA_MODIFIABLE, true)) {
        return CKR_ATTRIBUTE_READ_ONLY;
    }
    Object changes;
    const CK_RV rv = readTemplate(entries, count, changes);
    if (rv != CKR_OK) {
        return rv;
    }
    for (const Attribute& change : changes.attributes) {
        if (isFixed(change.type)) {
            return CKR_ATTRIBUTE_READ_ONLY;
        }
    }
    for (CK_ULONG i = 0; i < count; ++i) {
        object->set(entries[i].type, valueOf(entries[i]));
    }
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_FindObjectsInit>, CK_SESSION_HANDLE handle, CK_ATTRIBUTE* entries,
          CK_ULONG count) {
    Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (session->search) {
        return CKR_OPERATION_ACTIVE;
    }
    if (entries == nullptr && count != 0) {
        return CKR_ARGUMENTS_BAD;
    }
    if (!std::all_of(entries, entries + count, [](const CK_ATTRIBUTE& entry) {
            return entry.ulValueLen != CK_UNAVAILABLE_INFORMATION && (entry.pValue != nullptr || entry.ulValueLen == 0);
        })) {
        return CKR_ATTRIBUTE_VALUE_INVALID;
    }
    Search search;
    for (const Object& object : state.objects) {
        if (state.isVisible(*session, object) && matches(object, entries, count)) {
            search.found.push_back(object.handle);
        }
    }
    session->search = std::move(search);
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_FindObjects>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE* found, CK_ULONG room,
          CK_ULONG* foundCount) {
    Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (foundCount == nullptr || (found == nullptr && room != 0)) {
        return CKR_ARGUMENTS_BAD;
    }
    if (!session->search) {
        return CKR_OPERATION_NOT_INITIALIZED;
    }
    Search& search = *session->search;
    CK_ULONG written = 0;
    while (written < room && search.next < search.found.size()) {
        const CK_OBJECT_HANDLE next = search.found[search.next++];
        if (state.object(*session, next) != nullptr) {
            found[written++] = next;
        }
    }
    *foundCount = written;
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_FindObjectsFinal>, CK_SESSION_HANDLE handle) {
    Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (!session->search) {
        return CKR_OPERATION_NOT_INITIALIZED;
    }
    session->search.reset();
    return CKR_OK;
}

} // namespace Fake
