// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "codec/PcmSplice.h"

namespace android {

// Keeps interleaved 16-bit PCM in the place that its stamps tell, with as few changes as possible.
//
// - A stamp that is up to kToleratedUs off is taken for rounding: nothing happens.
// - More than that, up to kStepUs, for half a second on end, is a clock that drifts: the sound is
//   stretched a little.
// - Beyond it is a gap or an overlap, once the stamps of kSettleUs say so on end and come no nearer
//   meanwhile: it is filled with silence, or cut, where it is. Until then, kLongestUs at most, the
//   sound waits here. Stamps that come back before (a live source whose thread was late and brings
//   everything at once, a single wrong stamp) move nothing.
//
// Not locked.
class SoundTimeline {
  public:
    // Where the sound goes. put() answers false when nothing more is wanted, and all calls of the
    // timeline then do.
    class Output {
      public:
        virtual ~Output() = default;
        // The time at which sound that is put next is heard.
        virtual int64_t endUs() const = 0;
        virtual bool put(const int16_t* pcm, int frames) = 0;
        // From here on sound gets longer by this much (negative: shorter), little by little;
        // endUs() counts all of it at once. False, and nothing done, while a former one is under
        // way.
        virtual bool stretch(int64_t us) = 0;
    };

    static constexpr int64_t kToleratedUs = 2000;
    static constexpr int64_t kStepUs = 3500;
    static constexpr int64_t kSettleUs = 250000;
    static constexpr int64_t kLongestUs = 2000000;
    static constexpr int64_t kDriftUs = 500000;
    // A stamp that is further off than a day is a broken stamp, not a pause.
    static constexpr int64_t kBrokenStampUs = INT64_C(86400) * 1000000;

    // Begins anew. `output` is not owned and outlives the timeline's use.
    void start(int channels, int sampleRate, Output* output);

    // Sound whose first frame is to be heard at `timeUs`, any value.
    bool add(const int16_t* pcm, int frames, int64_t timeUs);
    // Nothing follows: what waits goes out.
    bool finish();

  private:
    struct Block {
        std::vector<int16_t> pcm;
        int64_t timeUs;
    };
    enum class Verdict { kUnknown, kPasses, kLasts };

    int64_t deviationUs(int64_t timeUs, int64_t framesBefore) const;
    int64_t toUs(int64_t frames) const;
    int framesOf(const Block& block) const;

    bool settle(bool ended);
    Verdict judge(bool ended, int64_t* stepUs) const;
    bool fill(int64_t frames);
    void cut(int64_t frames);
    bool putFirst();
    bool put(const int16_t* pcm, int frames);
    bool putSilence(int64_t frames);
    void watchDrift(int64_t deviationUs, int frames);

    int mChannels = 0;
    int mSampleRate = 0;
    Output* mOutput = nullptr;

    PcmSplice mSplice;
    std::deque<Block> mWaiting;
    bool mWasCut = false;    // what is put next does not join what was put last
    int64_t mDriftUs = 0;    // the smallest of a row of deviations to one side
    int64_t mDriftLong = 0;  // how long the row is, in frames
};

}  // namespace android
