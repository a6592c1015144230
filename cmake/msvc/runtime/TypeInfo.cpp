// What every type_info object and every floating-point number of a module refers to.

#include <stdlib.h>
#include <windows.h>

#include <vcruntime_typeinfo.h>

/// Where the runtime library keeps the readable names that it made.
struct __type_info_node {
    SLIST_HEADER head;
};
alignas(MEMORY_ALLOCATION_ALIGNMENT) __type_info_node __type_info_root_node;

extern "C" {

int _fltused = 0x9875;

[[noreturn]] static void noTypeInfoEnds() {
    abort();
}
/// The table of type_info. The compiler refers to it and makes none, for nobody constructs such an object.
extern const void* const g_typeInfoTable[] __asm__("??_7type_info@@6B@") = {
    reinterpret_cast<const void*>(&noTypeInfoEnds)};

} // extern "C"
