// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

#include "ffmpeg/AvOwner.h"

namespace android {

// The description of one side of an AudioConverter.
struct AudioShape {
    AVSampleFormat format = AV_SAMPLE_FMT_NONE;
    int sampleRate = 0;
    AVChannelLayout layout = {};

    AudioShape() = default;
    AudioShape(AVSampleFormat sampleFormat, int rate, const AVChannelLayout& channels);
    AudioShape(const AudioShape& other);
    AudioShape& operator=(const AudioShape& other);
    ~AudioShape();

    bool operator==(const AudioShape& other) const;
    bool operator!=(const AudioShape& other) const { return !(*this == other); }
    int channels() const { return layout.nb_channels; }
};

// Turns sound of any shape into one fixed shape and keeps the result until it is pulled. The mixing
// matrix is not normalised: a mix is as loud as the `ffmpeg` command makes it, and 16-bit results
// saturate. Layouts that have no known mix keep their first channels. One thread at a time.
class AudioConverter {
  public:
    AudioConverter() = default;
    AudioConverter(const AudioConverter&) = delete;
    AudioConverter& operator=(const AudioConverter&) = delete;

    // Forgets everything and makes `output` the shape of what is pulled.
    bool open(const AudioShape& output);
    void close();

    // The shape of what is pushed from now on. After a change the rest of the former input is
    // converted first. False when such an input cannot be converted; the old one is gone then.
    bool setInput(const AudioShape& input);

    // Converts `frames` samples of each channel; `planes` has one pointer for packed formats and
    // one for each channel of planar ones.
    bool push(const uint8_t* const* planes, int frames);

    // Makes the next `overFrames` frames of output `frames` longer than they are (negative:
    // shorter) by resampling. From the first call on all sound goes through the resampler.
    bool stretch(int frames, int overFrames);

    // Converts what the resampler still holds; setInput() is needed before more is pushed.
    bool flush();

    const AudioShape& input() const { return mInput; }
    const AudioShape& output() const { return mOutput; }
    // Output frames that can be pulled.
    int available() const;
    // Output frames that the resampler will give for what it has taken but not converted yet.
    int64_t delayedFrames() const;
    // Fills `planes` with at most `frames` samples and returns how many.
    int pull(uint8_t* const* planes, int frames);

  private:
    static constexpr int kStepFrames = 4096;

    bool openResampler();
    bool initResampler(bool firstChannelsOnly);
    bool convertStep(const uint8_t** planes, int frames);

    AudioShape mInput;
    AudioShape mOutput;
    AvResamplerOwner mResampler;
    AvFifoOwner mFifo;
    AvSamplesOwner mScratch;  // one step of output
    int mScratchFrames = 0;
};

}  // namespace android
