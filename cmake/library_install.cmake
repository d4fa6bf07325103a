# Installs the library as other projects find it: the headers, the shared
# and the static library, a CMake package (find_package(morvane) gives
# morvane::morvane, the shared library, and morvane::morvane_static) and a
# pkg-config file. All of it is the component "library", which the
# program's Debian package leaves out.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/morvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library)
install(TARGETS morvane_shared EXPORT morvane-shared
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP COMPONENT library)
install(TARGETS morvane_shared EXPORT morvane-shared
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_ONLY COMPONENT library)
install(TARGETS morvane_core EXPORT morvane-static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)

set(MORVANE_STATIC_TIFF "")
if(MORVANE_TIFF)
  set(MORVANE_STATIC_TIFF TIFF)
endif()
set(MORVANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/morvane)
install(EXPORT morvane-shared NAMESPACE morvane:: DESTINATION ${MORVANE_CMAKE_DIR}
        FILE morvane-shared-targets.cmake COMPONENT library)
install(EXPORT morvane-static NAMESPACE morvane:: DESTINATION ${MORVANE_CMAKE_DIR}
        FILE morvane-static-targets.cmake COMPONENT library)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/morvane-config.cmake.in
                              ${CMAKE_BINARY_DIR}/morvane-config.cmake INSTALL_DESTINATION ${MORVANE_CMAKE_DIR})
# Same major version, this minor or an older one: what the header promises.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/morvane-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/morvane-config.cmake ${CMAKE_BINARY_DIR}/morvane-config-version.cmake
        DESTINATION ${MORVANE_CMAKE_DIR} COMPONENT library)

# pkg-config: the shared library by default, the static one with --static.
set(MORVANE_PC_REQUIRES_PRIVATE "expat libcurl minizip zlib")
if(MORVANE_TIFF)
  string(APPEND MORVANE_PC_REQUIRES_PRIVATE " libtiff-4")
endif()
# The prefix is found from the file's own place, so that an installed tree
# can be moved, or installed under another --prefix than configured.
file(RELATIVE_PATH MORVANE_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" MORVANE_PC_UP "${MORVANE_PC_UP}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/morvane.pc.in ${CMAKE_BINARY_DIR}/morvane.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/morvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
