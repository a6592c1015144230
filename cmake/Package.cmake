# `cmake --build --preset <preset> --target package` makes a ZIP for Windows and a tar archive for Linux that work where
# they are unpacked: libraries, program, documents, examples, and the licences of what is inside. `cmake --install` puts
# the same files elsewhere. On Linux the documents are in the folder that the system has for them. Each Windows preset
# packs its own build; cmake/package-windows packs both. The same files are made into a package that the system installs:
# cmake/package-deb and cmake/package-msi.
if(WIN32)
  set(documents .)
  set(package_system "Windows x64")
  # Filled in as it stands, with the empty line behind it.
  string(CONCAT package_family
    "There is a folder for each compiler family, `gcc` and `microsoft`, unless only one was packed; the README in it says\n"
    "for which hosts its files are. A host needs those of its own family: classes cross the border, and GCC and\n"
    "Microsoft's compiler lay out calls and exceptions differently. [docs/host-framework.md](docs/host-framework.md) says\n"
    "what that means and what has been tested.\n")
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/package-${install_programs}.md DESTINATION ${install_programs}
          RENAME README.md)
else()
  set(documents share/doc/${PROJECT_NAME})
  set(package_system "Linux x86-64")
  set(package_family "")
endif()

# write_package_readme(file libraries program place): for a package with its libraries in the folder `libraries`, the
# program called as `program`, and the text `place` between.
function(write_package_readme file package_libraries package_program package_place)
  foreach(target plugin zel-interfaces zel-vex zel-localization ry-crypto zel-log p11watch p11replay)
    get_target_property(name ${target} OUTPUT_NAME)
    if(NOT name)
      set(name ${target})
    endif()
    get_target_property(prefix ${target} PREFIX)
    if(prefix STREQUAL "prefix-NOTFOUND")
      set(prefix ${CMAKE_SHARED_LIBRARY_PREFIX})
    endif()
    set(package_${target} "${package_libraries}${prefix}${name}${CMAKE_SHARED_LIBRARY_SUFFIX}")
  endforeach()
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/package-README.md.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
endfunction()
string(CONCAT package_place "The files work where they are, as long as they stay together. From the folder that holds "
                            "these files:")
if(WIN32)
  write_package_readme(package-README.md "" p11host.exe "${package_place}")
else()
  write_package_readme(package-README.md lib/ bin/p11host "${package_place}")
  write_package_readme(package-README-deb.md /usr/lib/${PROJECT_NAME}/ p11host
                       "A host is given the plug-in by its full path. The program is also a command of the system:")
endif()
install(FILES ${PROJECT_BINARY_DIR}/package-README.md DESTINATION ${documents} RENAME README.md)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${documents})
# How the sources are built up is for those who have them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${documents} PATTERN ".*" EXCLUDE
        PATTERN architecture.md EXCLUDE)

# The licence texts come from the Debian packages that the build takes the code from; docs/third-party.md says what is
# used of each.
set(licensed libcli11-dev nlohmann-json3-dev libp11-kit-dev)
if(ZEL_CARD)
  list(APPEND licensed libbotan-2-dev)
endif()
if(ZEL_DESK)
  list(APPEND licensed libsoci-dev libsqlite3-dev)
endif()
if(MINGW)
  list(APPEND licensed g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev)
elseif(WIN32)
  # The compiler's package has the licence of libc++, which comes from the same source.
  list(APPEND licensed clang-19 libwine-dev)
endif()
foreach(package ${licensed})
  set(licence /usr/share/doc/${package}/copyright)
  if(NOT EXISTS ${licence})
    message(WARNING "No licence text of ${package}: the package would be incomplete")
  endif()
  install(FILES ${licence} DESTINATION ${documents}/licences RENAME ${package}.txt OPTIONAL)
endforeach()

set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${ZEL_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_PACKAGE_BUILD ${PROJECT_BINARY_DIR})
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/PackageTime.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackageModes.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackageInstaller.cmake)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME windows-x64-${install_programs})
  set(CPACK_INSTALLER_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/package-msi)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_INSTALLER_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/package-deb)
endif()
include(CPack)
