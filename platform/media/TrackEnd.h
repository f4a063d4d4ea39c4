// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/RefBase.h>

#include <atomic>

namespace android {

// The item of an encoder's output format, and of the meta data that is made of it, that leads a
// writer to the encoder's TrackEnd: int64.
constexpr const char kFormatKeyTrackEnd[] = "linux.track-end";
constexpr uint32_t kMetaKeyTrackEnd = 'lxte';

// When the last sample of a track ends, which samples cannot say: they come with their beginnings
// alone. Encoder and writer share one object. All calls may come from any thread.
class TrackEnd : public RefBase {
  public:
    TrackEnd();

    // What stands under the keys above.
    int64_t number() const { return mNumber; }
    // Null when nobody has that one any more.
    static sp<TrackEnd> find(int64_t number);

    // Encoder: after its last sample, in microseconds.
    void set(int64_t timeUs) { mTimeUs = timeUs; }
    // Writer: negative as long as the track goes on, or where nobody knows.
    int64_t get() const { return mTimeUs; }

  private:
    ~TrackEnd() override;

    const int64_t mNumber;
    std::atomic<int64_t> mTimeUs{-1};
};

}  // namespace android
