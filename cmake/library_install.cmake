# Installs the library as other projects find it: the headers, the shared
# and the static library, a CMake package (find_package(morvane) gives
# morvane::morvane, the shared library, and morvane::morvane_static) and a
# pkg-config file.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/morvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS morvane_shared EXPORT morvane-shared
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
install(TARGETS morvane_shared EXPORT morvane-shared
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_ONLY)
install(TARGETS morvane_core EXPORT morvane-static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(MORVANE_STATIC_TIFF "")
if(MORVANE_TIFF)
  set(MORVANE_STATIC_TIFF TIFF)
endif()
set(MORVANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/morvane)
install(EXPORT morvane-shared NAMESPACE morvane:: DESTINATION ${MORVANE_CMAKE_DIR}
        FILE morvane-shared-targets.cmake)
install(EXPORT morvane-static NAMESPACE morvane:: DESTINATION ${MORVANE_CMAKE_DIR}
        FILE morvane-static-targets.cmake)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/morvane-config.cmake.in
                              ${CMAKE_BINARY_DIR}/morvane-config.cmake INSTALL_DESTINATION ${MORVANE_CMAKE_DIR})
# Same major version, this minor or an older one: what the header promises.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/morvane-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/morvane-config.cmake ${CMAKE_BINARY_DIR}/morvane-config-version.cmake
        DESTINATION ${MORVANE_CMAKE_DIR})

# pkg-config: the shared library by default, the static one with --static.
set(MORVANE_PC_REQUIRES_PRIVATE "expat libcurl")
if(MORVANE_TIFF)
  string(APPEND MORVANE_PC_REQUIRES_PRIVATE " libtiff-4")
endif()
# The prefix is found from the file's own place, so that an installed tree
# can be moved, or installed under another --prefix than configured.
file(RELATIVE_PATH MORVANE_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" MORVANE_PC_UP "${MORVANE_PC_UP}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/morvane.pc.in ${CMAKE_BINARY_DIR}/morvane.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/morvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
