// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvcCodec"

#include "codec/AvcCodec.h"

#include <log/log.h>
#include <oxa/host/EncoderRate.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "codec/CodecThreads.h"
#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 16;
// Threads of a live encoder share one picture, and each one's part of it costs some quality.
constexpr unsigned kMaxLiveThreads = 8;
// x264 counts in thousands and takes 0 for "no bit rate".
constexpr int32_t kLowestBitrate = 1000;
constexpr int kNoFurtherKeyFrames = INT_MAX;

struct NamedProfile {
    int32_t number;
    const char* name;
};

constexpr NamedProfile kProfiles[] = {
        {0x1, "baseline"}, {0x2, "main"}, {0x8, "high"}, {0x10000, "baseline"}, {0x80000, "high"},
};

void setPicture(const AvcCodecOptions& options, AVCodecContext* codec) {
    codec->width = options.width;
    codec->height = options.height;
    codec->pix_fmt = options.pixelFormat;
    codec->time_base = kMicroseconds;
    codec->framerate = av_d2q(options.frameRate, 1001000);
    if (!options.colours) return;
    const PictureFormat& format = *options.colours;
    codec->color_range = static_cast<AVColorRange>(format.range);
    codec->color_primaries = static_cast<AVColorPrimaries>(format.primaries);
    codec->color_trc = static_cast<AVColorTransferCharacteristic>(format.transfer);
    codec->colorspace = static_cast<AVColorSpace>(format.matrix);
    codec->chroma_sample_location = static_cast<AVChromaLocation>(format.chromaLocation);
    codec->sample_aspect_ratio = {format.aspectNumerator, format.aspectDenominator};
}

// A picture that goes in comes out before the next one does: the threads work on the same picture,
// none is looked at in advance, and how long it lasts is not waited for.
void keepNothingBack(AVCodecContext* codec) {
    codec->thread_type = FF_THREAD_SLICE;
    av_opt_set_int(codec->priv_data, "rc-lookahead", 0, 0);
    av_opt_set_int(codec->priv_data, "mbtree", 0, 0);
    av_opt_set(codec->priv_data, "x264-params", "sync-lookahead=0:force-cfr=1", 0);
}

void setStream(const AvcCodecOptions& options, AVCodecContext* codec) {
    const double keyInterval = static_cast<double>(options.keyIntervalSec) * options.frameRate;
    codec->gop_size = options.keyIntervalSec < 0 || keyInterval > kNoFurtherKeyFrames
                              ? kNoFurtherKeyFrames
                              : std::max(1, static_cast<int>(std::lround(keyInterval)));
    codec->max_b_frames = 0;
    codec->thread_count = options.isMeasured ? 1 : avcCodecThreads(options);
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    for (const NamedProfile& profile : kProfiles) {
        if (profile.number == options.profile) {
            av_opt_set(codec->priv_data, "profile", profile.name, 0);
        }
    }
    const int32_t bitrate = options.bitrate;
    codec->bit_rate = bitrate == 0 ? 0 : std::max(bitrate, kLowestBitrate);
    if (bitrate == 0) av_opt_set_double(codec->priv_data, "crf", oxa::host::encoderQuality(), 0);
    av_opt_set(codec->priv_data, "preset", options.preset.c_str(), 0);
    av_opt_set_int(codec->priv_data, "forced-idr", 1, 0);
    if (options.isLive) keepNothingBack(codec);
}

}  // namespace

int avcCodecThreads(const AvcCodecOptions& options) {
    return codecThreads(options.width, options.height,
                        options.isLive ? kMaxLiveThreads : kMaxThreads);
}

AvCodecOwner openAvcCodec(const AvcCodecOptions& options) {
    const AVCodec* encoder = avcodec_find_encoder_by_name("libx264");
    AvCodecOwner codec(encoder == nullptr ? nullptr : avcodec_alloc_context3(encoder));
    if (codec == nullptr) return codec;
    setPicture(options, codec);
    setStream(options, codec);
    codec->level = options.level;
    const int err = avcodec_open2(codec, encoder, nullptr);
    if (err < 0) {
        ALOGE("cannot open the encoder for %dx%d (%d)", options.width, options.height, err);
        codec.reset();
    }
    return codec;
}

}  // namespace android
