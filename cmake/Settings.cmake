# Compiler settings for everything we build.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Reading the headers and making what their templates ask for is most of what compiling a source takes, so many share it.
# What stands in an unnamed namespace therefore has a name of its own within its target. Who works on one source for long
# turns this off.
option(CMAKE_UNITY_BUILD "Compile the sources of a target several at a time" ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 32)
# Users wait for the token, and -O3 takes a fifth longer to compile.
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")

# On Windows a program finds its libraries beside itself.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
if(WIN32)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
else()
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  # Of the build folder, too: CMake would pad the paths there with empty ones, for which the loader takes the current
  # directory.
  set(CMAKE_INSTALL_RPATH "$ORIGIN:$ORIGIN/../lib")
  set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
endif()
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/archive)
# Where programs are installed; on Windows together with the libraries, in a folder for each compiler family of hosts.
if(MINGW)
  set(install_programs gcc)
elseif(WIN32)
  set(install_programs microsoft)
else()
  set(install_programs bin)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
endif()

if(MSVC)
  add_compile_options(/W4 /permissive- /utf-8 /EHsc /Zc:__cplusplus)
else()
  add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fstack-protector-strong)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Objects that cross a library's border are destroyed through a slot with a fixed place, never through a virtual
  # destructor: its place would be the compiler's choice.
  add_compile_options(-Wno-delete-non-abstract-non-virtual-dtor)
endif()
if(CMAKE_CROSSCOMPILING AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # In the ABI of Microsoft's compiler the types of an unnamed namespace are named after a hash of the source's path, as
  # the compiler is given it: here by a path that is the same wherever this tree and what is built of it are.
  file(CREATE_LINK ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/source SYMBOLIC)
  string(JOIN " " CMAKE_CXX_COMPILE_OBJECT "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -o <OBJECT> -c"
         "\"$$(realpath -s <SOURCE> | sed -e 's|^${PROJECT_BINARY_DIR}/||' -e 's|^${PROJECT_SOURCE_DIR}/|source/|')\"")
endif()
if(WIN32)
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  if(MINGW)
    # So many sources in one unit make more sections than the usual format of an object has numbers for.
    add_compile_options(-Wa,-mbig-obj)
    # No time of the build in the files: the same sources make the same bytes.
    add_link_options(-static -static-libgcc -static-libstdc++ -Wl,--no-insert-timestamp
                     -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va)
    add_library(stack-guard STATIC ${PROJECT_SOURCE_DIR}/platform/windows/gnu/StackGuard.c)
    link_libraries(stack-guard)
  else()
    add_link_options(LINKER:/dynamicbase,/nxcompat,/highentropyva,/Brepro)
  endif()
else()
  add_compile_options(-fstack-clash-protection)
  add_link_options(-Wl,-z,relro,-z,now -Wl,--no-undefined)
  if(NOT ZEL_SANITIZE)
    # The sanitizers look at the same calls themselves; without optimisation the checks are not made.
    add_compile_options($<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=3>)
  endif()
endif()
if(ZEL_FUZZ)
  # Everything tells the fuzzer which way it went; only the fuzzers themselves link its main.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ZEL_SANITIZE)
  add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZEL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # The sanitizers' runtime stands only in the program; a library may leave it open.
    get_directory_property(options LINK_OPTIONS)
    list(REMOVE_ITEM options "-Wl,--no-undefined")
    set_directory_properties(PROPERTIES LINK_OPTIONS "${options}")
  endif()
endif()
