// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/rational.h>
}

namespace android {

// What a media file can ask for at most. A track that asks for more is left out, as is a sample.
namespace limits {

constexpr size_t kMaxTracks = 64;
constexpr int kMaxPictureSide = 16384;
constexpr int64_t kMaxPicturePoints = 35651584;  // what the highest levels of AVC, HEVC, AV1 allow
constexpr int kMaxChannels = 64;
constexpr int kMinSampleRate = 1000;
constexpr int kMaxSampleRate = 1536000;
constexpr int kMaxSampleBytes = 256 << 20;
constexpr int kMaxCodecDataBytes = 4 << 20;
constexpr size_t kMaxLanguageLength = 64;
constexpr size_t kMaxMetadataLength = 4096;  // of a text about the file
constexpr size_t kMaxMetadataItems = 256;
constexpr unsigned kMaxChapters = 1024;
// Of one allocation by FFmpeg's libraries. The largest picture needs a quarter of it, the index of
// a recording of two days all of it.
constexpr size_t kMaxAllocationBytes = size_t{1} << 30;

// A hundred years. What is beyond is taken for damage; sums of a few such times, and nanoseconds,
// still fit into 64 bits.
constexpr int64_t kMaxTimeUs = INT64_C(100) * 366 * 86400 * 1000000;
constexpr int64_t kMaxSampleDurationUs = INT64_C(86400) * 1000000;
// Of what lasts longer it is looked into whether the other tracks do so, too.
constexpr int64_t kMaxSteadyStepUs = INT64_C(3600) * 1000000;

}  // namespace limits

bool isPictureSizeAllowed(int64_t width, int64_t height);
bool isSoundAllowed(int channels, int sampleRate);

// Whether a time in units of `timeBase` is within kMaxTimeUs; AV_NOPTS_VALUE is not.
bool isTimeAllowed(int64_t time, AVRational timeBase);
// The nearest time within kMaxTimeUs.
int64_t clampTimeUs(int64_t timeUs);

// For the whole process; called by whoever is about to use FFmpeg's libraries.
void limitAvAllocations();

}  // namespace android
