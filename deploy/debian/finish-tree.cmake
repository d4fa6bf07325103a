# Run by CPack on the staged tree of the Debian package, before it is packed:
# adds what a Debian package carries beside the installed files (copyright,
# changelog) and compresses the manual page and the documents as Debian does.
set(prefix "${CPACK_TEMPORARY_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}")
set(doc "${prefix}/share/doc/morvane")
file(COPY_FILE "${CMAKE_CURRENT_LIST_DIR}/copyright" "${doc}/copyright")
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/changelog" latest LIMIT_COUNT 1)
if(NOT latest MATCHES "^morvane \\(${CPACK_PACKAGE_VERSION}\\) ")
  message(FATAL_ERROR "deploy/debian/changelog: its first entry is not version ${CPACK_PACKAGE_VERSION}: ${latest}")
endif()
file(COPY_FILE "${CMAKE_CURRENT_LIST_DIR}/changelog" "${doc}/changelog")
# -n leaves the name and time out of the archive, so that a rebuild gives the same bytes.
execute_process(COMMAND gzip -9 -n -f "${prefix}/share/man/man1/morvane.1" "${doc}/changelog" "${doc}/README.md"
                COMMAND_ERROR_IS_FATAL ANY)
