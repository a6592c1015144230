# Cross-building for Windows x64 in the ABI of Microsoft's compiler: clang and lld, libc++, the headers and import
# libraries of Wine, and what cmake/msvc makes of them under build/msvc-sdk.
set(glue ${CMAKE_CURRENT_LIST_DIR}/msvc)
get_filename_component(sdk ${CMAKE_CURRENT_LIST_DIR}/../build/msvc-sdk ABSOLUTE)
set(wine_headers /usr/include/wine/wine)

# The SDK's own build uses this file, too.
if(NOT ZEL_MSVC_SDK AND NOT CMAKE_PROJECT_NAME STREQUAL "CMAKE_TRY_COMPILE")
  execute_process(COMMAND ${glue}/make-sdk RESULT_VARIABLE status ERROR_VARIABLE reason)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${reason}")
  endif()
endif()

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_ASM_COMPILER clang-19)
foreach(language C CXX ASM)
  set(CMAKE_${language}_COMPILER_TARGET x86_64-pc-windows-msvc19.29)
endforeach()
set(CMAKE_AR llvm-ar-19)
set(CMAKE_STRIP llvm-strip-19)
set(CMAKE_LINKER lld-link-19)
set(CMAKE_RC_COMPILER llvm-rc-19)
# The runtime is named below; CMake must not choose one of its own.
set(CMAKE_MSVC_RUNTIME_LIBRARY "")

# The system's own headers would be found otherwise. Wine's wchar_t is Windows's only where it is asked to be. The folders
# of this tree may have blanks in their names.
string(JOIN " " c_headers
  "-nostdinc -isystem \"${glue}/headers\" -isystem /usr/lib/llvm-19/lib/clang/19/include"
  "-isystem ${wine_headers}/msvcrt -isystem ${wine_headers}/windows"
  "-DWINE_UNICODE_NATIVE -D_UCRT -D_DLL -D_MT -D_HAS_EXCEPTIONS=1")
set(CMAKE_C_FLAGS_INIT "${c_headers}")
set(CMAKE_CXX_FLAGS_INIT "-nostdinc -isystem \"${sdk}/config\" -isystem \"${sdk}/source/libcxx/include\" ${c_headers}")
set(CMAKE_RC_FLAGS_INIT "-I ${wine_headers}/windows -I ${wine_headers}/msvcrt")

set(link_flags "-nostdlib -L\"${sdk}/lib\"")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags} -Wl,/subsystem:console,/entry:mainCRTStartup")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${link_flags}")
# The runtime comes before the C library: it takes the place of some of its functions.
set(libraries "-llibc++ -lruntime -lvcruntime140 -lucrtbase -lmsvcp140 -lkernel32 -ladvapi32 -luser32 -lshell32")
set(CMAKE_C_STANDARD_LIBRARIES "${libraries}" CACHE STRING "Linked into everything")
set(CMAKE_CXX_STANDARD_LIBRARIES "${libraries}" CACHE STRING "Linked into everything")

if(ZEL_MSVC_SDK)
  # There is nothing yet to link with.
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
endif()
set(CMAKE_FIND_ROOT_PATH ${sdk})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Lets CTest run what was built.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine)
