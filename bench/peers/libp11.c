/* libp11 has no search: it lists all private keys, and reads each certificate whole, once for each list of slots. */
#include "bench/peers/peer.h"

#include <stdio.h>
#include <string.h>

#include <libp11.h>
#include <openssl/rsa.h>

static PKCS11_CTX *s_context;
static PKCS11_SLOT *s_slots;
static unsigned int s_slot_count;
static PKCS11_SLOT *s_slot;

static void list_slots(void) {
    peer_require(PKCS11_enumerate_slots(s_context, &s_slots, &s_slot_count) == 0, "PKCS11_enumerate_slots");
    s_slot = PKCS11_find_token(s_context, s_slots, s_slot_count);
    peer_require(s_slot != NULL && s_slot->token != NULL, "PKCS11_find_token");
}

static void open_module(const char *module_file) {
    s_context = PKCS11_CTX_new();
    peer_require(s_context != NULL && PKCS11_CTX_load(s_context, module_file) == 0, "PKCS11_CTX_load");
    list_slots();
}

static void close_module(void) {
    PKCS11_release_all_slots(s_context, s_slots, s_slot_count);
    PKCS11_CTX_unload(s_context);
    PKCS11_CTX_free(s_context);
}

static void list_readers(void) {
    for (unsigned int i = 0; i < s_slot_count; ++i) {
        const PKCS11_TOKEN *token = s_slots[i].token;
        printf("%s %s %s\n", s_slots[i].description, token == NULL ? "" : token->label,
               token == NULL ? "" : token->serialnr);
    }
}

static void log_in(const char *pin) {
    peer_require(PKCS11_login(s_slot, 0, pin) == 0, "PKCS11_login");
}

static PKCS11_KEY *find_key(void) {
    static const unsigned char kId[] = {0x45, 0x01};
    PKCS11_KEY *keys = NULL;
    unsigned int count = 0;
    peer_require(PKCS11_enumerate_keys(s_slot->token, &keys, &count) == 0, "PKCS11_enumerate_keys");
    for (unsigned int i = 0; i < count; ++i) {
        if (keys[i].id_len == sizeof kId && memcmp(keys[i].id, kId, sizeof kId) == 0) {
            return &keys[i];
        }
    }
    peer_require(0, "finding the key");
    return NULL;
}

static size_t sign(unsigned char *signature) {
    const int length =
        PKCS11_private_encrypt(sizeof kDigestInfo, kDigestInfo, signature, find_key(), RSA_PKCS1_PADDING);
    peer_require(length > 0, "PKCS11_private_encrypt");
    return (size_t)length;
}

static size_t read_certificates(int whole) {
    PKCS11_CERT *certificates = NULL;
    unsigned int count = 0;
    size_t bytes = 0;
    /* What was read is kept with the list of slots, so that only a new list reads again. */
    PKCS11_release_all_slots(s_context, s_slots, s_slot_count);
    list_slots();
    peer_require(PKCS11_enumerate_certs(s_slot->token, &certificates, &count) == 0, "PKCS11_enumerate_certs");
    for (unsigned int i = 0; i < count; ++i) {
        bytes += (size_t)i2d_X509(certificates[i].x509, NULL);
        bytes += whole ? strlen(certificates[i].label) + certificates[i].id_len : 0;
    }
    return bytes;
}

const struct Peer kPeer = {.open = open_module,
                           .list_readers = list_readers,
                           .log_in = log_in,
                           .sign = sign,
                           .read = read_certificates,
                           .close = close_module};
