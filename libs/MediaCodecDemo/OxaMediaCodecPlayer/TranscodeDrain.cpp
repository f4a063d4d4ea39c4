// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TranscodeDrain.h"

#include <media/stagefright/foundation/ALooper.h>

#include <algorithm>

#include "OxaMediaCodecPlayerCommon.h"

namespace android {

void TranscodeDrain::begin(bool video, bool audio) {
    Mutex::Autolock lock(mLock);
    mVideoLeft = video;
    mAudioLeft = audio;
    mError = OK;
}

void TranscodeDrain::onStreamDone(int32_t item) {
    Mutex::Autolock lock(mLock);
    if (item == EOSVideoReached) mVideoLeft = false;
    if (item == EOSAudioReached) mAudioLeft = false;
    mCondition.broadcast();
}

void TranscodeDrain::fail(status_t err) {
    Mutex::Autolock lock(mLock);
    mError = err;
    mCondition.broadcast();
}

status_t TranscodeDrain::wait(int64_t timeoutUs) {
    Mutex::Autolock lock(mLock);
    const int64_t deadlineUs = ALooper::GetNowUs() + std::min<int64_t>(timeoutUs, kLongestWaitUs);
    while (mError == OK && (mVideoLeft || mAudioLeft)) {
        int64_t leftUs = deadlineUs - ALooper::GetNowUs();
        if (leftUs <= 0) return TIMED_OUT;
        mCondition.waitRelative(mLock, leftUs * 1000);
    }
    return mError;
}

}  // namespace android
