# The headers of Debian's packages that we use. Header-only ones serve the Windows build too: they are copied into a
# folder of their own, for the system's include folder itself must never stand on a cross-compiler's path.
set(headers ${PROJECT_BINARY_DIR}/headers)
find_path(P11KIT_HEADERS p11-kit/pkcs11.h PATHS /usr/include/p11-kit-1 NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(JSON_HEADERS nlohmann/json.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(CLI11_HEADERS CLI/CLI.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)

file(COPY ${P11KIT_HEADERS}/p11-kit/pkcs11.h DESTINATION ${headers}/cryptoki/p11-kit)
file(COPY ${JSON_HEADERS}/nlohmann DESTINATION ${headers}/host)
file(COPY ${CLI11_HEADERS}/CLI DESTINATION ${headers}/host)

add_library(cryptoki-headers INTERFACE)
target_include_directories(cryptoki-headers SYSTEM INTERFACE ${headers}/cryptoki)

add_library(host-headers INTERFACE)
target_include_directories(host-headers SYSTEM INTERFACE ${headers}/host)

if(ZEL_TESTS)
  if(WIN32)
    # No packaged library for this target: built from the packaged source.
    set(gtest_force_shared_crt ON)
    set(BUILD_GMOCK ON)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gtest_main gmock gmock_main)
      target_compile_options(${library} PRIVATE -w)
      if(NOT TARGET GTest::${library})
        add_library(GTest::${library} ALIAS ${library})
      endif()
    endforeach()
  else()
    find_package(GTest REQUIRED)
  endif()
endif()
