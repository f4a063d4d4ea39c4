// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <memory>
#include <string>
#include <vector>

#include "codec/TrackParameters.h"
#include "container/AvLog.h"
#include "container/DataSourceStream.h"
#include "container/TimelineSmoother.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// What NuMediaExtractor is made of: libavformat's view of one source, with one packet read ahead.
// Not locked. What goes wrong while reading is told to the fault listeners, once each.
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

    // The current sample; all but advance() answer ERROR_END_OF_STREAM when there is none.
    status_t read(const sp<ABuffer>& buffer);
    status_t time(int64_t* timeUs);
    status_t size(size_t* bytes);
    status_t trackIndex(size_t* index);
    status_t isSync(bool* sync);
    status_t advance();

  private:
    DISALLOW_EVIL_CONSTRUCTORS(ContainerReader);

    struct Track {
        unsigned stream;  // its place among the context's
        sp<AMessage> format;
        sp<TrackParameters> parameters;
        bool selected = false;
        int64_t nextTimeUs = 0;  // for a sample that has no time of its own
    };
    struct ContextDeleter {
        void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    };
    struct PacketDeleter {
        void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    };

    status_t openContext();
    void listTracks();
    void applySelection();
    AVStream* streamOf(const Track& track) const;
    bool anySelected() const;
    Track* trackOf(const AVPacket& packet);

    bool ensureSample();
    bool fetchSample();
    int readPacket();
    void dropWildTimes(AVPacket* packet) const;
    void shiftTimes(AVPacket* packet);
    void placeInTime(Track* track, const AVPacket& packet);
    void leaveOut(const char* why);
    void end(int result);
    bool isTruncated() const;
    void report(bool ended, const std::string& cause, int error, uint64_t count);

    const sp<DataSource> mSource;
    AvComplaints mComplaints;  // outlives mContext, which it listens to
    std::unique_ptr<DataSourceStream> mStream;
    std::unique_ptr<AVFormatContext, ContextDeleter> mContext;  // reads from mStream
    std::unique_ptr<AVPacket, PacketDeleter> mPacket;
    std::vector<Track> mTracks;
    bool mDiscontinuous = false;
    TimelineSmoother mSmoother;

    Track* mSampleTrack = nullptr;  // null: no sample in mPacket
    int64_t mSampleTimeUs = 0;
    bool mSampleHandedOut = false;
    bool mReading = false;  // packets have been taken since the beginning
    bool mEnded = false;
    bool mEndReported = false;
    uint64_t mDamagedPackets = 0;
    uint64_t mLeftOutSamples = 0;
};

}  // namespace android
