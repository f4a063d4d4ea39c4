# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# Warnings are options of our own targets only; -Wno-multichar because metadata keys are
# four-character codes.
add_library(oxa_warnings INTERFACE)
target_compile_options(oxa_warnings INTERFACE
    -Wall -Wextra -Werror -Wnon-virtual-dtor -Wno-multichar -Wno-unused-parameter)

if(OXA_SANITIZE)
    add_compile_options(-fsanitize=${OXA_SANITIZE} -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${OXA_SANITIZE})
    if(OXA_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
else()
    add_compile_options(-fstack-protector-strong)
    if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" OR CMAKE_BUILD_TYPE STREQUAL "Release")
        add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    endif()
    add_link_options(-Wl,-z,relro,-z,now)
endif()
if(OXA_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()
