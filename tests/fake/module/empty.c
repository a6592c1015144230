/* A library without C_GetFunctionList. */

#if defined(_WIN32)
__declspec(dllexport)
#else
__attribute__((visibility("default")))
#endif
int p11emptyMarker(void);

int p11emptyMarker(void) {
    return 0;
}
