/*
 * Drives one peer: PEER MODULE-FILE readers
 *                  PEER MODULE-FILE sign|values|objects COUNT
 * The job is done once, whose result is printed ("result", then the signature or the number of bytes read), and COUNT
 * times more, whose times are printed ("time", then microseconds). The user PIN comes from the environment (PEER_PIN).
 */
#include "bench/peers/peer.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

const unsigned char kDigestInfo[51] = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04,
                                       0x02, 0x01, 0x05, 0x00, 0x04, 0x20, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42,
                                       0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42,
                                       0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42};

void peer_require(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "%s failed\n", what);
        exit(1);
    }
}

/* Of the processor: token and caller are one process, and what other programs take does not count. */
static double microseconds(void) {
    return (double)clock() * 1e6 / CLOCKS_PER_SEC;
}

static void sign_once(int prints) {
    unsigned char signature[kMostSignatureBytes];
    const size_t length = kPeer.sign(signature);
    if (prints) {
        printf("result\t");
        for (size_t i = 0; i < length; ++i) {
            printf("%02X", signature[i]);
        }
        printf("\n");
    }
}

static void read_once(int whole, int prints) {
    const size_t bytes = kPeer.read(whole);
    if (prints) {
        printf("result\t%zu\n", bytes);
    }
}

static void do_once(const char *job, int prints) {
    if (strcmp(job, "sign") == 0) {
        sign_once(prints);
    } else {
        read_once(strcmp(job, "objects") == 0, prints);
    }
}

static void do_times(const char *job, long count) {
    do_once(job, 1);
    for (long i = 0; i < count; ++i) {
        const double begin = microseconds();
        do_once(job, 0);
        printf("time\t%.1f\n", microseconds() - begin);
    }
}

static int is_job(const char *word) {
    return strcmp(word, "readers") == 0 || strcmp(word, "sign") == 0 || strcmp(word, "values") == 0 ||
           strcmp(word, "objects") == 0;
}

int main(int argc, char **argv) {
    const char *pin = getenv("PEER_PIN");
    if (argc < 3 || !is_job(argv[2])) {
        fputs("Usage: PEER MODULE-FILE readers | sign|values|objects COUNT\n", stderr);
        return 2;
    }
    kPeer.open(argv[1]);
    if (strcmp(argv[2], "readers") == 0) {
        kPeer.list_readers();
    } else {
        if (strcmp(argv[2], "sign") == 0) {
            peer_require(pin != NULL, "PEER_PIN");
            kPeer.log_in(pin);
        }
        do_times(argv[2], argc > 3 ? strtol(argv[3], NULL, 10) : 0);
    }
    kPeer.close();
    return 0;
}
