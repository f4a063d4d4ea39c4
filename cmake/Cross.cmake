# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# A toolchain for another architecture's packages on Debian (multiarch). The environment names it as
# dpkg-architecture does: DEB_HOST_GNU_TYPE, such as aarch64-linux-gnu.

set(_type $ENV{DEB_HOST_GNU_TYPE})
if(NOT _type)
    message(FATAL_ERROR "DEB_HOST_GNU_TYPE does not say what to build for, such as aarch64-linux-gnu")
endif()
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${_type})
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${_type}-gcc)
set(CMAKE_CXX_COMPILER ${_type}-g++)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${_type}/pkgconfig:/usr/share/pkgconfig)
unset(_type)
