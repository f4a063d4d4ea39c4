// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/DecodingTimes.h"

namespace android {

int64_t DecodingTimes::next(int64_t presentationTime, int64_t duration) {
    mShownLater.insert(presentationTime);
    // The first one in a file is a key frame, and the first one to be shown.
    if (mCount == 0) mFirst = presentationTime;
    if (mCount < mDelay) return mFirst - (mDelay - mCount++) * duration;
    const int64_t time = *mShownLater.begin();
    mShownLater.erase(mShownLater.begin());
    return time;
}

}  // namespace android
