#pragma once
#include_next <crtdbg.h>

// Nothing is reported by a release runtime.
#ifndef _CRTDBG_FILE_STDERR
#define _CRTDBG_FILE_STDERR ((void*)-5)
#endif
#ifndef _CrtSetReportFile
#define _CrtSetReportFile(type, file) ((void*)0)
#endif
