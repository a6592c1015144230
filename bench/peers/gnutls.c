/* GnuTLS names objects by URL, and opens a session for each thing that it is asked to do. */
#include "bench/peers/peer.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <gnutls/abstract.h>
#include <gnutls/gnutls.h>
#include <gnutls/pkcs11.h>

static const char *s_pin;
static char s_key_url[512];
static char s_certificates_url[512];
static gnutls_privkey_t s_key;

static void open_module(const char *module_file) {
    char *token_url = NULL;
    peer_require(gnutls_pkcs11_init(GNUTLS_PKCS11_FLAG_MANUAL, NULL) == 0, "gnutls_pkcs11_init");
    peer_require(gnutls_pkcs11_add_provider(module_file, NULL) == 0, "gnutls_pkcs11_add_provider");
    peer_require(gnutls_pkcs11_token_get_url(0, GNUTLS_PKCS11_URL_GENERIC, &token_url) == 0,
                 "gnutls_pkcs11_token_get_url");
    snprintf(s_key_url, sizeof s_key_url, "%s;id=%%45%%01;type=private", token_url);
    snprintf(s_certificates_url, sizeof s_certificates_url, "%s;type=cert", token_url);
    gnutls_free(token_url);
}

static void close_module(void) {
    if (s_key != NULL) {
        gnutls_privkey_deinit(s_key);
    }
    gnutls_pkcs11_deinit();
}

/* The tokens, rather: readers have no names here. */
static void list_readers(void) {
    char *url = NULL;
    for (unsigned int i = 0; gnutls_pkcs11_token_get_url(i, GNUTLS_PKCS11_URL_GENERIC, &url) == 0; ++i) {
        printf("%s\n", url);
        gnutls_free(url);
    }
}

static int answer_pin(void *user, int attempt, const char *url, const char *label, unsigned int flags, char *pin,
                      size_t most) {
    (void)user;
    (void)attempt;
    (void)url;
    (void)label;
    (void)flags;
    snprintf(pin, most, "%s", s_pin);
    return 0;
}

static gnutls_privkey_t find_key(void) {
    gnutls_privkey_t key = NULL;
    peer_require(gnutls_privkey_init(&key) == 0, "gnutls_privkey_init");
    peer_require(gnutls_privkey_import_url(key, s_key_url, 0) == 0, "gnutls_privkey_import_url");
    return key;
}

/* A login lasts as long as a session does, and a key holds its session. */
static void log_in(const char *pin) {
    s_pin = pin;
    gnutls_pkcs11_set_pin_function(answer_pin, NULL);
    s_key = find_key();
}

/* The 51 bytes that are signed are made from the digest by the library. */
static size_t sign(unsigned char *signature) {
    unsigned char digest[32];
    const gnutls_datum_t hash = {digest, sizeof digest};
    gnutls_datum_t signed_hash = {NULL, 0};
    gnutls_privkey_t key = find_key();
    size_t length;
    memcpy(digest, kDigestInfo + sizeof kDigestInfo - sizeof digest, sizeof digest);
    peer_require(gnutls_privkey_sign_hash(key, GNUTLS_DIG_SHA256, 0, &hash, &signed_hash) == 0,
                 "gnutls_privkey_sign_hash");
    length = signed_hash.size;
    peer_require(length <= kMostSignatureBytes, "the signature's length");
    memcpy(signature, signed_hash.data, length);
    gnutls_free(signed_hash.data);
    gnutls_privkey_deinit(key);
    return length;
}

static size_t info_bytes(gnutls_pkcs11_obj_t object, gnutls_pkcs11_obj_info_t type) {
    char info[256];
    size_t bytes = sizeof info;
    peer_require(gnutls_pkcs11_obj_get_info(object, type, info, &bytes) == 0, "gnutls_pkcs11_obj_get_info");
    return bytes;
}

static size_t read_certificates(int whole) {
    gnutls_pkcs11_obj_t *objects = NULL;
    unsigned int count = 0;
    size_t bytes = 0;
    peer_require(gnutls_pkcs11_obj_list_import_url4(&objects, &count, s_certificates_url, 0) == 0,
                 "gnutls_pkcs11_obj_list_import_url4");
    for (unsigned int i = 0; i < count; ++i) {
        gnutls_datum_t value = {NULL, 0};
        peer_require(gnutls_pkcs11_obj_export2(objects[i], &value) == 0, "gnutls_pkcs11_obj_export2");
        bytes += value.size;
        gnutls_free(value.data);
        if (whole) {
            bytes += info_bytes(objects[i], GNUTLS_PKCS11_OBJ_LABEL) + info_bytes(objects[i], GNUTLS_PKCS11_OBJ_ID);
        }
        gnutls_pkcs11_obj_deinit(objects[i]);
    }
    gnutls_free(objects);
    return bytes;
}

const struct Peer kPeer = {.open = open_module,
                           .list_readers = list_readers,
                           .log_in = log_in,
                           .sign = sign,
                           .read = read_certificates,
                           .close = close_module};
