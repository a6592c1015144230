# `cmake --build --preset <preset> --target package`: a ZIP for Windows, a tar archive for Linux, that works where it is
# unpacked: the libraries and the program, README, documents, examples, and the licences of what is inside.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION . OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION . PATTERN ".*" EXCLUDE)

# The licence texts come from the Debian packages that the build takes the code from; docs/third-party.md says what is
# used of each.
set(licensed libcli11-dev nlohmann-json3-dev libp11-kit-dev)
if(MINGW)
  list(APPEND licensed g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev)
endif()
foreach(package ${licensed})
  set(licence /usr/share/doc/${package}/copyright)
  if(NOT EXISTS ${licence})
    message(WARNING "No licence text of ${package}: the package would be incomplete")
  endif()
  install(FILES ${licence} DESTINATION licences RENAME ${package}.txt OPTIONAL)
endforeach()

set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME windows-x64)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
endif()
include(CPack)
