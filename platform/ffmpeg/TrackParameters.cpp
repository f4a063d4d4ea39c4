// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "TrackParameters"

#include "ffmpeg/TrackParameters.h"

#include <algorithm>

#include "ffmpeg/MediaLimits.h"

namespace android {

TrackParameters::TrackParameters(const AVCodecParameters& parameters, AVRational timeBase,
                                 int64_t startUs, double frameRate)
    : mParameters(avcodec_parameters_alloc()),
      mTimeBase(timeBase),
      mStartUs(clampTimeUs(startUs)),
      mFrameRate(frameRate) {
    avcodec_parameters_copy(mParameters, &parameters);
}

TrackParameters::~TrackParameters() {
    clearSamples();
    avcodec_parameters_free(&mParameters);
}

int64_t TrackParameters::toUs(int64_t streamTime) const {
    return clampTimeUs(av_rescale_q(streamTime, mTimeBase, AVRational{1, 1000000})) - mStartUs;
}

void TrackParameters::setWindow(int64_t fileBeginUs, int64_t endUs) {
    mHasWindow = true;
    mFileBeginUs = fileBeginUs;
    mWindowEndUs = endUs;
}

void TrackParameters::pushSample(const AVPacket& packet, int64_t timeUs) {
    AVPacket* properties = av_packet_alloc();
    if (properties == nullptr || av_packet_copy_props(properties, &packet) < 0) {
        av_packet_free(&properties);
        return;
    }
    std::lock_guard<std::mutex> lock(mLock);
    if (mSamples.size() == kMaxSamples) dropFrontLocked();
    mSamples.push_back({timeUs, properties});
}

bool TrackParameters::popSample(int64_t timeUs, AVPacket* packet) {
    std::lock_guard<std::mutex> lock(mLock);
    auto match = std::find_if(mSamples.begin(), mSamples.end(),
                              [timeUs](const Sample& sample) { return sample.timeUs == timeUs; });
    if (match == mSamples.end()) return false;
    for (auto skipped = std::distance(mSamples.begin(), match); skipped > 0; --skipped) {
        dropFrontLocked();
    }
    av_packet_copy_props(packet, mSamples.front().properties);
    dropFrontLocked();
    return true;
}

void TrackParameters::clearSamples() {
    std::lock_guard<std::mutex> lock(mLock);
    while (!mSamples.empty())
        dropFrontLocked();
}

void TrackParameters::dropFrontLocked() {
    av_packet_free(&mSamples.front().properties);
    mSamples.pop_front();
}

}  // namespace android
