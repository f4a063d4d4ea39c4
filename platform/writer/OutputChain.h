// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <oxa/host/OutputFiles.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "base/AnnotatedMutex.h"
#include "writer/ContainerMuxer.h"
#include "writer/ReplayBuffer.h"
#include "writer/WriterOutput.h"

namespace android {

// The files of one recording, one behind the other: mostly there is one, and where the host decides
// when something is wanted there may be none; see oxa/host/OutputFiles.h. The one before stays open
// until every track has come to the next one, and is then finished on a thread of its own, so that
// no sample waits for a disk.
//
// Calls come one at a time; those that return int answer 0 or an AVERROR.
class OutputChain {
  public:
    using Descriptions = std::vector<std::unique_ptr<TrackDescription>>;
    // A file could not be finished on a thread of its own; on that thread.
    using OnFailed = std::function<void(const WriterOutput& output, int result)>;

    OutputChain(std::unique_ptr<WriterOutput> output, std::unique_ptr<ContainerMuxer> muxer,
                OnFailed onFailed);
    ~OutputChain();

    // The file that what was written last is in.
    const WriterOutput& output() const { return *mWritten; }
    const ContainerMuxer& muxer() const { return mFile.muxer ? *mFile.muxer : *mUnused.muxer; }
    // Of the file that is open, or was last.
    const oxa::host::OutputFigures& figures() const { return mFile.figures; }

    // `tracks` outlives this object.
    int open(const Descriptions& tracks, int rotation);
    // As ContainerMuxer's.
    int write(AVPacket* packet);
    void setEnd(int track, int64_t time);
    // All files, also after an error; waits for what is under way.
    int finish();

    // WriterOutput's, of all that are open and to come; any thread, also while another call waits.
    void limitWaits();
    // After finish(): gives the descriptors back.
    void close();
    // After close(), when nothing has failed: the last file is whole, too.
    void tellFinished() const { tellFinished(mFile.figures); }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(OutputChain);

    struct File {
        std::unique_ptr<WriterOutput> output;
        std::unique_ptr<ContainerMuxer> muxer;  // goes before its output
        int64_t beginTime = 0;                  // 0 in the file; in the leader's time base
        oxa::host::OutputFigures figures = {};
    };

    int writeToFile(AVPacket* packet);
    int writeIfWanted(AVPacket* packet);
    int beginReplay();
    int writeWithin(AVPacket* packet);
    void cut(int track);
    void endFile();
    bool isDue(const AVPacket& packet) const;
    int64_t timeIn(int track, int64_t leaderTime) const;
    void count(const AVPacket& packet, oxa::host::OutputFigures* figures) const;
    int goOver(int64_t beginTime);
    int beginFile(int64_t beginTime, int descriptor);
    void finishFormer();
    void tellFinished(const oxa::host::OutputFigures& figures) const;

    const OnFailed mOnFailed;
    AnnotatedMutex mLock;  // changes of the files against limitWaits(), too
    bool mWaitsLimited GUARDED_BY(mLock) = false;
    File mFile;
    File mFormer;  // empty: it is being finished, or there was none
    File mUnused;  // what was there first, where the host says when something is wanted
    const WriterOutput* mWritten;
    std::thread mFinisher;
    std::unique_ptr<ReplayBuffer> mReplay;
    bool mRefused = false;                         // there was no file for what is wanted now
    std::optional<oxa::host::OutputLength> mLeft;  // for what is wanted now and later
    int64_t mLengthUs = 0;                         // of what is wanted now
    std::vector<bool> mCut;                        // each track, since there is no more left for it

    const Descriptions* mTracks = nullptr;
    int mRotation = 0;
    oxa::host::OutputFiles mFiles;
    int mLeader = 0;             // the track whose key frames begin files
    bool mBegun = false;         // the leader's first sample has come
    int64_t mFirstTime = 0;      // its time
    int64_t mDueUs = 0;          // the next file, after it
    std::vector<bool> mArrived;  // each track, in the present file
};

}  // namespace android
