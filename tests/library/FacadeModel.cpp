// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/FacadeModel.h"

#include <errno.h>

namespace oxa::test {

using namespace android;

bool FacadeModel::allows(const Call& call) const {
    const Call::Name name = call.name;
    const bool exists = mState > kNoPlayer;
    if (name == Call::kCreate) return mState <= kUninitialized;
    if (name == Call::kInitiate) return mState == kUninitialized;
    if (name == Call::kDataSource) return allowsDataSource(static_cast<Source>(call.value));
    if (name == Call::kCameraSource) {
        return mState == kInitialized && isLive() && (call.value == 0 || !mCameraOpen);
    }
    if (name == Call::kAudioSource) return mState == kWaitAudioSource;
    if (name == Call::kSurface) return mState == kWaitSurface;
    if (name == Call::kMuxer) return isInitiated() && (mJob > kIdleFile || mState == kWaitMuxer);
    if (name == Call::kTargetFormat) return allowsTargetFormat(call.value);
    if (name == Call::kTunneled) return call.value == 0 ? exists : allowsTunneled();
    if (name == Call::kFreeRun || name == Call::kCalculateFps) return isInitiated();
    if (name == Call::kPrepare) return mState == kUnprepared && !mRuns;
    if (name == Call::kStart) return mState == kPrepared;
    if (name == Call::kCameraParameters) return isLive() && mStreams != kSoundOnly;
    if (name == Call::kUntilRecorded) return mustRecord();
    if (name == Call::kUntilEnded) return mustEnd();
    if (name == Call::kUntilFinished) return mFinishing && mRuns && mHealthy;
    if (name >= Call::kCameraLost && name < Call::kLateWakers) return allowsEvent(name);
    return exists || name == Call::kSecondPlayer || name == Call::kPause ||
           name == Call::kLateWakers;
}

// A transcoding of both streams needs both.
bool FacadeModel::allowsDataSource(Source source) const {
    return mState == kInitialized && mJob <= kIdleFile &&
           (source != kSilentClip || mJob != kTranscodeFile);
}

bool FacadeModel::allowsTunneled() const {
    return isPlayback() && isInitiated() && mState < kPrepared && mStreams == kBothStreams;
}

bool FacadeModel::mustEnd() const {
    const bool ends = mJob == kTranscodeFile || (isPlayback() && mSource != kLongClip);
    return mRuns && mHealthy && !mTunneled && ends;
}

bool FacadeModel::allowsTargetFormat(int format) const {
    const bool waits = mState == kWaitTargetFormat || mState == kWaitPreviewParams;
    if (mJob == kTranscodeFile) return waits && format != kDoubleRate;
    if (!isLive()) return waits || mState == kStarted;
    // A camera that runs cannot change its rate; a receiver's pictures are left out.
    if (mRuns) return (waits || mState == kStarted) && (isHdmi() || format == mFormat);
    // None of them gives more than 30 pictures a second.
    return waits && mPipelines == kWaitTargetFormat && format != kDoubleRate;
}

bool FacadeModel::allowsEvent(Call::Name name) const {
    if (!mRuns || name == Call::kDiskFull) return mRuns;
    if (name == Call::kCameraLost) return isLive() && !isHdmi();
    if (name == Call::kCameraStalled || name == Call::kMicrophoneLost) return isLive();
    return isHdmi();
}

bool FacadeModel::allowsAside(const Call& call, const Call& next) const {
    const bool startsAnew = next.name == Call::kCleanup || next.name <= Call::kInitiate;
    if (startsAnew || !allows(call) || !allows(next)) return false;
    FacadeModel before = *this;
    FacadeModel after = *this;
    before.take(call);
    if (!before.allows(next)) return false;
    before.take(next);
    before.take(call);
    after.take(next);
    after.take(call);
    return before.mState == after.mState;
}

FacadeModel::Answers FacadeModel::take(const Call& call) {
    const Call::Name name = call.name;
    const bool isRequest = name >= Call::kDataSource && name <= Call::kStop;
    if (isRequest && !mHasLooper && name != Call::kWriteback) return {-ENOENT};
    if (name >= Call::kCameraLost && name < Call::kLateWakers) mHealthy = false;
    if (name == Call::kMuxer) return setMuxer(static_cast<Output>(call.value));
    if (name == Call::kProgress) return {call.value == 0 ? BAD_VALUE : OK};
    if (name == Call::kDrain && (mJob != kTranscodeFile || !mRuns)) return {INVALID_OPERATION};
    if (name == Call::kDrain && mHealthy) return {OK, TIMED_OUT};
    if (name == Call::kDrain) return {OK, TIMED_OUT, INVALID_OPERATION};
    if (name == Call::kCreate) create(static_cast<Streams>(call.value));
    if (name == Call::kInitiate) initiate(static_cast<Job>(call.value));
    if (name == Call::kTranscode) setTranscode(call.value != 0);
    if (name == Call::kCleanup) reset(kUninitialized);
    if (name == Call::kTunneled && call.value != 0) mTunneled = true;
    if (name == Call::kCameraParameters) mCameraOpen = true;
    takeStep(call);
    return {OK};
}

// From state to state.
void FacadeModel::takeStep(const Call& call) {
    const Call::Name name = call.name;
    if (name == Call::kDataSource) mSource = static_cast<Source>(call.value);
    if (name == Call::kDataSource && isPlayback()) mState = kWaitSurface;
    if (name == Call::kDataSource && mJob == kTranscodeFile) mState = kWaitMuxer;
    if (name == Call::kCameraSource) mState = kWaitAudioSource;
    if (name == Call::kAudioSource) mState = kWaitSurface;
    if (name == Call::kSurface) mState = isLive() ? kWaitPreviewParams : kUnprepared;
    if (name == Call::kSurface) mPipelines = kWaitTargetFormat;
    if (name == Call::kTargetFormat) mFormat = call.value;
    if (name == Call::kTargetFormat && mState != kStarted) mState = mPipelines = kUnprepared;
    if (name == Call::kPrepare) mState = kPrepared;
    if (name == Call::kStart) mState = kStarted;
    if (name == Call::kStart && mSwitchedOn == kYes) mRecording = mUsable;
    mRuns = mRuns || name == Call::kStart;
    if (name != Call::kStop) return;
    if (mRuns) mState = kStopped;
    // A stop forgets what was to begin after a recording that was still being finished.
    if (mRuns && mHasRecorded && mTranscode == kYes) mTranscode = kPerhaps;
    mRuns = false;
    mRecording = kNo;
}

FacadeModel::Answers FacadeModel::takeAside(const Call& aside, const Call& next) {
    FacadeModel other = *this;
    other.take(aside);
    Answers answers = other.take(next);
    for (status_t answer : take(next))
        answers.push_back(answer);
    take(aside);
    // What a recording that was begun or ended between the two made of the output is left open.
    if (isLive() && mUsable == kYes) mUsable = kPerhaps;
    if (mRecording == kYes) mRecording = kPerhaps;
    if (isLive() && mUsable != kNo) mTranscode = mSwitchedOn = kPerhaps;
    mFinishing = false;
    return answers;
}

void FacadeModel::create(Streams streams) {
    *this = FacadeModel();
    mState = kUninitialized;
    mStreams = streams;
}

void FacadeModel::reset(State state) {
    FacadeModel fresh;
    fresh.mState = state;
    fresh.mStreams = mStreams;
    fresh.mHasLooper = mHasLooper;
    *this = fresh;
}

void FacadeModel::initiate(Job job) {
    reset(kInitialized);
    mHasLooper = true;
    mJob = job;
    const bool isIdle = job == kPlayFile || job == kIdleFile || job == kPreviewUsb ||
                        job == kPreviewHdmi || job == kNameless;
    mTranscode = isIdle ? kNo : kYes;
    const bool isSilent = job == kRecordSilentHdmi && mStreams == kSoundOnly;
    mHealthy = job != kRecordShortUsb && !isSilent;
}

FacadeModel::Answers FacadeModel::setMuxer(Output output) {
    if (output == kLongName) return {BAD_VALUE};
    const bool isRefused = output > kFullDevice;
    if (isRefused && mTranscode != kNo) {
        // What is recorded to goes on; which output comes next is left open.
        mUsable = kPerhaps;
        if (mTranscode == kYes) return {UNKNOWN_ERROR};
        mState = kWaitTargetFormat;
        return {OK, UNKNOWN_ERROR};
    }
    mState = kWaitTargetFormat;
    mOutputIsNext = mHasRecorded;
    if (mRecording == kYes) mRecording = kPerhaps;
    mOutput = output;
    mUsable = isRefused ? kNo : kYes;
    if (output == kFullDevice) mHealthy = false;
    return {OK};
}

void FacadeModel::setTranscode(bool on) {
    if (!isLive()) return;
    mFinishing = !on && mRecording == kYes;
    mHasRecorded = mHasRecorded || mRecording != kNo;
    if (on && mSwitchedOn == kYes) return;
    if (on && mUsable != kNo) {
        // One that is switched on before the start begins with it.
        mRecording = mRuns ? mUsable : kNo;
        mSwitchedOn = mUsable;
        if (mTranscode != kYes) mTranscode = mUsable;
    } else if (!on) {
        // A name is used up, another is made then; a descriptor is closed.
        const bool isDescriptor =
                mOutput == kMp4Descriptor || mOutput == kTsDescriptor || mOutput == kFullDevice;
        if (mTranscode != kNo && isDescriptor) mUsable = mOutputIsNext ? kPerhaps : kNo;
        mTranscode = mSwitchedOn = mRecording = kNo;
    }
}

}  // namespace oxa::test
