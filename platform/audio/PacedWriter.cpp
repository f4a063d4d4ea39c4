// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/PacedWriter.h"

#include <algorithm>

namespace android {

void PacedWriter::onUnderrun() {
    mDoubted = true;
    mToPass = kCatchingUp;
    mWrites = 0;
}

int64_t PacedWriter::onWrite(int64_t delayUs, int64_t wantedUs) {
    if (!mDoubted || mToPass == kBeginning) mAhead = mAhead || delayUs > kAheadUs;
    if (!mDoubted || mAhead || ++mWrites <= mToPass) return 0;
    mLeastUs = mWrites == mToPass + 1 ? delayUs : std::min(mLeastUs, delayUs);
    if (mWrites < mToPass + kLooks) return 0;
    mWrites = 0;
    mToPass = kCatchingUp;
    const int64_t lateUs = mLeastUs - wantedUs;
    mDoubted = lateUs > kToleranceUs;
    return mDoubted ? lateUs : 0;
}

}  // namespace android
