// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "TrackParameters"

#include "ffmpeg/TrackParameters.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/TimeBase.h"

namespace android {

TrackParameters::TrackParameters(const AVCodecParameters& parameters, AVRational timeBase,
                                 int64_t startUs, double frameRate)
    : mParameters(avcodec_parameters_alloc()),
      mTimeBase(timeBase),
      mStartUs(clampTimeUs(startUs)),
      mFrameRate(frameRate) {
    avcodec_parameters_copy(mParameters, &parameters);
}

int64_t TrackParameters::toUs(int64_t streamTime) const {
    return clampTimeUs(av_rescale_q(streamTime, mTimeBase, kMicroseconds)) - mStartUs;
}

void TrackParameters::setWindow(int64_t fileBeginUs, int64_t endUs) {
    mHasWindow = true;
    mFileBeginUs = fileBeginUs;
    // One that is open leaves room for sums.
    mWindowEndUs = clampTimeUs(endUs);
}

void TrackParameters::pushSample(const AVPacket& packet, int64_t timeUs) {
    AvPacketOwner properties(av_packet_alloc());
    if (properties == nullptr || av_packet_copy_props(properties, &packet) < 0) return;
    AnnotatedLock lock(mLock);
    if (mSamples.size() == kMaxSamples) mSamples.pop_front();
    mSamples.push_back({timeUs, std::move(properties)});
}

bool TrackParameters::popSample(int64_t timeUs, AVPacket* packet) {
    AnnotatedLock lock(mLock);
    auto match = std::find_if(mSamples.begin(), mSamples.end(),
                              [timeUs](const Sample& sample) { return sample.timeUs == timeUs; });
    if (match == mSamples.end()) return false;
    av_packet_copy_props(packet, match->properties);
    mSamples.erase(mSamples.begin(), std::next(match));
    return true;
}

void TrackParameters::clearSamples() {
    AnnotatedLock lock(mLock);
    mSamples.clear();
}

}  // namespace android
