# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# Debian packages, one for each component: `cpack` in the build directory makes them.

set(library_package liboxamediacodecplayer${PROJECT_VERSION_MAJOR})
set(tool_package oxaplayer)
set(development_package liboxamediacodecplayer-dev)
# The module only names a function of the library that it brings.
set(library_overrides "${library_package}: library-not-linked-against-libc *devices.so*")

foreach(component library tool development)
    # What the policy wants every package to have.
    set(package ${${component}_package})
    set(more_overrides ${${component}_overrides})
    set(generated ${PROJECT_BINARY_DIR}/package/${package})
    configure_file(cmake/debian/changelog.in ${generated}/changelog.Debian @ONLY)
    configure_file(cmake/debian/overrides.in ${generated}/${package} @ONLY)
    execute_process(COMMAND ${GZIP} -9nf ${generated}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
    install(FILES cmake/debian/copyright ${generated}/changelog.Debian.gz
        DESTINATION share/doc/${package} COMPONENT ${component})
    if(NOT component STREQUAL development)
        install(FILES ${generated}/${package}
            DESTINATION share/lintian/overrides COMPONENT ${component})
    endif()

    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
    set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oxa-mediacodecplayer)
set(CPACK_PACKAGE_VENDOR "The Oxa Authors")
set(CPACK_PACKAGE_CONTACT "The Oxa Authors <authors@oxa.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library tool development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "Plays files, transcodes them to AVC and AAC in MP4 or MPEG transport streams,
and records cameras, microphones and HDMI signals. A platform layer gives
Android's native media interfaces on top of FFmpeg's libraries.
.
This package has the shared libraries.")

set(exact_library "${library_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${exact_library})
set(CPACK_DEBIAN_TOOL_DESCRIPTION
    "Turns media files into AVC and AAC in MP4 or MPEG transport streams, plays
them, records cameras, microphones and HDMI signals, and makes contact sheets.
.
This package has the command line client.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
string(JOIN ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    ${exact_library} android-libutils-dev android-libcutils-dev android-liblog-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Headers, and what CMake and pkg-config need, to build programs with the
library that plays, transcodes and records media.")

include(CPack)
