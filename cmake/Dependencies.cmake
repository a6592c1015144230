# The headers of Debian's packages that we use. Header-only ones serve the Windows build too: there they are copied into
# a folder of their own, for the system's include folder itself must never stand on a cross-compiler's path.
set(headers ${PROJECT_BINARY_DIR}/headers)
find_path(P11KIT_HEADERS p11-kit/pkcs11.h PATHS /usr/include/p11-kit-1 NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(JSON_HEADERS nlohmann/json.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(CLI11_HEADERS CLI/CLI.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)

add_library(cryptoki-headers INTERFACE)
add_library(host-headers INTERFACE)
if(WIN32)
  file(COPY ${P11KIT_HEADERS}/p11-kit/pkcs11.h DESTINATION ${headers}/cryptoki/p11-kit)
  file(COPY ${JSON_HEADERS}/nlohmann DESTINATION ${headers}/host)
  file(COPY ${CLI11_HEADERS}/CLI DESTINATION ${headers}/host)
  target_include_directories(cryptoki-headers SYSTEM INTERFACE ${headers}/cryptoki)
  target_include_directories(host-headers SYSTEM INTERFACE ${headers}/host)
else()
  target_include_directories(cryptoki-headers SYSTEM INTERFACE ${P11KIT_HEADERS})
endif()

# Certificates, requests, keys and hashes of p11host.
if(ZEL_CARD)
  add_library(botan INTERFACE)
  target_compile_definitions(botan INTERFACE BOTAN_NO_DEPRECATED_WARNINGS)
  if(WIN32)
    set(botan ${PROJECT_SOURCE_DIR}/build/botan-windows)
    add_custom_command(OUTPUT ${botan}/libbotan-2.a COMMAND ${CMAKE_CURRENT_LIST_DIR}/build-botan
                       DEPENDS ${CMAKE_CURRENT_LIST_DIR}/build-botan COMMENT "Building Botan for Windows" VERBATIM)
    add_custom_target(botan-windows DEPENDS ${botan}/libbotan-2.a)
    add_dependencies(botan botan-windows)
    target_include_directories(botan SYSTEM INTERFACE ${botan}/include)
    target_link_libraries(botan INTERFACE ${botan}/libbotan-2.a ws2_32 crypt32)
  else()
    # The archive: what we ship works where it is unpacked, on systems without the library.
    find_path(BOTAN_HEADERS botan/x509cert.h PATHS /usr/include/botan-2 NO_DEFAULT_PATH REQUIRED)
    find_library(BOTAN_ARCHIVE libbotan-2.a REQUIRED)
    target_include_directories(botan SYSTEM INTERFACE ${BOTAN_HEADERS})
    target_link_libraries(botan INTERFACE ${BOTAN_ARCHIVE})
    # Debian's archive has sixty megabytes of debugging information for what we take of it.
    target_link_options(botan INTERFACE $<$<CONFIG:Release>:LINKER:--strip-debug>)
  endif()
endif()

# The database that holds the issuing desk's journal, through SOCI. SQLite is in the program itself; SOCI's way to
# PostgreSQL is a library of the system, which is loaded by this name when a desk is there: nobody else needs it.
if(ZEL_DESK)
  add_library(desk-database INTERFACE)
  if(WIN32)
    set(soci ${PROJECT_SOURCE_DIR}/build/soci-windows)
    add_custom_command(OUTPUT ${soci}/libsoci.a ${soci}/libsqlite3.a COMMAND ${CMAKE_CURRENT_LIST_DIR}/build-soci
                       DEPENDS ${CMAKE_CURRENT_LIST_DIR}/build-soci COMMENT "Building SQLite and SOCI for Windows"
                       VERBATIM)
    add_custom_target(soci-windows DEPENDS ${soci}/libsoci.a)
    add_dependencies(desk-database soci-windows)
    target_include_directories(desk-database SYSTEM INTERFACE ${soci}/include)
    target_link_libraries(desk-database INTERFACE ${soci}/libsoci.a ${soci}/libsqlite3.a)
    set(desk_postgresql "")
  else()
    # The archives, as above. SOCI's headers ask for Boost's, for conversions that nothing here uses, unless its list of
    # what it was built with leaves Boost out; only templates depend on that.
    find_path(SOCI_HEADERS soci/soci.h PATHS /usr/include NO_DEFAULT_PATH REQUIRED)
    find_library(SOCI_CORE_ARCHIVE libsoci_core.a REQUIRED)
    find_library(SOCI_SQLITE_ARCHIVE libsoci_sqlite3.a REQUIRED)
    find_library(SQLITE_ARCHIVE libsqlite3.a REQUIRED)
    file(CONFIGURE OUTPUT ${headers}/soci/soci/soci-config.h CONTENT "#pragma once
#define SOCI_HAVE_CXX11
#define SOCI_HAVE_SQLITE3
#define SOCI_HAVE_VISIBILITY_SUPPORT
")
    target_include_directories(desk-database SYSTEM INTERFACE ${headers}/soci)
    target_link_libraries(desk-database INTERFACE ${SOCI_SQLITE_ARCHIVE} ${SOCI_CORE_ARCHIVE} ${SQLITE_ARCHIVE})
    target_link_options(desk-database INTERFACE $<$<CONFIG:Release>:LINKER:--strip-debug>)
    file(STRINGS ${SOCI_HEADERS}/soci/version.h version REGEX "define SOCI_LIB_VERSION ")
    string(REGEX REPLACE ".*\"([0-9]+)_([0-9]+)_.*" "libsoci_postgresql.so.\\1.\\2" desk_postgresql "${version}")
  endif()
  target_compile_definitions(desk-database INTERFACE ZEL_DESK_POSTGRESQL="${desk_postgresql}")
endif()

if(ZEL_TESTS)
  if(WIN32)
    # No packaged library for this target: built from the packaged source.
    set(gtest_force_shared_crt ON)
    set(BUILD_GMOCK ON)
    set(INSTALL_GTEST OFF)
    # Those come with MinGW.
    if(NOT MINGW)
      set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
    endif()
    add_subdirectory(/usr/src/googletest googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gtest_main gmock gmock_main)
      target_compile_options(${library} PRIVATE -w -O0)
      if(NOT TARGET GTest::${library})
        add_library(GTest::${library} ALIAS ${library})
      endif()
    endforeach()
  else()
    find_package(GTest REQUIRED)
  endif()
endif()
