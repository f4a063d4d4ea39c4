# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

include(CheckCXXCompilerFlag)
include(CheckPIESupported)

option(OXA_FUZZ "Build the fuzzers (clang only)" OFF)

# Warnings are options of our own targets only; -Wno-multichar because metadata keys are
# four-character codes. Clang wants braces around what a table's row inherits; GCC's -Wall does not.
add_library(oxa_warnings INTERFACE)
target_compile_options(oxa_warnings INTERFACE
    -Wall -Wextra -Werror -Wformat=2 -Werror=format-security -Wnon-virtual-dtor -Wno-multichar
    -Wno-unused-parameter
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety> $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-braces>)

# Hardening. Programs are position independent, as libraries are anyway.
check_pie_supported(LANGUAGES CXX)
add_compile_options(-fstack-protector-strong)
foreach(flag stack-clash-protection cf-protection)
    check_cxx_compiler_flag(-f${flag} OXA_HAS_${flag})
    if(OXA_HAS_${flag})
        add_compile_options(-f${flag})
    endif()
endforeach()
add_link_options(-Wl,-z,relro,-z,now)

if(OXA_SANITIZE)
    # GCC takes what the sanitizers add to std::regex for a use before initialisation.
    target_compile_options(oxa_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_compile_options(-fsanitize=${OXA_SANITIZE} -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${OXA_SANITIZE})
    if(OXA_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
elseif(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" OR CMAKE_BUILD_TYPE STREQUAL "Release")
    # It needs optimised code; the sanitizers check more than it does, and get in its way.
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
if(OXA_FUZZ)
    # Debian's libraries have no type information for the sanitizer's look at virtual tables.
    add_compile_options(-fsanitize=fuzzer-no-link -fno-sanitize=vptr)
endif()
if(OXA_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
