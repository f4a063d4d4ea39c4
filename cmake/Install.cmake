# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# Where things are installed, and the package that other projects find. Three components: `library`,
# `tool` and `development`. The result may be moved as a whole.

include(CMakePackageConfigHelpers)
if(EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Where libraries go")
endif()
include(GNUInstallDirs)

set(OXA_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/oxa-mediacodecplayer)
set(OXA_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/OxaMediaCodecPlayer)
file(RELATIVE_PATH OXA_BINDIR_TO_LIBDIR
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

# oxa_install_library(<target>): a shared library, which finds those beside it and the platform's
# base libraries.
function(oxa_install_library target)
    set_target_properties(${target} PROPERTIES
        INSTALL_RPATH $ORIGIN INSTALL_RPATH_USE_LINK_PATH ON)
    install(TARGETS ${target} EXPORT OxaMediaCodecPlayer
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT library NAMELINK_COMPONENT development)
endfunction()

install(EXPORT OxaMediaCodecPlayer NAMESPACE OxaMediaCodecPlayer::
    FILE OxaMediaCodecPlayerTargets.cmake
    DESTINATION ${OXA_INSTALL_CMAKEDIR} COMPONENT development)
configure_package_config_file(cmake/OxaMediaCodecPlayerConfig.cmake.in
    ${PROJECT_BINARY_DIR}/package/OxaMediaCodecPlayerConfig.cmake
    INSTALL_DESTINATION ${OXA_INSTALL_CMAKEDIR} NO_SET_AND_CHECK_MACRO)
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/package/OxaMediaCodecPlayerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(
    FILES
        ${PROJECT_BINARY_DIR}/package/OxaMediaCodecPlayerConfig.cmake
        ${PROJECT_BINARY_DIR}/package/OxaMediaCodecPlayerConfigVersion.cmake
        ${CMAKE_CURRENT_LIST_DIR}/FindAndroidBase.cmake
    DESTINATION ${OXA_INSTALL_CMAKEDIR} COMPONENT development)

file(RELATIVE_PATH OXA_PKGCONFIG_TO_PREFIX
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
get_filename_component(OXA_ANDROID_LIBDIR ${AndroidBase_utils_LIBRARY} DIRECTORY)
foreach(name oxa-mediacodecplayer oxa-jobs)
    configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/package/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

set(manual ${PROJECT_SOURCE_DIR}/docs/man/oxaplayer.1)
find_program(GZIP gzip REQUIRED)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${manual})
execute_process(COMMAND ${GZIP} -9nc ${manual}
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/package/oxaplayer.1.gz COMMAND_ERROR_IS_FATAL ANY)
install(FILES ${PROJECT_BINARY_DIR}/package/oxaplayer.1.gz
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
