// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Resampler"

#include <audio_utils/resampler.h>
#include <errno.h>
#include <log/log.h>
#include <speex/speex_resampler.h>

#include <algorithm>
#include <new>

namespace {

struct Resampler {
    resampler_itfe itfe;  // first: what clients hold
    SpeexResamplerState* state;
    resampler_buffer_provider* provider;
    uint32_t channelCount;
    uint32_t inSampleRate;
};

Resampler* self(resampler_itfe* itfe) {
    return reinterpret_cast<Resampler*>(itfe);
}

void process(Resampler* resampler, const int16_t* in, size_t* inFrames, int16_t* out,
             size_t* outFrames) {
    auto inCount = static_cast<spx_uint32_t>(*inFrames);
    auto outCount = static_cast<spx_uint32_t>(*outFrames);
    if (resampler->channelCount == 1) {
        speex_resampler_process_int(resampler->state, 0, in, &inCount, out, &outCount);
    } else {
        speex_resampler_process_interleaved_int(resampler->state, in, &inCount, out, &outCount);
    }
    *inFrames = inCount;
    *outFrames = outCount;
}

void reset(resampler_itfe* itfe) {
    if (itfe != nullptr) speex_resampler_reset_mem(self(itfe)->state);
}

int resampleFromProvider(resampler_itfe* itfe, int16_t* out, size_t* outFrameCount) {
    if (itfe == nullptr || out == nullptr || outFrameCount == nullptr) return -EINVAL;
    Resampler* resampler = self(itfe);
    if (resampler->provider == nullptr) {
        *outFrameCount = 0;
        return -ENOSYS;
    }
    const size_t wanted = *outFrameCount;
    size_t produced = 0;
    while (produced < wanted) {
        spx_uint32_t inRate = 0;
        spx_uint32_t outRate = 0;
        speex_resampler_get_rate(resampler->state, &inRate, &outRate);
        resampler_buffer buffer = {};
        // A frame more, so that rounding never asks for nothing.
        buffer.frame_count = (wanted - produced) * inRate / outRate + 1;
        resampler->provider->get_next_buffer(resampler->provider, &buffer);
        if (buffer.raw == nullptr) break;
        size_t consumed = buffer.frame_count;
        size_t made = wanted - produced;
        process(resampler, buffer.i16, &consumed, out + produced * resampler->channelCount, &made);
        produced += made;
        buffer.frame_count = consumed;
        resampler->provider->release_buffer(resampler->provider, &buffer);
        if (consumed == 0 && made == 0) break;
    }
    *outFrameCount = produced;
    return 0;
}

int resampleFromInput(resampler_itfe* itfe, int16_t* in, size_t* inFrameCount, int16_t* out,
                      size_t* outFrameCount) {
    if (itfe == nullptr || in == nullptr || inFrameCount == nullptr || out == nullptr ||
        outFrameCount == nullptr) {
        return -EINVAL;
    }
    Resampler* resampler = self(itfe);
    if (resampler->provider != nullptr) {
        *outFrameCount = 0;
        return -ENOSYS;
    }
    process(resampler, in, inFrameCount, out, outFrameCount);
    return 0;
}

int32_t delayNs(resampler_itfe* itfe) {
    if (itfe == nullptr) return -EINVAL;
    const Resampler* resampler = self(itfe);
    const int64_t frames = speex_resampler_get_input_latency(resampler->state);
    return static_cast<int32_t>(frames * 1000000000 / resampler->inSampleRate);
}

}  // namespace

int create_resampler(uint32_t inSampleRate, uint32_t outSampleRate, uint32_t channelCount,
                     uint32_t quality, struct resampler_buffer_provider* provider,
                     struct resampler_itfe** resampler) {
    if (resampler == nullptr) return -EINVAL;
    *resampler = nullptr;
    if (quality <= RESAMPLER_QUALITY_MIN || quality >= RESAMPLER_QUALITY_MAX) return -EINVAL;
    int error = RESAMPLER_ERR_SUCCESS;
    SpeexResamplerState* state = speex_resampler_init(channelCount, inSampleRate, outSampleRate,
                                                      static_cast<int>(quality), &error);
    if (state == nullptr) {
        ALOGE("no resampler from %u to %u Hz with %u channels: %s", inSampleRate, outSampleRate,
              channelCount, speex_resampler_strerror(error));
        return -ENODEV;
    }
    auto* made =
            new (std::nothrow) Resampler{{reset, resampleFromProvider, resampleFromInput, delayNs},
                                         state,
                                         provider,
                                         channelCount,
                                         inSampleRate};
    if (made == nullptr) {
        speex_resampler_destroy(state);
        return -ENODEV;
    }
    *resampler = &made->itfe;
    return 0;
}

void release_resampler(struct resampler_itfe* resampler) {
    if (resampler == nullptr) return;
    speex_resampler_destroy(self(resampler)->state);
    delete self(resampler);
}
