# CPack runs this after the archive, to make of the same files a package that the system installs. What CPack has
# installed for the archive is still there.
execute_process(COMMAND ${CPACK_INSTALLER_SCRIPT} ${CPACK_TEMPORARY_INSTALL_DIRECTORY} ${CPACK_PACKAGE_VERSION}
                        ${CPACK_PACKAGE_CONTACT} ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}
                        ${CPACK_PACKAGE_BUILD}
                COMMAND_ERROR_IS_FATAL ANY)
