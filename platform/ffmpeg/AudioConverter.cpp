// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioConverter"

#include "ffmpeg/AudioConverter.h"

#include <algorithm>
#include <array>
#include <vector>

#include "ffmpeg/MediaLimits.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

namespace android {

AudioShape::AudioShape(AVSampleFormat sampleFormat, int rate, const AVChannelLayout& channels)
    : format(sampleFormat), sampleRate(rate) {
    av_channel_layout_copy(&layout, &channels);
}

AudioShape::AudioShape(const AudioShape& other)
    : AudioShape(other.format, other.sampleRate, other.layout) {}

AudioShape& AudioShape::operator=(const AudioShape& other) {
    if (this == &other) return *this;
    format = other.format;
    sampleRate = other.sampleRate;
    av_channel_layout_copy(&layout, &other.layout);
    return *this;
}

AudioShape::~AudioShape() {
    av_channel_layout_uninit(&layout);
}

bool AudioShape::operator==(const AudioShape& other) const {
    return format == other.format && sampleRate == other.sampleRate &&
           av_channel_layout_compare(&layout, &other.layout) == 0;
}

bool AudioConverter::open(const AudioShape& output) {
    close();
    if (!isSoundAllowed(output.channels(), output.sampleRate)) return false;
    mOutput = output;
    mFifo.reset(av_audio_fifo_alloc(output.format, output.channels(), kStepFrames));
    return mFifo != nullptr;
}

void AudioConverter::close() {
    mResampler.reset();
    mFifo.reset();
    mScratch.reset();
    mScratchFrames = 0;
    mInput = AudioShape();
    mOutput = AudioShape();
}

bool AudioConverter::setInput(const AudioShape& input) {
    if (mResampler != nullptr && mInput == input) return true;
    flush();
    mInput = input;
    return openResampler();
}

bool AudioConverter::openResampler() {
    if (!isSoundAllowed(mInput.channels(), mInput.sampleRate)) return false;
    return initResampler(false) || initResampler(true);
}

bool AudioConverter::initResampler(bool firstChannelsOnly) {
    mResampler.reset();
    if (swr_alloc_set_opts2(mResampler.address(), &mOutput.layout, mOutput.format,
                            mOutput.sampleRate, &mInput.layout, mInput.format, mInput.sampleRate, 0,
                            nullptr) < 0) {
        return false;
    }
    // A bound that no matrix reaches: without it a mix to or from 16 bits is made quieter.
    constexpr double kNoNormalisation = 1000;
    av_opt_set_double(mResampler, "rematrix_maxval", kNoNormalisation, 0);
    const bool formatOnly = mInput.sampleRate == mOutput.sampleRate &&
                            av_channel_layout_compare(&mInput.layout, &mOutput.layout) == 0;
    if (!formatOnly)
        av_opt_set_sample_fmt(mResampler, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    if (firstChannelsOnly) {
        std::vector<double> matrix(static_cast<size_t>(mInput.channels()) * mOutput.channels(), 0);
        for (int channel = 0; channel < std::min(mInput.channels(), mOutput.channels());
             ++channel) {
            matrix[channel * mInput.channels() + channel] = 1;
        }
        swr_set_matrix(mResampler, matrix.data(), mInput.channels());
    }
    if (swr_init(mResampler) >= 0) return true;
    mResampler.reset();
    return false;
}

bool AudioConverter::push(const uint8_t* const* planes, int frames) {
    if (mResampler == nullptr) return false;
    const bool planar = av_sample_fmt_is_planar(mInput.format);
    const int count = planar ? mInput.channels() : 1;
    const int stride = av_get_bytes_per_sample(mInput.format) * (planar ? 1 : mInput.channels());
    std::array<const uint8_t*, limits::kMaxChannels> step = {};
    for (int done = 0; done < frames; done += kStepFrames) {
        for (int plane = 0; plane < count; ++plane) {
            step[plane] = planes[plane] + static_cast<size_t>(done) * stride;
        }
        if (!convertStep(step.data(), std::min(kStepFrames, frames - done))) return false;
    }
    return true;
}

bool AudioConverter::stretch(int frames, int overFrames) {
    if (mResampler == nullptr) return false;
    // Counts only if there was no resampling before.
    av_opt_set_sample_fmt(mResampler, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    return swr_set_compensation(mResampler, frames, overFrames) >= 0;
}

bool AudioConverter::flush() {
    if (mResampler == nullptr) return true;
    const bool done = convertStep(nullptr, 0);
    mResampler.reset();
    return done;
}

bool AudioConverter::convertStep(const uint8_t** planes, int frames) {
    const int room = swr_get_out_samples(mResampler, frames);
    if (room < 0) return false;
    // Nothing was ever put in: there is no scratch buffer to take the rest.
    if (room == 0 && frames == 0) return true;
    if (room > mScratchFrames) {
        mScratch.reset();
        mScratchFrames = 0;
        if (av_samples_alloc_array_and_samples(mScratch.address(), nullptr, mOutput.channels(),
                                               room, mOutput.format, 0) < 0) {
            return false;
        }
        mScratchFrames = room;
    }
    const int converted = swr_convert(mResampler, mScratch, mScratchFrames, planes, frames);
    if (converted < 0) return false;
    return av_audio_fifo_write(mFifo, reinterpret_cast<void**>(mScratch.get()), converted) ==
           converted;
}

int AudioConverter::available() const {
    return mFifo == nullptr ? 0 : av_audio_fifo_size(mFifo);
}

int64_t AudioConverter::delayedFrames() const {
    return mResampler == nullptr ? 0 : swr_get_delay(mResampler, mOutput.sampleRate);
}

int AudioConverter::pull(uint8_t* const* planes, int frames) {
    if (mFifo == nullptr) return 0;
    return std::max(
            0, av_audio_fifo_read(mFifo, reinterpret_cast<void**>(const_cast<uint8_t**>(planes)),
                                  frames));
}

}  // namespace android
