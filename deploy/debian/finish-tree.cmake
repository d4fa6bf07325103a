# Run by CPack on the staged tree of a Debian package, before it is packed:
# adds what a Debian package carries beside the installed files (copyright,
# changelog) and compresses the manual page and the documents as Debian does.
# Serves both packages: the program's (morvane) and the library's
# (libmorvane-dev), each with its documents under its own name.
set(prefix "${CPACK_TEMPORARY_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}")
set(doc "${prefix}/share/doc/${CPACK_PACKAGE_NAME}")
file(MAKE_DIRECTORY "${doc}")
file(COPY_FILE "${CMAKE_CURRENT_LIST_DIR}/copyright" "${doc}/copyright")
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/changelog" latest LIMIT_COUNT 1)
# Both packages come from the one source, named morvane in the changelog.
if(NOT latest MATCHES "^morvane \\(${CPACK_PACKAGE_VERSION}\\) ")
  message(FATAL_ERROR "deploy/debian/changelog: its first entry is not version ${CPACK_PACKAGE_VERSION}: ${latest}")
endif()
file(COPY_FILE "${CMAKE_CURRENT_LIST_DIR}/changelog" "${doc}/changelog")
set(compress "${doc}/changelog")
foreach(file "${prefix}/share/man/man1/morvane.1" "${doc}/README.md")
  if(EXISTS "${file}")
    list(APPEND compress "${file}")
  endif()
endforeach()
# -n leaves the name and time out of the archive, so that a rebuild gives the same bytes.
execute_process(COMMAND gzip -9 -n -f ${compress} COMMAND_ERROR_IS_FATAL ANY)
