# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(SDL2 REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
    libavdevice libavformat libavcodec libavfilter libswresample libswscale libavutil)
pkg_check_modules(SPEEXDSP REQUIRED IMPORTED_TARGET speexdsp)

# Debian's builds of the platform's base libraries lie outside the default paths.
find_path(ANDROID_INCLUDE_DIR utils/RefBase.h PATHS /usr/include/android NO_DEFAULT_PATH REQUIRED)
add_library(oxa_android_base INTERFACE)
target_include_directories(oxa_android_base SYSTEM INTERFACE ${ANDROID_INCLUDE_DIR})
foreach(name utils cutils log)
    find_library(ANDROID_${name}_LIBRARY ${name}
        PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android NO_DEFAULT_PATH REQUIRED)
    target_link_libraries(oxa_android_base INTERFACE ${ANDROID_${name}_LIBRARY})
endforeach()
target_link_libraries(oxa_android_base INTERFACE Threads::Threads)
