# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# The target `docs`: an API reference of the public headers, in docs/html of the build directory.

find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
    return()
endif()

set(DOXYGEN_PROJECT_NAME ${PROJECT_NAME})
set(DOXYGEN_PROJECT_BRIEF "${PROJECT_DESCRIPTION}")
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
set(DOXYGEN_INPUT_FILTER "awk -f ${CMAKE_CURRENT_LIST_DIR}/doxygen-comments.awk")
set(DOXYGEN_EXTRACT_ALL YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_MARKDOWN_SUPPORT NO)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_STRIP_FROM_PATH
    ${PROJECT_SOURCE_DIR}/libs/MediaCodecDemo ${PROJECT_SOURCE_DIR}/platform/include
    ${PROJECT_SOURCE_DIR}/platform/host/include ${PROJECT_SOURCE_DIR}/jobs/include)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED "DISALLOW_EVIL_CONSTRUCTORS(name)=")
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
doxygen_add_docs(docs
    ${PROJECT_SOURCE_DIR}/libs/MediaCodecDemo/OxaMediaCodecPlayer/OxaMediaCodecPlayer.h
    ${PROJECT_SOURCE_DIR}/libs/MediaCodecDemo/OxaMediaCodecPlayer/OxaMediaCodecPlayerCommon.h
    ${PROJECT_SOURCE_DIR}/libs/MediaCodecDemo/OxaMediaCodecPlayer/OxaMediaMuxer.h
    ${PROJECT_SOURCE_DIR}/jobs/include
    ${PROJECT_SOURCE_DIR}/platform/host/include
    ${PROJECT_SOURCE_DIR}/platform/include
    COMMENT "Writing the API reference")
