// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderSpeed.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <vector>

#include "base/Monotonic.h"
#include "codec/AvcCodec.h"
#include "ffmpeg/AvLog.h"

namespace oxa::host {

namespace {

using android::AvCodecOwner;
using android::AvFrameOwner;
using android::AvOwner;
using android::AvPacketOwner;
using android::monotonicUs;

constexpr int kTile = 256;  // samples, after which the texture begins again
constexpr int kSpeed = 6;   // samples from picture to picture, both ways
constexpr int64_t kIntervalUs = 33'333;
// What is larger takes as much longer as it has more samples: the time is for enough pictures.
constexpr double kMostSamples = 960.0 * 540;
constexpr size_t kLeastPictures = 3;
constexpr size_t kMostPictures = 60;

// A plane with edges, plain areas and a little noise, larger than a picture, which can so be moved
// over it.
class Texture {
  public:
    Texture(int width, int height, int contrast)
        : mStride(width + 2 * kTile),
          mSamples(static_cast<size_t>(mStride) * (height + kTile)),
          mBuffer(av_buffer_create(
                  mSamples.data(), mSamples.size(), [](void*, uint8_t*) {}, nullptr,
                  AV_BUFFER_FLAG_READONLY)) {
        uint32_t noise = 1;
        std::array<uint8_t, static_cast<size_t>(kTile) * kTile> tile;
        for (int y = 0; y < kTile; ++y) {
            for (int x = 0; x < kTile; ++x) {
                noise = noise * 1664525 + 1013904223;
                const int shape = ((x / 32 + y / 48) % 3) * 50 + x * y / 512 % 40;
                tile[static_cast<size_t>(y) * kTile + x] =
                        60 + shape * contrast / 100 + (noise >> 30);
            }
        }
        for (int y = 0; y < height + kTile; ++y) {
            for (int x = 0; x + kTile <= mStride; x += kTile) {
                std::copy_n(&tile[static_cast<size_t>(y % kTile) * kTile], kTile,
                            &mSamples[static_cast<size_t>(y) * mStride + x]);
            }
        }
    }

    // The encoder need not copy a picture that holds this buffer.
    AVBufferRef* buffer() const { return mBuffer; }
    int stride() const { return mStride; }
    uint8_t* at(int offset) { return &mSamples[static_cast<size_t>(offset) * mStride + offset]; }

  private:
    const int mStride;
    std::vector<uint8_t> mSamples;
    const AvOwner<AVBufferRef, av_buffer_unref> mBuffer;
};

// One picture of those that move over the textures.
class MovingPicture {
  public:
    MovingPicture(int width, int height)
        : mLuma(width, height, 100), mChroma(width / 2, height / 2, 20) {
        if (mFrame == nullptr || mLuma.buffer() == nullptr || mChroma.buffer() == nullptr) return;
        mFrame->width = width;
        mFrame->height = height;
        mFrame->format = AV_PIX_FMT_YUV420P;
        mFrame->buf[0] = av_buffer_ref(mLuma.buffer());
        mFrame->buf[1] = av_buffer_ref(mChroma.buffer());
    }

    // Null when there is no memory for it.
    const AVFrame* at(int number) {
        if (mFrame == nullptr || mFrame->buf[0] == nullptr || mFrame->buf[1] == nullptr) {
            return nullptr;
        }
        const int offset = number * kSpeed % kTile;
        mFrame->pts = number * kIntervalUs;
        mFrame->data[0] = mLuma.at(offset);
        mFrame->data[1] = mFrame->data[2] = mChroma.at(offset / 2);
        mFrame->linesize[0] = mLuma.stride();
        mFrame->linesize[1] = mFrame->linesize[2] = mChroma.stride();
        return mFrame;
    }

  private:
    Texture mLuma;
    Texture mChroma;
    const AvFrameOwner mFrame{av_frame_alloc()};
};

// Of this thread, which is the encoder's only one: what others do meanwhile does not count.
int64_t workedUs() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * INT64_C(1000000) + time.tv_nsec / 1000;
}

// How long the picture was worked on; negative: an AVERROR.
int64_t encode(AVCodecContext* codec, const AVFrame* frame, AVPacket* packet) {
    const int64_t beginUs = workedUs();
    int err = avcodec_send_frame(codec, frame);
    if (err >= 0) err = avcodec_receive_packet(codec, packet);
    av_packet_unref(packet);
    return err < 0 ? err : workedUs() - beginUs;
}

}  // namespace

int64_t measureEncoder(int32_t width, int32_t height, const std::string& preset, int64_t budgetUs) {
    android::routeAvLog();
    const int64_t endUs = monotonicUs() + budgetUs;
    android::AvcCodecOptions options;
    options.width = width;
    options.height = height;
    options.isLive = true;
    const int threads = avcCodecThreads(options);
    const double scale = std::min(1.0, std::sqrt(kMostSamples / width / height));
    options.width = static_cast<int32_t>(width * scale) & ~1;
    options.height = static_cast<int32_t>(height * scale) & ~1;
    options.isMeasured = true;
    options.preset = preset;
    const AvCodecOwner codec = openAvcCodec(options);
    const AvPacketOwner packet(av_packet_alloc());
    if (codec == nullptr || packet == nullptr) return 0;
    MovingPicture picture(options.width, options.height);
    std::vector<int64_t> times;
    while (times.size() < kLeastPictures ||
           (times.size() < kMostPictures && monotonicUs() < endUs)) {
        const AVFrame* const frame = picture.at(static_cast<int>(times.size()));
        const int64_t tookUs = frame == nullptr ? AVERROR(ENOMEM) : encode(codec, frame, packet);
        if (tookUs < 0) return 0;
        times.push_back(tookUs);
    }
    // The first one is a key frame, and the next ones bring memory into being; a computer that has
    // much else to do can only make them longer.
    times.erase(times.begin());
    const int64_t leastUs = *std::min_element(times.begin(), times.end());
    const double scaledUs = static_cast<double>(leastUs) * width * height /
                            (static_cast<double>(options.width) * options.height);
    return std::max<int64_t>(1, std::llround(scaledUs / threads));
}

}  // namespace oxa::host
