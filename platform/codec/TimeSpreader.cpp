// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/TimeSpreader.h"

#include <algorithm>

namespace android {

namespace {

void freeAll(std::deque<AVFrame*>* frames) {
    for (AVFrame* frame : *frames)
        av_frame_free(&frame);
    frames->clear();
}

}  // namespace

TimeSpreader::~TimeSpreader() {
    freeAll(&mHeld);
    freeAll(&mReady);
}

void TimeSpreader::start(int64_t step, int64_t least) {
    freeAll(&mHeld);
    freeAll(&mReady);
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
        AVFrame* const later = mHeld.back();
        mHeld.pop_back();
        release(std::clamp((time - mLast) / parts, mLeast, mStep));
        later->pts = mLast = std::max(time, mLast + mLeast);
        mReady.push_back(later);
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
    AVFrame* ready = mReady.front();
    mReady.pop_front();
    av_frame_unref(frame);
    av_frame_move_ref(frame, ready);
    av_frame_free(&ready);
    return true;
}

void TimeSpreader::hold(AVFrame* frame) {
    AVFrame* held = av_frame_alloc();
    if (held == nullptr) {
        av_frame_unref(frame);
        return;
    }
    av_frame_move_ref(held, frame);
    mHeld.push_back(held);
}

void TimeSpreader::release(int64_t distance) {
    for (AVFrame* frame : mHeld) {
        mLast += distance;
        frame->pts = mLast;
        mReady.push_back(frame);
    }
    mHeld.clear();
}

}  // namespace android
