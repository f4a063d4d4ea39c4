# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0

# The platform's base libraries (utils, cutils, log), whose Debian builds lie outside the default
# paths. Defines the target AndroidBase::AndroidBase.

find_path(AndroidBase_INCLUDE_DIR utils/RefBase.h PATHS /usr/include/android NO_DEFAULT_PATH)
set(_android_variables AndroidBase_INCLUDE_DIR)
foreach(_android_name utils cutils log)
    find_library(AndroidBase_${_android_name}_LIBRARY ${_android_name}
        PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android NO_DEFAULT_PATH)
    list(APPEND _android_variables AndroidBase_${_android_name}_LIBRARY)
endforeach()
mark_as_advanced(${_android_variables})

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidBase REQUIRED_VARS ${_android_variables})

if(AndroidBase_FOUND AND NOT TARGET AndroidBase::AndroidBase)
    add_library(AndroidBase::AndroidBase INTERFACE IMPORTED)
    set_target_properties(AndroidBase::AndroidBase PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${AndroidBase_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES
            "${AndroidBase_utils_LIBRARY};${AndroidBase_cutils_LIBRARY};${AndroidBase_log_LIBRARY}")
endif()
unset(_android_variables)
unset(_android_name)
