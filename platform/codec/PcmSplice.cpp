// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/PcmSplice.h"

#include <algorithm>
#include <cmath>

namespace android {

namespace {

constexpr int kFadesPerSecond = 300;

// From 1 to 0 over `length` frames; it and its mirror image add up to 1.
float fadeOut(int64_t frame, int64_t length) {
    const double phase = M_PI * (static_cast<double>(frame) + 0.5) / static_cast<double>(length);
    return static_cast<float>(0.5 + 0.5 * std::cos(phase));
}

std::vector<int16_t> toPcm(const std::vector<float>& mix) {
    std::vector<int16_t> pcm(mix.size());
    std::transform(mix.begin(), mix.end(), pcm.begin(), [](float sample) {
        return static_cast<int16_t>(std::lround(std::clamp(sample, -32768.0f, 32767.0f)));
    });
    return pcm;
}

}  // namespace

void PcmSplice::start(int channels, int sampleRate) {
    mChannels = channels;
    mFadeFrames = std::max(1, sampleRate / kFadesPerSecond);
    mEnd.clear();
}

void PcmSplice::remember(const int16_t* pcm, int frames) {
    const size_t size = mFadeFrames * mChannels;
    const size_t added = std::min(size, frames * mChannels);
    if (mEnd.size() + added > size) {
        mEnd.erase(mEnd.begin(), mEnd.begin() + static_cast<ptrdiff_t>(mEnd.size() + added - size));
    }
    const int16_t* end = pcm + frames * mChannels;
    mEnd.insert(mEnd.end(), end - added, end);
}

// `fade` frames, or as many as were remembered.
void PcmSplice::addFadingEnd(std::vector<float>* mix, int64_t fade) const {
    const int64_t known = std::min<int64_t>(fade, mEnd.size() / mChannels);
    for (int64_t frame = 0; frame < known; ++frame) {
        const int16_t* mirrored = mEnd.data() + mEnd.size() - (frame + 1) * mChannels;
        for (size_t channel = 0; channel < mChannels; ++channel) {
            (*mix)[frame * mChannels + channel] += mirrored[channel] * fadeOut(frame, known);
        }
    }
}

std::vector<int16_t> PcmSplice::bridge(int64_t frames, const int16_t* next, int nextFrames) const {
    const int64_t length = std::min<int64_t>(frames, int64_t{2} * mFadeFrames);
    const int64_t fade = std::min<int64_t>(length, mFadeFrames);
    std::vector<float> mix(length * mChannels);
    addFadingEnd(&mix, fade);
    const int64_t known = std::min<int64_t>(fade, nextFrames);
    for (int64_t frame = 0; frame < known; ++frame) {
        float* mixed = mix.data() + (length - 1 - frame) * mChannels;
        for (size_t channel = 0; channel < mChannels; ++channel) {
            mixed[channel] += next[frame * mChannels + channel] * fadeOut(frame, known);
        }
    }
    return toPcm(mix);
}

std::vector<int16_t> PcmSplice::join(const int16_t* pcm, int frames) const {
    const int64_t known = mEnd.size() / mChannels;
    const int64_t fade = std::min<int64_t>({mFadeFrames, frames, known});
    std::vector<float> mix(fade * mChannels);
    addFadingEnd(&mix, fade);
    for (int64_t frame = 0; frame < fade; ++frame) {
        for (size_t channel = 0; channel < mChannels; ++channel) {
            const size_t at = frame * mChannels + channel;
            mix[at] += pcm[at] * (1 - fadeOut(frame, fade));
        }
    }
    return toPcm(mix);
}

}  // namespace android
