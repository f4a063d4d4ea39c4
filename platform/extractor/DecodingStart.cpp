// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "extractor/DecodingStart.h"

#include <algorithm>
#include <vector>

#include "ffmpeg/TimeBase.h"
#include "media/AvcStream.h"

namespace android {

namespace {

constexpr int64_t kLongestDelayUs = 200000;

}  // namespace

DecodingStart::DecodingStart(const AVStream& stream, const SampleForm& form, int64_t timeUs)
    : mForm(form),
      mTimeBase(stream.time_base),
      mIsPicture(stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO),
      mIsReordered(mIsPicture && stream.codecpar->video_delay > 0),
      mIsAvc(stream.codecpar->codec_id == AV_CODEC_ID_H264),
      mTimeUs(timeUs) {}

std::optional<bool> DecodingStart::take(const AVPacket& packet) {
    const bool isSync = !mIsPicture || (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const std::optional<int64_t> shownUs = shownAtUs(packet);
    countToWhole(packet, isSync);
    if (!isSync && !shownUs) return std::nullopt;
    if (!shownUs || *shownUs > mTimeUs) return false;
    return mToWhole == 0 ? std::optional(true) : std::nullopt;
}

// At the latest, where the file only tells when it is decoded.
std::optional<int64_t> DecodingStart::shownAtUs(const AVPacket& packet) const {
    const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (stamp == AV_NOPTS_VALUE) return std::nullopt;
    const int64_t timeUs = av_rescale_q(stamp, mTimeBase, kMicroseconds);
    return mIsReordered && stamp == packet.dts ? timeUs + kLongestDelayUs : timeUs;
}

void DecodingStart::countToWhole(const AVPacket& packet, bool isSync) {
    if (!mIsAvc) {
        if (isSync) mToWhole = 0;
        return;
    }
    if (!isSync && mToWhole == kNever) return;
    std::vector<uint8_t> sample(mForm.size(packet));
    mForm.write(packet, sample.data());
    const AvcSample avc = parseAvcSample(sample.data(), sample.size());
    if (!isSync) {
        if (avc.isReferred && mToWhole > 0) --mToWhole;
    } else if (mHasBegun || avc.framesToWhole == 0) {
        mToWhole = std::min(mToWhole, avc.framesToWhole);
    }
    mHasBegun = true;
}

}  // namespace android
