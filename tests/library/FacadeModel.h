// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <vector>

#include "library/CallSequence.h"

namespace oxa::test {

// What a client may ask of a player in each state, what it is answered, and what follows from it.
// Nothing here looks at the player.
class FacadeModel {
  public:
    using Answers = std::vector<android::status_t>;

    // Whether a client may make the call now: those that it may not are fatal assertions.
    bool allows(const Call& call) const;
    // The same of a call that is made aside, while `next` is made, in either order.
    bool allowsAside(const Call& call, const Call& next) const;
    // Makes the call, which must be allowed: the answers that are right.
    Answers take(const Call& call);
    // Makes both, and `aside` once more at the end: those of `next`.
    Answers takeAside(const Call& aside, const Call& next);

    bool isLive() const { return mJob >= kPreviewUsb && mJob <= kRecordSilentHdmi; }
    bool isHdmi() const { return mJob >= kPreviewHdmi && mJob <= kRecordSilentHdmi; }
    bool isPlayback() const { return mJob == kPlayFile; }
    bool isCreated() const { return mState > kNoPlayer; }
    bool isInitiated() const { return mState >= kInitialized; }
    bool isTunneled() const { return mTunneled; }
    bool runs() const { return mRuns; }
    Streams streams() const { return mStreams; }
    bool awaitsMuxer() const { return mState == kWaitMuxer || mState == kWaitPreviewParams; }
    // A live source may be recorded; its samples are handed to the muxer, or will soon be.
    bool mayRecord() const { return mSwitchedOn != kNo; }
    bool mustRecord() const { return mRecording == kYes && mHealthy; }

  private:
    enum State {
        kNoPlayer,
        kUninitialized,
        kInitialized,
        kWaitAudioSource,
        kWaitSurface,
        kWaitMuxer,
        kWaitTargetFormat,
        kWaitPreviewParams,
        kUnprepared,
        kPrepared,
        kStarted,
        kStopped,
    };
    enum Certainty { kNo, kPerhaps, kYes };

    bool allowsDataSource(Source source) const;
    bool allowsTargetFormat(int format) const;
    bool allowsTunneled() const;
    bool mustEnd() const;
    bool allowsEvent(Call::Name name) const;
    void takeStep(const Call& call);
    void create(Streams streams);
    void reset(State state);
    void initiate(Job job);
    Answers setMuxer(Output output);
    void setTranscode(bool on);

    State mState = kNoPlayer;
    bool mHasLooper = false;  // answers requests, from the first initiate on
    Streams mStreams = kBothStreams;
    Job mJob = kIdleFile;
    Source mSource = kShortClip;
    bool mTunneled = false;
    bool mRuns = false;
    bool mHealthy = true;  // nothing has happened to the source or the output

    // Of a live source.
    State mPipelines = kInitialized;  // kWaitTargetFormat, kUnprepared
    bool mCameraOpen = false;
    int mFormat = kUsualFormat;
    Certainty mTranscode = kNo;   // the role of a file too
    Certainty mSwitchedOn = kNo;  // the pipelines know of it
    Certainty mRecording = kNo;
    bool mFinishing = false;  // one that samples came of was switched off
    Output mOutput = kNoContainer;
    bool mHasRecorded = false;   // there was a recording, which may still be finished
    bool mOutputIsNext = false;  // it may have been set while one was
    Certainty mUsable = kNo;  // the output, by a switch-on
};

}  // namespace oxa::test
