/*
 * The measure of all others: the calls that the plug-in makes for the same job, one for one, and nothing else.
 * What it takes to list readers is measured with bench-raw-readers.
 */
#include "bench/peers/peer.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>

#include <p11-kit/pkcs11.h>

static CK_FUNCTION_LIST *s_functions;
static CK_SESSION_HANDLE s_session;

static void require_ok(CK_RV rv, const char *function) {
    peer_require(rv == CKR_OK, function);
}

static void open_module(const char *module_file) {
    void *library = dlopen(module_file, RTLD_NOW);
    CK_C_GetFunctionList get_function_list;
    CK_C_INITIALIZE_ARGS arguments = {NULL, NULL, NULL, NULL, CKF_OS_LOCKING_OK, NULL};
    CK_SLOT_ID slots[8];
    CK_ULONG count = sizeof slots / sizeof slots[0];
    peer_require(library != NULL, "dlopen");
    *(void **)&get_function_list = dlsym(library, "C_GetFunctionList");
    peer_require(get_function_list != NULL, "dlsym");
    require_ok(get_function_list(&s_functions), "C_GetFunctionList");
    require_ok(s_functions->C_Initialize(&arguments), "C_Initialize");
    require_ok(s_functions->C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    require_ok(s_functions->C_OpenSession(slots[0], CKF_SERIAL_SESSION | CKF_RW_SESSION, NULL, NULL, &s_session),
               "C_OpenSession");
}

static void close_module(void) {
    require_ok(s_functions->C_CloseSession(s_session), "C_CloseSession");
    require_ok(s_functions->C_Finalize(NULL), "C_Finalize");
}

static void log_in(const char *pin) {
    CK_UTF8CHAR bytes[64];
    const size_t length = strlen(pin);
    peer_require(length <= sizeof bytes, "PEER_PIN");
    memcpy(bytes, pin, length);
    require_ok(s_functions->C_Login(s_session, CKU_USER, bytes, length), "C_Login");
}

static void ask_session(void) {
    CK_SESSION_INFO info;
    require_ok(s_functions->C_GetSessionInfo(s_session, &info), "C_GetSessionInfo");
}

/* Zero when there is no more. */
static CK_OBJECT_HANDLE find_next(void) {
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    require_ok(s_functions->C_FindObjects(s_session, &object, 1, &count), "C_FindObjects");
    return count == 1 ? object : 0;
}

static CK_OBJECT_HANDLE find_key(void) {
    CK_OBJECT_CLASS object_class = CKO_PRIVATE_KEY;
    CK_BYTE id[] = {0x45, 0x01};
    CK_ATTRIBUTE searched[] = {{CKA_CLASS, &object_class, sizeof object_class}, {CKA_ID, id, sizeof id}};
    CK_OBJECT_HANDLE key;
    require_ok(s_functions->C_FindObjectsInit(s_session, searched, 2), "C_FindObjectsInit");
    key = find_next();
    require_ok(s_functions->C_FindObjectsFinal(s_session), "C_FindObjectsFinal");
    return key;
}

static size_t sign(unsigned char *signature) {
    CK_MECHANISM mechanism = {CKM_RSA_PKCS, NULL, 0};
    CK_BYTE data[sizeof kDigestInfo];
    CK_ULONG length = 0;
    ask_session();
    ask_session();
    memcpy(data, kDigestInfo, sizeof data);
    require_ok(s_functions->C_SignInit(s_session, &mechanism, find_key()), "C_SignInit");
    require_ok(s_functions->C_Sign(s_session, data, sizeof data, NULL, &length), "C_Sign");
    length = kMostSignatureBytes;
    require_ok(s_functions->C_Sign(s_session, data, sizeof data, signature, &length), "C_Sign");
    return length;
}

/* The lengths first, then the bytes. */
static size_t read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE *attributes, CK_ULONG count) {
    size_t bytes = 0;
    require_ok(s_functions->C_GetAttributeValue(s_session, object, attributes, count), "C_GetAttributeValue");
    for (CK_ULONG i = 0; i < count; ++i) {
        attributes[i].pValue = malloc(attributes[i].ulValueLen);
    }
    require_ok(s_functions->C_GetAttributeValue(s_session, object, attributes, count), "C_GetAttributeValue");
    for (CK_ULONG i = 0; i < count; ++i) {
        bytes += attributes[i].ulValueLen;
        free(attributes[i].pValue);
    }
    return bytes;
}

static size_t read_certificates(int whole) {
    static const CK_ATTRIBUTE_TYPE kTypes[] = {CKA_VALUE, CKA_LABEL, CKA_ID};
    const CK_ULONG count = whole ? 3 : 1;
    CK_OBJECT_CLASS object_class = CKO_CERTIFICATE;
    CK_ATTRIBUTE searched = {CKA_CLASS, &object_class, sizeof object_class};
    CK_ATTRIBUTE attributes[3];
    size_t bytes = 0;
    ask_session();
    require_ok(s_functions->C_FindObjectsInit(s_session, &searched, 1), "C_FindObjectsInit");
    for (CK_OBJECT_HANDLE object = find_next(); object != 0; object = find_next()) {
        for (CK_ULONG i = 0; i < count; ++i) {
            attributes[i] = (CK_ATTRIBUTE){kTypes[i], NULL, 0};
        }
        bytes += read_attributes(object, attributes, count);
    }
    require_ok(s_functions->C_FindObjectsFinal(s_session), "C_FindObjectsFinal");
    return bytes;
}

static void list_readers(void) {
    peer_require(0, "Use bench-raw-readers; this");
}

const struct Peer kPeer = {.open = open_module,
                           .list_readers = list_readers,
                           .log_in = log_in,
                           .sign = sign,
                           .read = read_certificates,
                           .close = close_module};
