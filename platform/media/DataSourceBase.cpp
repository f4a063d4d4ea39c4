// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/stagefright/DataSourceBase.h>
#include <media/stagefright/MediaErrors.h>

#include <algorithm>

namespace android {

status_t DataSourceBase::getSize(off64_t* /*size*/) {
    return ERROR_UNSUPPORTED;
}

status_t DataSourceBase::getAvailableSize(off64_t offset, off64_t* size) {
    off64_t total = 0;
    status_t err = getSize(&total);
    if (err == OK) *size = std::max<off64_t>(total - offset, 0);
    return err;
}

}  // namespace android
