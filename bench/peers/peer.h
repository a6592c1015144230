#pragma once

#include <stddef.h>

// What a peer written in C or C++ brings along. peer.c is its main program: it takes the times and prints them.

#ifdef __cplusplus
extern "C" {
#endif

enum { kMostSignatureBytes = 512 };

/// Each ends the program when it fails, or when the peer has no way to do it.
struct Peer {
    /// Loads the module, initialises it and finds the first token.
    void (*open)(const char* module_file);
    /// Prints them to standard output.
    void (*list_readers)(void);
    void (*log_in)(const char* pin);
    /// Finds the key 4501 and signs kDigestInfo with it. Returns the number of bytes written.
    size_t (*sign)(unsigned char* signature);
    /// Reads the values of all certificates, and their labels and identifiers, too, when `whole` is not 0. Returns the
    /// number of bytes read.
    size_t (*read)(int whole);
    void (*close)(void);
};

extern const struct Peer kPeer;

/// What is signed: a SHA-256 digest of 32 bytes 42, as it stands in a signature.
extern const unsigned char kDigestInfo[51];

/// Ends the program with a message unless `ok`.
void peer_require(int ok, const char* what);

#ifdef __cplusplus
}
#endif
