// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SoundTimeline"

#include "codec/SoundTimeline.h"

#include <log/log.h>

#include <algorithm>
#include <cstdlib>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace android {

namespace {

constexpr int64_t kMicroseconds = 1000000;
constexpr int64_t kMaxStampUs = INT64_MAX / 4;  // room for sums, whatever the stamps are
constexpr int64_t kSilenceStepFrames = 4096;

bool isBroken(int64_t deviationUs) {
    return std::llabs(deviationUs) > SoundTimeline::kBrokenStampUs;
}

bool isStep(int64_t deviationUs) {
    return std::llabs(deviationUs) > SoundTimeline::kStepUs && !isBroken(deviationUs);
}

bool sameSide(int64_t a, int64_t b) {
    return (a < 0) == (b < 0);
}

int64_t smaller(int64_t a, int64_t b) {
    return std::llabs(a) < std::llabs(b) ? a : b;
}

}  // namespace

void SoundTimeline::start(int channels, int sampleRate, Output* output) {
    mChannels = channels;
    mSampleRate = sampleRate;
    mOutput = output;
    mSplice.start(channels, sampleRate);
    mWaiting.clear();
    mWasCut = false;
    mDriftUs = 0;
    mDriftLong = 0;
}

bool SoundTimeline::add(const int16_t* pcm, int frames, int64_t timeUs) {
    const int64_t stampUs = std::clamp(timeUs, -kMaxStampUs, kMaxStampUs);
    const int64_t deviation = deviationUs(stampUs, 0);
    if (mWaiting.empty() && !isStep(deviation)) {
        watchDrift(deviation, frames);
        return put(pcm, frames);
    }
    mWaiting.push_back({std::vector<int16_t>(pcm, pcm + int64_t{frames} * mChannels), stampUs});
    return settle(false);
}

bool SoundTimeline::finish() {
    return settle(true);
}

bool SoundTimeline::settle(bool ended) {
    while (!mWaiting.empty()) {
        int64_t stepUs = 0;
        const Verdict verdict = judge(ended, &stepUs);
        if (verdict == Verdict::kUnknown) return true;
        if (verdict == Verdict::kLasts) {
            ALOGD("sound is %lld us off its place", static_cast<long long>(stepUs));
            const int64_t frames = av_rescale(stepUs, mSampleRate, kMicroseconds);
            if (frames < 0) {
                cut(-frames);
                continue;
            }
            if (!fill(frames)) return false;
        }
        if (!putFirst()) return false;
    }
    return true;
}

// Whether all that waits is off to the same side as its first block, and by how much at least.
SoundTimeline::Verdict SoundTimeline::judge(bool ended, int64_t* stepUs) const {
    constexpr int kFewestStamps = 2;
    const int64_t first = deviationUs(mWaiting.front().timeUs, 0);
    if (!isStep(first)) return Verdict::kPasses;
    *stepUs = first;
    int64_t frames = 0;
    int64_t steadyFrames = 0;  // since the deviation came nearer the last time
    int stamps = 0;
    for (const Block& block : mWaiting) {
        const int64_t deviation = deviationUs(block.timeUs, frames);
        frames += framesOf(block);
        if (isBroken(deviation)) continue;
        if (!isStep(deviation) || !sameSide(deviation, first)) return Verdict::kPasses;
        if (std::llabs(deviation) < std::llabs(*stepUs) - kToleratedUs) steadyFrames = 0;
        *stepUs = smaller(*stepUs, deviation);
        steadyFrames += framesOf(block);
        ++stamps;
    }
    const bool agreed = stamps >= kFewestStamps;
    const bool settled = toUs(steadyFrames) >= kSettleUs || toUs(frames) >= kLongestUs;
    if (agreed && settled) return Verdict::kLasts;
    if (!ended) return Verdict::kUnknown;
    // One wrong stamp at the end must not become hours of silence.
    return agreed || std::llabs(*stepUs) <= kSettleUs ? Verdict::kLasts : Verdict::kPasses;
}

bool SoundTimeline::fill(int64_t frames) {
    const Block& next = mWaiting.front();
    const std::vector<int16_t> edges = mSplice.bridge(frames, next.pcm.data(), framesOf(next));
    const int edgeFrames = static_cast<int>(edges.size() / mChannels);
    const int before = edgeFrames / 2;
    return put(edges.data(), before) && putSilence(frames - edgeFrames) &&
           put(edges.data() + int64_t{before} * mChannels, edgeFrames - before);
}

void SoundTimeline::cut(int64_t frames) {
    mWasCut = true;
    while (frames > 0 && !mWaiting.empty()) {
        Block& first = mWaiting.front();
        const int64_t count = std::min<int64_t>(frames, framesOf(first));
        first.pcm.erase(first.pcm.begin(), first.pcm.begin() + count * mChannels);
        first.timeUs += toUs(count);
        frames -= count;
        if (first.pcm.empty()) mWaiting.pop_front();
    }
}

bool SoundTimeline::putFirst() {
    const Block first = std::move(mWaiting.front());
    mWaiting.pop_front();
    const int frames = framesOf(first);
    watchDrift(deviationUs(first.timeUs, 0), frames);
    return put(first.pcm.data(), frames);
}

bool SoundTimeline::put(const int16_t* pcm, int frames) {
    if (frames == 0) return true;
    if (mWasCut) {
        mWasCut = false;
        const std::vector<int16_t> joint = mSplice.join(pcm, frames);
        const int joined = static_cast<int>(joint.size() / mChannels);
        return put(joint.data(), joined) && put(pcm + int64_t{joined} * mChannels, frames - joined);
    }
    mSplice.remember(pcm, frames);
    return mOutput->put(pcm, frames);
}

bool SoundTimeline::putSilence(int64_t frames) {
    const int64_t stepFrames = std::min(frames, kSilenceStepFrames);
    const std::vector<int16_t> silence(stepFrames * mChannels);
    for (; frames > 0; frames -= stepFrames) {
        if (!put(silence.data(), static_cast<int>(std::min(frames, stepFrames)))) return false;
    }
    return true;
}

void SoundTimeline::watchDrift(int64_t deviationUs, int frames) {
    if (isBroken(deviationUs)) return;
    // A step that has passed is none either: sound that is stretched by more than it is long ends.
    if (std::llabs(deviationUs) <= kToleratedUs || isStep(deviationUs)) {
        mDriftLong = 0;
        return;
    }
    if (mDriftLong == 0 || !sameSide(deviationUs, mDriftUs)) {
        mDriftLong = 0;
        mDriftUs = deviationUs;
    }
    mDriftUs = smaller(mDriftUs, deviationUs);
    mDriftLong += frames;
    if (toUs(mDriftLong) >= kDriftUs && mOutput->stretch(mDriftUs)) mDriftLong = 0;
}

int64_t SoundTimeline::deviationUs(int64_t timeUs, int64_t framesBefore) const {
    return timeUs - mOutput->endUs() - toUs(framesBefore);
}

int64_t SoundTimeline::toUs(int64_t frames) const {
    return av_rescale(frames, kMicroseconds, mSampleRate);
}

int SoundTimeline::framesOf(const Block& block) const {
    return static_cast<int>(block.pcm.size() / mChannels);
}

}  // namespace android
