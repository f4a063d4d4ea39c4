// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/TimeSpreader.h"

#include <algorithm>
#include <utility>

namespace android {

void TimeSpreader::start(int64_t step, int64_t least) {
    mHeld.clear();
    mReady.clear();
    mLeast = std::max<int64_t>(least, 1);
    mStep = std::max(step, mLeast);
    mHasLast = false;
    mLast = 0;
    mInLongRun = false;
}

bool TimeSpreader::passes(AVFrame* frame) {
    const bool isLater = !mHasLast || frame->pts - mLast >= mLeast;
    if (isLater && mHeld.empty()) {
        mHasLast = true;
        mInLongRun = false;
        mLast = frame->pts;
        return true;
    }
    const int64_t time = frame->pts;
    hold(frame);
    if (isLater) {
        const auto parts = static_cast<int64_t>(mHeld.size());
        AvFrameOwner later = std::move(mHeld.back());
        mHeld.pop_back();
        release(std::clamp((time - mLast) / parts, mLeast, mStep));
        later->pts = mLast = std::max(time, mLast + mLeast);
        mReady.push_back(std::move(later));
    } else if (mInLongRun || mHeld.size() > kMostHeld) {
        mInLongRun = true;
        release(mStep);
    }
    return false;
}

void TimeSpreader::finish() {
    release(mStep);
}

bool TimeSpreader::pull(AVFrame* frame) {
    if (mReady.empty()) return false;
    av_frame_unref(frame);
    av_frame_move_ref(frame, mReady.front());
    mReady.pop_front();
    return true;
}

void TimeSpreader::hold(AVFrame* frame) {
    AvFrameOwner held(av_frame_alloc());
    if (held == nullptr) {
        av_frame_unref(frame);
        return;
    }
    av_frame_move_ref(held, frame);
    mHeld.push_back(std::move(held));
}

void TimeSpreader::release(int64_t distance) {
    for (AvFrameOwner& frame : mHeld) {
        mLast += distance;
        frame->pts = mLast;
        mReady.push_back(std::move(frame));
    }
    mHeld.clear();
}

}  // namespace android
