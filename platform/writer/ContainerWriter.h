// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaSource.h>
#include <media/stagefright/foundation/ABase.h>
#include <oxa/host/FaultListener.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/AnnotatedMutex.h"
#include "media/TrackEnd.h"
#include "writer/OutputChain.h"
#include "writer/SampleConverter.h"
#include "writer/SampleOrder.h"

namespace android {

// What the platform's writers have in common. One thread for each track reads the source and
// copies each sample at once, so that whoever pushes never waits for another track; a SampleOrder
// holds what came before its turn. After the first fault of the output the listeners are told, and
// samples are taken and dropped. How stop() ends the file: oxa/host/OutputEnd.h.
//
// start() and stop() must not be called at the same time; they block. The destructor stops.
class ContainerWriter {
  public:
    // `threadName` has at most 15 letters.
    ContainerWriter(std::unique_ptr<WriterOutput> output, std::unique_ptr<ContainerMuxer> muxer,
                    const char* threadName);
    ~ContainerWriter();

    status_t addSource(const sp<MediaSource>& source);
    bool hasTracks() const { return !mTracks.empty(); }
    // A track whose codec configuration is yet to come holds all samples until it does.
    status_t start(MetaData* params);
    void stop();
    bool reachedEnd() const;
    bool isStarted() const { return mState != State::kInitial; }
    bool isWriting() const { return mState == State::kStarted; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(ContainerWriter);

    enum class State { kInitial, kStarted, kStopped };

    struct Track {
        sp<MediaSource> source;
        std::thread thread;
        std::unique_ptr<SampleConverter> converter;
        sp<TrackEnd> end;  // null: nobody tells
        std::atomic<bool> ended{false};
        bool cut = false;  // at the longest that the output may become; guarded by mMuxerLock
    };

    bool prepare(MetaData* params);
    void prepareTracksLocked() REQUIRES(mMuxerLock);
    bool isComplete() const;
    void openMuxerLocked() REQUIRES(mMuxerLock);
    // True when the buffer was nothing else.
    bool takeConfiguration(const Track& track, MediaBufferBase* buffer);
    status_t startSources(MetaData* params);
    void readTrack(Track* track);
    void takeSample(AvPacketOwner packet);
    bool isBehindEnd(const AVPacket& packet) const;
    void writePacketLocked(AVPacket* packet) REQUIRES(mMuxerLock);
    void writeRestLocked() REQUIRES(mMuxerLock);
    void passEnds();
    void handleResultLocked(int result) REQUIRES(mMuxerLock);
    void tellFault();
    static oxa::host::Fault faultOf(const WriterOutput& output, int result);

    std::atomic<bool> mFailed{false};
    OutputChain mFiles;  // its threads look at mFailed
    const std::string mThreadName;
    State mState = State::kInitial;
    std::vector<std::unique_ptr<TrackDescription>> mDescriptions;
    std::vector<std::unique_ptr<Track>> mTracks;

    AnnotatedMutex mMuxerLock;  // from start() on also for mFiles
    std::unique_ptr<SampleOrder> mOrder GUARDED_BY(mMuxerLock);
    bool mOpen GUARDED_BY(mMuxerLock) = false;  // mFiles; only when all tracks are complete
    // Constant from start() on.
    std::optional<oxa::host::OutputLength> mLength;
    int32_t mRotation = 0;
    std::optional<oxa::host::Fault> mFault GUARDED_BY(mMuxerLock);  // not told yet
};

}  // namespace android
