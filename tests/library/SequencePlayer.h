// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/HdmiReceiver.h>

#include <filesystem>

#include "library/FacadeModel.h"
#include "library/Stage.h"
#include "support/LogCapture.h"

namespace oxa::test {

// Makes the calls of one sequence with a real player, and compares what comes of each with the
// model.
class SequencePlayer {
  public:
    // `clips` has a file for each Source. Hears of each call before it is made.
    using Listener = std::function<void(size_t index)>;
    SequencePlayer(std::string clips, Listener listener);
    ~SequencePlayer();
    SequencePlayer(const SequencePlayer&) = delete;
    SequencePlayer& operator=(const SequencePlayer&) = delete;

    // What is wrong, empty: nothing. Once.
    std::string play(const Sequence& sequence);

  private:
    void playOne(const Call& call);
    void playAside(const Call& aside, const Call& next);
    void expectAnswer(const Call& call, android::status_t answer, const FacadeModel::Answers& right,
                      int64_t taken);
    bool isOver(int64_t limitMs, int64_t beginMs) const;
    bool comes(const std::function<bool()>& condition) const;
    void find(const std::string& what);

    // On any thread.
    android::status_t make(const Call& call);
    void happen(const Call& call);
    void strike(Call::Name name);
    void changeReceiver(Call::Name name);
    void clearWorld();
    android::status_t initiate(Job job);
    void makeReceiver(Job job);
    android::status_t setDataSource(Source source);
    android::status_t setCamera(bool shared);
    android::status_t setMuxer(Output output);
    android::status_t setTargetFormat(TargetFormat format);
    android::status_t getProgress(bool null);

    // What is seen besides answers.
    void beforeCall(const Call& call);
    bool hasOpenOutput();
    int64_t recorded();
    void expectRecorded();
    void noteFigures();
    void expectSteadyStart();
    int stopReports() const;
    void noteStopReports();
    void expectReports();
    void expectPlugs();
    void expectWholeFiles();
    int64_t expectWholeFile(const std::filesystem::path& path);

    const std::string mClips;
    const Listener mListener;
    const TempDir mFolder;
    const android::LogCapture mLog;
    std::unique_ptr<oxa::host::SimulatedHdmiReceiver> mReceiver;
    std::unique_ptr<oxa::host::Display> mDisplay;
    const int64_t mQueuedBeforeMs;  // of the process
    android::sp<android::Reports> mReports;
    std::unique_ptr<android::OwnLooper> mReportLooper;
    android::sp<android::OxaMediaCodecPlayer> mPlayer;
    FacadeModel mModel;
    std::string mFinding;

    int mOutputs = 0;
    std::vector<int> mDescriptors;
    int64_t mRecordedBefore = 0;  // when recording was switched on
    int64_t mStartTimeUs = 0;     // as the start of a playback told it
    bool mHeldUp = false;
    bool mDisturbed = false;        // an output may be cut
    std::vector<int64_t> mFigures;  // of recordings that have ended
    std::vector<int32_t> mPlugs;    // reports of the plug that must come
    bool mPlugIsHeard = false;
    int mStopReports = -1;  // that had come with the last stop, until there is another start
};

}  // namespace oxa::test
