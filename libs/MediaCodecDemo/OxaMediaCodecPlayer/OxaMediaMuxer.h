// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/MediaWriter.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <stdio.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/Vector.h>

#include <atomic>

namespace android {

// The one sink of all encoding pipelines of a player: wraps a platform container writer and feeds
// it through one MediaAdapter for each track.
//
//   UNINITIALIZED                     no writer; everything is refused, for good
//   INITIALIZED --start()--> STARTED --stop()--> STOPPED
//
//   INITIALIZED  tracks, orientation and location may be set
//   STARTED      samples are accepted; reached even when the writer itself fails to start
//   STOPPED      nothing is accepted any more; reached even when stopping fails
//
// Thread-safe. Operations hold one lock for their whole duration, also across the writer's start
// and each blocking write, so tracks are written one sample at a time. Refusals are a status and
// one log line.
class OxaMediaMuxer : public RefBase {
  public:
    enum OutputFormat {
        OUTPUT_FORMAT_MPEG_4 = 0,
        OUTPUT_FORMAT_MPEG2TS = 2,
    };

    // Writes to `fd`, which the writer duplicates: the caller keeps and closes its own. Stays
    // UNINITIALIZED for a negative descriptor and for any other format.
    OxaMediaMuxer(int fd, OutputFormat format);
    // Outputs that have no writer: the muxer stays UNINITIALIZED; nothing of the arguments is kept.
    OxaMediaMuxer(FILE* file, OutputFormat format);
    OxaMediaMuxer(sp<IMemory> data, sp<IMemory> info, bool rtp, OutputFormat format);
    OxaMediaMuxer(sp<IMemory> data, sp<IMemory> info, bool rtp, int port, const char* ip,
                  OutputFormat format);
    OxaMediaMuxer(int port, const char* ip, bool rtp, OutputFormat format);

    // Adds a track for an encoder's output format; in INITIALIZED. Returns its index (0, 1, ...),
    // or a negative status: BAD_VALUE without a format, INVALID_OPERATION in another state, -1
    // when the writer refuses the track.
    ssize_t addTrack(const sp<AMessage>& format);
    // Clockwise degrees, one of 0, 90, 180, 270 (else BAD_VALUE); in INITIALIZED.
    status_t setOrientationHint(int degrees);
    // Ten-thousandths of a degree; in INITIALIZED, MPEG-4 only. Returns the writer's status.
    status_t setLocation(int latitude, int longitude);
    // Starts the writer and releases everybody at the gate; in INITIALIZED. Takes 50 ms. OK also
    // when the writer failed to start: see isWriting().
    status_t start();
    // Stops the adapters, then the writer, which finishes the file; in STARTED. May take long.
    // INVALID_OPERATION when an adapter does not stop, else the writer's status.
    status_t stop();
    // Writes one access unit; in STARTED. Blocks until the writer has taken it; the memory is not
    // copied here and may be reused afterwards. `flags` are MediaCodec's buffer flags. BAD_VALUE
    // for a null buffer or an unknown track.
    status_t writeSampleData(const sp<ABuffer>& buffer, size_t trackIndex, int64_t timeUs,
                             uint32_t flags);

    // The start gate, for threads of encoding pipelines; these take only the gate's mutex.

    // Waits for the next start(), without looking whether there was one: must be entered before.
    void waitForStart();
    // Waits until the muxer was started, testing every 500 ms.
    void waitUntilStarted();
    // Posts `announcement` and waits until the muxer was started or the gate was opened without a
    // start. No start() can slip in between the two: it needs the mutex held here. True when the
    // muxer is writing; false: there is nothing to write to, and never will be.
    bool announceAndWaitForStart(const sp<AMessage>& announcement);
    // Lets everybody at announceAndWaitForStart() out, now and later, without starting; for those
    // who stop before every track came. Harmless after start().
    void openGate();

    // The writer runs: start() succeeded all the way.
    bool isWriting();
    // start() was called and stop() was not.
    bool isStarted() const { return mState == STARTED; }

  protected:
    ~OxaMediaMuxer() override;

  private:
    enum State {
        UNINITIALIZED = 0,
        INITIALIZED = 1,
        STARTED = 2,
        STOPPED = 3,
    };

    Mutex mStartMutex;
    bool mStarted GUARDED_BY(mStartMutex) = false;
    bool mGateOpened GUARDED_BY(mStartMutex) = false;
    Condition mStartCond;  // monotonic
    OutputFormat mFormat;
    sp<MediaWriter> mWriter GUARDED_BY(mMuxerLock);
    Vector<sp<MediaAdapter>> mTrackList GUARDED_BY(mMuxerLock);
    sp<MetaData> mFileMeta GUARDED_BY(mMuxerLock);
    Mutex mMuxerLock;  // before mStartMutex where both are held
    std::atomic<int> mState{UNINITIALIZED};
};

}  // namespace android
