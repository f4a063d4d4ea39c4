// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/PacedWriter.h"

#include <algorithm>

namespace android {

void PacedWriter::onUnderrun() {
    mAfterUnderrun = true;
    mWrites = 0;
}

int64_t PacedWriter::onWrite(int64_t delayUs, int64_t wantedUs) {
    if (!mAfterUnderrun) mAhead = mAhead || delayUs > kAheadUs;
    if (!mAfterUnderrun || mAhead || ++mWrites <= kCatchingUp) return 0;
    mLeastUs = mWrites == kCatchingUp + 1 ? delayUs : std::min(mLeastUs, delayUs);
    if (mWrites < kCatchingUp + kLooks) return 0;
    mWrites = 0;
    const int64_t lateUs = mLeastUs - wantedUs;
    mAfterUnderrun = lateUs > kToleranceUs;
    return mAfterUnderrun ? lateUs : 0;
}

}  // namespace android
