// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PictureMailbox"

#include "display/PictureMailbox.h"

#include <utility>

namespace android {

bool PictureMailbox::put(IntakePicture picture) {
    std::optional<IntakePicture> replaced(std::move(picture));  // freed without the lock
    AnnotatedLock lock(mLock);
    mPicture.swap(replaced);
    return replaced.has_value();
}

bool PictureMailbox::take(IntakePicture* picture) {
    AnnotatedLock lock(mLock);
    if (!mPicture.has_value()) return false;
    *picture = std::move(*mPicture);
    mPicture.reset();
    return true;
}

}  // namespace android
