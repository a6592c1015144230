#pragma once

// libc++ has operations of this name, which the system's macro would replace.
#include <windows.h>
#undef DeleteFile
