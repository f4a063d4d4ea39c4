// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/PcmFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace android {

namespace {

constexpr float kFullScale = 32768;

int16_t fromFloat(float sample) {
    if (std::isnan(sample)) return 0;
    return static_cast<int16_t>(
            std::lrintf(std::clamp(sample * kFullScale, -kFullScale, kFullScale - 1)));
}

// A client's buffer may lie at any address.
// The lowest byte first.
struct Packed24 {
    uint8_t bytes[3];
};

template <typename From, typename To, typename Convert>
void convertAll(const void* from, void* to, size_t count, Convert convert) {
    for (size_t i = 0; i < count; ++i) {
        From sample;
        memcpy(&sample, static_cast<const char*>(from) + i * sizeof(From), sizeof(From));
        const To converted = convert(sample);
        memcpy(static_cast<char*>(to) + i * sizeof(To), &converted, sizeof(To));
    }
}

}  // namespace

bool isPcmFormat(audio_format_t format) {
    return audio_bytes_per_sample(format) > 0;
}

void pcmTo16Bit(const void* pcm, audio_format_t format, int16_t* samples, size_t count) {
    switch (format) {
        case AUDIO_FORMAT_PCM_8_BIT:
            convertAll<uint8_t, int16_t>(pcm, samples, count,
                                         [](uint8_t sample) { return (sample - 0x80) * 256; });
            break;
        case AUDIO_FORMAT_PCM_32_BIT:
            convertAll<int32_t, int16_t>(pcm, samples, count,
                                         [](int32_t sample) { return sample >> 16; });
            break;
        case AUDIO_FORMAT_PCM_8_24_BIT:
            convertAll<int32_t, int16_t>(pcm, samples, count, [](int32_t sample) {
                return std::clamp<int32_t>(sample >> 8, INT16_MIN, INT16_MAX);
            });
            break;
        case AUDIO_FORMAT_PCM_24_BIT_PACKED:
            convertAll<Packed24, int16_t>(pcm, samples, count, [](const Packed24& sample) {
                return sample.bytes[1] | sample.bytes[2] << 8;
            });
            break;
        case AUDIO_FORMAT_PCM_FLOAT:
            convertAll<float, int16_t>(pcm, samples, count, fromFloat);
            break;
        default:
            if (count > 0) memcpy(samples, pcm, count * sizeof(int16_t));
    }
}

void pcmFrom16Bit(const int16_t* samples, audio_format_t format, void* pcm, size_t count) {
    switch (format) {
        case AUDIO_FORMAT_PCM_8_BIT:
            convertAll<int16_t, uint8_t>(samples, pcm, count,
                                         [](int16_t sample) { return (sample >> 8) + 0x80; });
            break;
        case AUDIO_FORMAT_PCM_32_BIT:
            convertAll<int16_t, int32_t>(samples, pcm, count,
                                         [](int16_t sample) { return sample * 65536; });
            break;
        case AUDIO_FORMAT_PCM_8_24_BIT:
            convertAll<int16_t, int32_t>(samples, pcm, count,
                                         [](int16_t sample) { return sample * 256; });
            break;
        case AUDIO_FORMAT_PCM_24_BIT_PACKED:
            convertAll<int16_t, Packed24>(samples, pcm, count, [](int16_t sample) {
                return Packed24{
                        {0, static_cast<uint8_t>(sample), static_cast<uint8_t>(sample >> 8)}};
            });
            break;
        case AUDIO_FORMAT_PCM_FLOAT:
            convertAll<int16_t, float>(samples, pcm, count,
                                       [](int16_t sample) { return sample / kFullScale; });
            break;
        default:
            if (count > 0) memcpy(pcm, samples, count * sizeof(int16_t));
    }
}

}  // namespace android
