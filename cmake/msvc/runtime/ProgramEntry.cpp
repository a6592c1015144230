// Where the system enters a program.

#include <corecrt_startup.h>
#include <stdlib.h>

#include "Beginnings.h"
#include "Cookie.h"

int main(int argc, char** argv);

extern "C" {

_ACRTIMP int* __cdecl __p___argc();
_ACRTIMP char*** __cdecl __p___argv();

void __cdecl mainCRTStartup() {
    chooseCookie();
    _set_app_type(_crt_console_app);
    _configure_narrow_argv(_crt_argv_unexpanded_arguments);
    _initialize_narrow_environment();
    constexpr int kFailed = 255;
    if (!runInitialisers()) {
        _exit(kFailed);
    }
    exit(main(*__p___argc(), *__p___argv()));
}

} // extern "C"
