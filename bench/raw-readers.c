/*
 * What "p11host readers" asks of a module, asked directly: the least that a program can take for it.
 * Usage: bench-raw-readers MODULE-FILE
 */
#include <dlfcn.h>
#include <stdio.h>

#include <p11-kit/pkcs11.h>

enum { kMostSlots = 256 };

static int print_readers(CK_FUNCTION_LIST *functions) {
    CK_SLOT_ID slots[kMostSlots];
    CK_ULONG count = 0;
    if (functions->C_GetSlotList(CK_FALSE, NULL, &count) != CKR_OK || count > kMostSlots ||
        functions->C_GetSlotList(CK_FALSE, slots, &count) != CKR_OK) {
        return 1;
    }
    for (CK_ULONG i = 0; i < count; ++i) {
        CK_SLOT_INFO slot;
        if (functions->C_GetSlotInfo(slots[i], &slot) != CKR_OK) {
            return 1;
        }
        printf("%.64s\n", (const char *)slot.slotDescription);
    }
    for (CK_ULONG i = 0; i < count; ++i) {
        CK_TOKEN_INFO token;
        if (functions->C_GetTokenInfo(slots[i], &token) == CKR_OK) {
            printf("%.32s %.16s\n", (const char *)token.label, (const char *)token.serialNumber);
        }
    }
    return 0;
}

int main(int argc, char **argv) {
    void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    CK_C_GetFunctionList get_function_list;
    CK_FUNCTION_LIST *functions;
    CK_C_INITIALIZE_ARGS arguments = {NULL, NULL, NULL, NULL, CKF_OS_LOCKING_OK, NULL};
    int status;
    if (library == NULL) {
        fputs("Usage: bench-raw-readers MODULE-FILE\n", stderr);
        return 2;
    }
    *(void **)&get_function_list = dlsym(library, "C_GetFunctionList");
    if (get_function_list == NULL || get_function_list(&functions) != CKR_OK ||
        functions->C_Initialize(&arguments) != CKR_OK) {
        return 1;
    }
    status = print_readers(functions);
    functions->C_Finalize(NULL);
    return status;
}
