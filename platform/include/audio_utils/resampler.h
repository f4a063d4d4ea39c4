// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Changes the sample rate of interleaved 16-bit sound. All counts are frames: samples of one
// channel. A resampler is used by one thread at a time.

#define RESAMPLER_QUALITY_MAX 10
#define RESAMPLER_QUALITY_MIN 0
#define RESAMPLER_QUALITY_DEFAULT 4
#define RESAMPLER_QUALITY_VOIP 3
#define RESAMPLER_QUALITY_DESKTOP 5

struct resampler_buffer {
    union {
        void* raw;
        short* i16;
        int8_t* i8;
    };
    size_t frame_count;
};

// Where a resampler takes its sound from when it was made with one.
struct resampler_buffer_provider {
    // Sets `raw` and at most the frames asked for in `frame_count`; null and 0 when there are none.
    // The memory is the provider's and stays valid until it is released.
    int (*get_next_buffer)(struct resampler_buffer_provider* provider,
                           struct resampler_buffer* buffer);
    // `frame_count` tells how many of the frames were used.
    void (*release_buffer)(struct resampler_buffer_provider* provider,
                           struct resampler_buffer* buffer);
};

struct resampler_itfe {
    // Forgets the sound that it still holds.
    void (*reset)(struct resampler_itfe* resampler);

    // Fills `out` from the provider; `outFrameCount` is the room and becomes the frames produced.
    // 0, -EINVAL for a null argument, -ENOSYS without a provider.
    int (*resample_from_provider)(struct resampler_itfe* resampler, int16_t* out,
                                  size_t* outFrameCount);

    // The same from `in`: `inFrameCount` becomes the frames consumed, `outFrameCount` the frames
    // produced. Both must be below 2^32. 0, -EINVAL for a null argument, -ENOSYS with a provider.
    int (*resample_from_input)(struct resampler_itfe* resampler, int16_t* in, size_t* inFrameCount,
                               int16_t* out, size_t* outFrameCount);

    // How long a frame stays inside before it is heard, in nanoseconds.
    int32_t (*delay_ns)(struct resampler_itfe* resampler);
};

// Rates in Hz. `quality` 1 (fast) to 9 (good). `provider` may be null and stays the caller's. 0;
// -EINVAL for a null `resampler` or another quality; -ENODEV, and `*resampler` is null, when there
// is no resampler for these rates and channels.
int create_resampler(uint32_t inSampleRate, uint32_t outSampleRate, uint32_t channelCount,
                     uint32_t quality, struct resampler_buffer_provider* provider,
                     struct resampler_itfe** resampler);

// Harmless for null.
void release_resampler(struct resampler_itfe* resampler);

#ifdef __cplusplus
}
#endif
