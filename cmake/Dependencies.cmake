# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(SDL2 REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
    libavdevice libavformat libavcodec libavfilter libswresample libswscale libavutil)
pkg_check_modules(SPEEXDSP REQUIRED IMPORTED_TARGET speexdsp)

list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
find_package(AndroidBase REQUIRED)
