# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(SDL2 REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
    libavformat libavcodec libswresample libswscale libavutil)
pkg_check_modules(AVFILTER REQUIRED IMPORTED_TARGET libavfilter libavutil)
pkg_check_modules(AVDEVICE REQUIRED IMPORTED_TARGET libavdevice)
pkg_check_modules(SPEEXDSP REQUIRED IMPORTED_TARGET speexdsp)

list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
find_package(AndroidBase REQUIRED)
