// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <vector>

#include "library/CallSequence.h"

namespace oxa::test {

// What a client may ask of a player in each state, what it is answered, and what follows from it.
class FacadeModel {
  public:
    using Answers = std::vector<android::status_t>;
    FacadeModel() = default;  // there is no player
    Job job() const { return mJob; }
    Streams streams() const { return mStreams; }
    bool isCreated() const { return mNext > Call::kCreate; }
    bool isInitiated() const { return mNext > Call::kInitiate; }
    Call::Name next() const { return mNext; }  // the step that leads on
    bool isTunneled() const { return mTunneled; }
    bool runs() const { return mPhase == kRunning; }
    // A live source may be recorded; its samples are handed to the muxer, or will soon be.
    bool mayRecord() const { return mSwitchedOn != kNo; }
    bool mustRecord() const { return runs() && mRecording == kYes && mHealthy; }

    // Whether a client may make the call now: those that it may not are fatal assertions.
    bool allows(const Call& call) const {
        const Call::Name name = call.name;
        const bool isTranscoding = mJob == kTranscodeFile;
        const bool endsByItself = isTranscoding || (mJob == kPlayFile && mSource != kLongClip);
        if (name == Call::kCreate) return mNext <= Call::kInitiate;
        // A transcoding of both streams needs both.
        if (name == Call::kDataSource && call.value == kSilentClip && isTranscoding) return false;
        if (name == Call::kCameraSource && call.value != 0 && mCameraOpen) return false;
        if (name == Call::kMuxer && isInitiated() && mJob > kIdleFile) return true;
        if (name == Call::kTargetFormat) return allowsTargetFormat(call.value);
        if (name == Call::kPrepare && runs()) return false;
        if (name <= Call::kMuxer || name == Call::kPrepare || name == Call::kStart)
            return name == mNext;
        if (name == Call::kTunneled && call.value != 0)
            return mJob == kPlayFile && mStreams == kBothStreams && mNext < Call::kStart;
        if (name == Call::kFreeRun || name == Call::kCalculateFps) return isInitiated();
        if (name == Call::kCameraParameters) return isLive(mJob) && mStreams != kSoundOnly;
        if (name == Call::kUntilRecorded) return mustRecord();
        if (name == Call::kUntilEnded) return runs() && mHealthy && endsByItself && !mTunneled;
        if (name == Call::kUntilFinished) return runs() && mHealthy && mFinishing;
        if (call.isEvent()) return runs() && call.happensTo(mJob);
        return isCreated() || name >= Call::kSecondPlayer;
    }

    // The same of a call that is made aside, while `next` is made, in either order.
    bool allowsAside(const Call& call, const Call& next) const {
        const bool startsAnew = next.name == Call::kCleanup || next.name <= Call::kInitiate;
        if (startsAnew || !allows(call) || !allows(next) || !with(call).allows(next)) return false;
        return with(call).with(next).with(call).mNext == with(next).with(call).mNext;
    }

    // Makes the call, which must be allowed: the answers that are right.
    Answers take(const Call& call) {
        using namespace android;
        const Call::Name name = call.name;
        if (call.isRequest() && !mHasLooper) return {NAME_NOT_FOUND};
        if (name == Call::kMuxer) return setMuxer(static_cast<Output>(call.value));
        if (name == Call::kProgress) return {call.value == 0 ? BAD_VALUE : OK};
        if (name == Call::kDrain && (mJob != kTranscodeFile || !runs())) return {INVALID_OPERATION};
        if (name == Call::kDrain && !mHealthy) return {OK, TIMED_OUT, INVALID_OPERATION};
        if (name == Call::kDrain) return {OK, TIMED_OUT};
        if (name == Call::kTranscode) setTranscode(call.value != 0);
        if (name == Call::kTunneled && call.value != 0) mTunneled = true;
        if (name == Call::kCameraParameters) mCameraOpen = true;
        if (call.isEvent()) mHealthy = false;
        if (name == Call::kCreate) *this = FacadeModel(static_cast<Streams>(call.value), false);
        if (name == Call::kCleanup) *this = FacadeModel(mStreams, mHasLooper);
        if (name == Call::kInitiate) initiate(static_cast<Job>(call.value));
        if (name == Call::kDataSource) mSource = static_cast<Source>(call.value);
        if (name == Call::kDataSource && mJob == kPlayFile) mNext = Call::kSurface;
        if (name == Call::kDataSource && mJob == kTranscodeFile) mNext = Call::kMuxer;
        if (name == Call::kCameraSource) mNext = Call::kAudioSource;
        if (name == Call::kAudioSource) mNext = Call::kSurface;
        if (name == Call::kSurface) mNext = isLive(mJob) ? Call::kTargetFormat : Call::kPrepare;
        if (name == Call::kTargetFormat && mNext != Call::kStop) mNext = Call::kPrepare;
        if (name == Call::kSurface || name == Call::kTargetFormat)
            mAwaitsFormat = name == Call::kSurface && isLive(mJob);
        if (name == Call::kTargetFormat) mFormat = call.value;
        if (name == Call::kPrepare) mNext = Call::kStart;
        if (name == Call::kStart) mNext = Call::kStop;
        if (name == Call::kStart && mSwitchedOn == kYes) mRecording = mUsable;
        if (name == Call::kStop && runs()) mNext = Call::kCleanup;
        // What was to begin after a recording that was still being finished is forgotten.
        if (name == Call::kStop && runs() && mHasRecorded && mTranscode == kYes)
            mTranscode = kPerhaps;
        if (name == Call::kStart) mPhase = kRunning;
        if (name == Call::kStop && runs()) mPhase = kStopped;
        return {OK};
    }

    // Makes both, and `aside` once more at the end: those of `next`.
    Answers takeAside(const Call& aside, const Call& next) {
        Answers answers = with(aside).take(next);
        const Answers late = take(next);
        answers.insert(answers.end(), late.begin(), late.end());
        take(aside);
        // What a recording that was begun or ended between the two made of the output is left open.
        if (isLive(mJob) && mUsable == kYes) mUsable = kPerhaps;
        if (mRecording == kYes) mRecording = kPerhaps;
        if (isLive(mJob) && mUsable != kNo) mTranscode = mSwitchedOn = kPerhaps;
        mFinishing = false;
        return answers;
    }

  private:
    enum Certainty { kNo, kPerhaps, kYes };
    enum Phase { kBeforeStart, kRunning, kStopped };

    FacadeModel with(const Call& call) const {
        FacadeModel model = *this;
        model.take(call);
        return model;
    }

    bool allowsTargetFormat(int format) const {
        const bool waits = mNext == Call::kTargetFormat;
        if (mJob == kTranscodeFile) return waits && format != kDoubleRate;
        if (!isLive(mJob)) return waits || mNext == Call::kStop;
        // A camera that runs cannot change its rate; a receiver's pictures are left out.
        if (runs()) return (waits || mNext == Call::kStop) && (isHdmi(mJob) || format == mFormat);
        // None of them gives more than 30 pictures a second.
        return waits && mAwaitsFormat && format != kDoubleRate;
    }

    FacadeModel(Streams streams, bool hasLooper)
        : mNext(Call::kInitiate), mHasLooper(hasLooper), mStreams(streams) {}

    void initiate(Job job) {
        *this = FacadeModel(mStreams, true);
        mNext = kindOf(job).firstStep;
        mJob = job;
        mTranscode = kindOf(job).transcode ? kYes : kNo;
        mHealthy = job != kRecordShortUsb && (job != kRecordSilentHdmi || mStreams != kSoundOnly);
    }

    Answers setMuxer(Output output) {
        if (output == kLongName) return {android::BAD_VALUE};
        const bool isRefused = output > kFullDevice;
        // What is recorded to goes on; which output comes next is left open.
        if (isRefused && mTranscode != kNo) mUsable = kPerhaps;
        if (isRefused && mTranscode == kYes) return {android::UNKNOWN_ERROR};
        mNext = Call::kTargetFormat;
        if (isRefused && mTranscode == kPerhaps) return {android::OK, android::UNKNOWN_ERROR};
        mOutputIsNext = mHasRecorded || mRecording != kNo;
        if (mRecording == kYes) mRecording = kPerhaps;
        mOutput = output;
        mUsable = isRefused ? kNo : kYes;
        if (output == kFullDevice) mHealthy = false;
        return {android::OK};
    }

    void setTranscode(bool on) {
        // While another one may still be finished, and after a stop, an output is not tried.
        const bool isTried = !mHasRecorded && mPhase != kStopped;
        const Certainty usable = mUsable == kNo && !isTried ? kPerhaps : mUsable;
        if (!isLive(mJob) || (on && (usable == kNo || mSwitchedOn == kYes))) return;
        // The descriptor of the next one stays open, and cannot be told from one that is written.
        const bool nextIsOpen = mOutputIsNext && isDescriptor(mOutput);
        mFinishing = !on && mRecording == kYes && !nextIsOpen;
        mHasRecorded = mHasRecorded || mRecording != kNo;
        // A name is used up, another is made then; a descriptor is closed.
        const bool closes = !on && mTranscode != kNo && isDescriptor(mOutput);
        const Certainty now = on ? usable : kNo;
        if (!on || mTranscode != kYes) mTranscode = now;
        mSwitchedOn = now;
        mRecording = runs() ? now : kNo;  // with the start, if it is switched on before
        if (closes) mUsable = mOutputIsNext ? kPerhaps : kNo;
    }

    Call::Name mNext = Call::kCreate;
    bool mHasLooper = false;  // answers requests, from the first initiate on
    Streams mStreams = kBothStreams;
    Job mJob = kIdleFile;
    Source mSource = kShortClip;
    bool mTunneled = false;
    Phase mPhase = kBeforeStart;
    bool mHealthy = true;  // nothing has happened to the source or the output
    // Of a live source.
    bool mAwaitsFormat = false;  // whatever setMuxer makes of the next step
    bool mCameraOpen = false;
    int mFormat = kUsualFormat;
    Certainty mTranscode = kNo;   // the role of a file too
    Certainty mSwitchedOn = kNo;  // the pipelines know of it
    Certainty mRecording = kNo;
    bool mFinishing = false;  // one that samples came of was switched off
    Output mOutput = kNoContainer;
    bool mHasRecorded = false;   // there was a recording, which may still be finished
    bool mOutputIsNext = false;  // it may have been set while one was
    Certainty mUsable = kNo;     // the output, by a switch-on
};

}  // namespace oxa::test
