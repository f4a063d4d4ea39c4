// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "extractor/InputWindow.h"
#include "extractor/ProgramClock.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/AvOwner.h"
#include "ffmpeg/DataSourceStream.h"
#include "ffmpeg/SampleForm.h"
#include "ffmpeg/TrackParameters.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// What NuMediaExtractor is made of: libavformat's view of one source, with one packet read ahead,
// and more only where times jump. Not locked. What goes wrong while reading is told to the fault
// listeners, once each.
class ContainerReader {
  public:
    using SeekMode = MediaSource::ReadOptions::SeekMode;

    explicit ContainerReader(const sp<DataSource>& source);
    ~ContainerReader();

    // To be called once, before anything else.
    status_t open();

    size_t countTracks() const { return mTracks.size(); }
    sp<AMessage> trackFormat(size_t index) const;

    status_t select(size_t index);
    void unselect(size_t index);
    status_t seek(int64_t timeUs, SeekMode mode);

    // The current sample; all answer ERROR_END_OF_STREAM when there is none. One that is too large
    // for the buffer stays the current one (NO_MEMORY); it is told to the fault listeners if it is
    // left without having been read.
    status_t read(const sp<ABuffer>& buffer);
    status_t time(int64_t* timeUs);
    status_t size(size_t* bytes);
    status_t trackIndex(size_t* index);
    status_t isSync(bool* sync);
    status_t advance();

    // For those who copy samples as they are in the file: the current one, which is the caller's
    // then, with its times in the stream's base, where the track's clock counts from startUs().
    // Null at the end.
    AvPacketOwner take(size_t* index);
    // Valid until the next call that reads or seeks.
    const AVStream& stream(size_t index) const { return *streamOf(mTracks[index]); }
    const AVFormatContext& context() const { return *mContext; }
    int64_t startUs() const { return mStartUs; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(ContainerReader);

    struct Track {
        unsigned stream;  // its place among the context's
        sp<AMessage> format;
        sp<TrackParameters> parameters;
        SampleForm form;
        int64_t pictureUs;  // how long a sample lasts of which the file does not say it; 0: sound
        bool keepsNoDuration;  // what the file says of it is no good
        bool selected = false;
        bool started = false;  // samples have been read
        bool hasDecodingTimes = false;
        bool tellsBothTimes = false;     // those of decoding and those of showing
        int64_t nextTimeUs = 0;          // for a sample that has no time of its own
        bool waitsForSync = false;       // after a seek into the middle
        int64_t syncTimeUs = INT64_MIN;  // of the sample with which it began then
        WindowEnd windowEnd = {};
        bool isOver = false;  // nothing more of it is in the window
    };

    status_t openContext();
    bool readFirstPacket();
    bool isAnyEncrypted() const;
    void listTracks();
    void applySelection();
    AVStream* streamOf(const Track& track) const;
    bool anySelected() const;
    Track* trackOf(int streamIndex);

    sp<TrackParameters> makeParameters(const AVStream& stream) const;
    void startTimeline(bool anywhere);
    status_t openAgain();
    status_t seekToWindow(bool* anywhere);
    void placeAtWindow();
    bool mayBeginAtWindow() const;
    bool beginsInFrontOfWindow(const AVStream& stream);
    AVStream* seekStream(bool ofWindow) const;
    bool seekTo(AVStream* stream, int64_t timeUs, SeekMode mode);
    void moveToCloserSync(AVStream* stream, int64_t target);

    bool ensureSample();
    bool fetchSample();
    bool nextPacket();
    bool takeFromAhead();
    bool readAhead();
    int readPacket();
    void completePacket(Track* track, AVPacket* packet) const;
    void placeOnClock(Track* track, const AVPacket& packet);
    void moveTimes(const ProgramClock::Place& place, AVPacket* packet) const;
    void placeInTime(Track* track, const AVPacket& packet);
    bool isWanted(Track* track);
    std::optional<int64_t> decodedUs(Track* track) const;
    bool isOver() const;
    bool isChosen(size_t number, const AVStream& stream) const;
    void reportDamage();
    void leaveOut(const char* why);
    void end(int result);
    bool isTruncated() const;
    void report(bool ended, const std::string& cause, int error, uint64_t count);

    const sp<DataSource> mSource;
    const oxa::host::InputChoice mChoice;
    const InputWindow mWindow;
    AvComplaints mComplaints;  // outlives mContext, which it listens to
    std::unique_ptr<DataSourceStream> mStream;
    AvDemuxerOwner mContext;                   // reads from mStream
    AVCodecID mSoundCodec = AV_CODEC_ID_NONE;  // where it has to be told
    AvPacketOwner mPacket;
    AvPacketOwner mFirst;  // read when the file was opened
    std::vector<Track> mTracks;
    int64_t mFileStartUs = 0;
    int64_t mStartUs = 0;    // of the window
    bool mIsPlaced = false;  // where the window begins, or where a client has sought
    bool mHasClock = false;  // times may jump, and all tracks are read to see it
    ProgramClock mClock;
    std::deque<AvPacketOwner> mAhead;  // what the clock has been shown
    int64_t mAheadBytes = 0;
    int mResult = 0;  // of the last packet that was asked for

    Track* mSampleTrack = nullptr;  // null: no sample in mPacket
    int64_t mSampleTimeUs = 0;
    bool mSampleHandedOut = false;
    bool mSampleRefused = false;  // the client's buffer was too small
    bool mReading = false;        // packets have been taken since the beginning
    bool mEnded = false;
    bool mEndReported = false;
    uint64_t mDamagedPackets = 0;
    uint64_t mLeftOutSamples = 0;
};

}  // namespace android
