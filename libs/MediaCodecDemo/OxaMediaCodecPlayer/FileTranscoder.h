// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <utils/Timers.h>

#include <atomic>

#include "BaseDecoder.h"
#include "BaseEncoder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"
#include "TrackEncoder.h"
#include "TrackReader.h"

namespace android {

namespace sites {
struct TranscoderSites;
}

// What VideoTranscoder and AudioTranscoder share: the commands, the way from the file into the
// decoder, and the way of the encoder's samples into the muxer.
//
//   UNINITIALIZED -setDataSource-> WAIT_MUXER -setMuxer-> WAIT_TARGET_FORMAT
//   -setTargetFormat-> UNPREPARED -prepare-> PREPARED -start-> STARTED -stop-> STOPPED
//   -reset-> UNINITIALIZED
//
// Every call but setStreamOutput and the readers of progress is a request to the transcoder's own
// looper and returns when it was handled. A call in another state is a fatal assertion.
class FileTranscoder : public BaseDecoder, public BaseEncoder, virtual public OxaBase {
  public:
    // The file to read. The descriptor is duplicated; offset and length in bytes. OK always: what
    // cannot be read shows in prepare().
    status_t setDataSource(const char* path);
    status_t setDataSource(int fd, int64_t offset, int64_t length);
    // Where the samples go; kept until reset().
    status_t setMuxer(const sp<OxaMediaMuxer>& muxer);
    // Opens the file and makes the codecs. UNKNOWN_ERROR without a track of this kind (also
    // reported as NO_VIDEO_TRACK or NO_AUDIO_TRACK), else the extractor's or the codec's status.
    status_t prepare();
    // Starts the decoder, whose first output starts the encoder. A decoder that cannot be started
    // is a fatal assertion for the picture; for the sound its status is returned.
    status_t start();
    // Discards what is still in the codecs. Opens the muxer's gate if it was never started.
    status_t stop();
    // Stops what runs and releases all but the data source. Before start() it only goes back to
    // UNINITIALIZED.
    status_t reset();
    // For network outputs: samples leave no earlier than their time. Before start().
    void setStreamOutput(bool enable) { mStreamOutput = enable; }

    // Any thread: time of the last sample written (microseconds, -1 before the first).
    int64_t lastTimeUs() const { return mTrackEncoder.lastTimeUs(); }
    int64_t writtenSamples() const { return mTrackEncoder.writtenSamples(); }

    void onMessageReceived(const sp<AMessage>& msg) override;

    void handleDecoderError(int32_t err, int32_t actionCode, const char* detail) override;
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override;
    void handleEncoderError(int32_t err, int32_t actionCode, const char* detail) override;

  protected:
    // What tells the two kinds apart.
    struct Kind {
        TrackReader::Kind reader;
        TrackEncoder::Kind encoder;
        const char* codecLooper;
        const char* decodeCBLooper;
        int32_t track;    // in reports
        int32_t noTrack;  // in reports
        const sites::TranscoderSites& sites;
    };

    enum {
        kWhatSetDataSource = 0,
        kWhatSetDataSourceFd = 1,
        kWhatPrepare = 2,
        kWhatStart = 3,
        kWhatStop = 4,
        kWhatReset = 5,
        kWhatSetMuxer = 6,
        kWhatSetTargetFormat = 7,
        // Posted by the callback threads to have the codecs torn down on this looper.
        kWhatTeardown = 9,
    };

    enum State {
        UNINITIALIZED = 0,
        WAIT_MUXER = 1,
        WAIT_TARGET_FORMAT = 2,
        UNPREPARED = 3,
        PREPARED = 4,
        STOPPED = 5,
        STARTED = 6,
    };

    // `kind` must outlive the transcoder; `trackIndex` is a field of it.
    FileTranscoder(const Kind& kind, ssize_t& trackIndex);
    ~FileTranscoder() override;

    // The commands that the kinds carry out in their own way.
    virtual status_t onPrepare() = 0;
    virtual status_t onStart() = 0;
    virtual void onStop() = 0;
    virtual void onReset() = 0;

    // The file has been read to its end by the decoder's input buffer `index`.
    virtual void onInputEnd(uint32_t index) = 0;

    status_t postTargetFormat(const _AV_FORMAT_FORMAT& format);

    // Opens the file and selects the first track of this kind.
    status_t openTrack(sp<AMessage>* format, AString* mime);
    void createDecoder(const AString& mime);
    // Feeds the decoder's input buffer `index`. True when a sample went in, `timeUs` is its time.
    bool feedDecoder(uint32_t index, int64_t* timeUs);
    void createEncoder(const char* mime);
    void attachEncoderRelay();
    status_t configureEncoder(const sp<AMessage>& format);
    // Drops the decoder, whose configuration failed with `err`.
    void dropDecoder(status_t err);

    status_t startDecoder();
    // Reports a failure and has the codecs torn down; the log line names `name`.
    bool startEncoder(const AString& name);
    void stopCodecs();
    void releaseAll();

    // Writes the encoder's output buffer `index` and gives it back.
    void writeSample(uint32_t index, const sp<MediaCodecBuffer>& buffer, uint32_t offset,
                     uint32_t size, int64_t timeUs, int32_t flags);
    // Waits 10 microseconds; nothing ends it earlier.
    virtual void waitPaceStep() = 0;

    void reportEnd() { postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, mKind.track); }
    void reportDone(status_t err);

    static constexpr nsecs_t kPaceStepNs = 10000;

    const Kind& mKind;
    sp<NuMediaExtractor> mExtractor;
    sp<MediaCodec> mDecoderCodec;
    sp<MediaCodec> mEncoderCodec;
    sp<OxaMediaMuxer> mMuxer;
    sp<DataSource> mDataSource;
    sp<ALooper> mCodecLooper;
    sp<ALooper> mEncoderLooper;
    sp<ALooper> mDecodeCBLooper;
    sp<ALooper> mEncodeCBLooper;
    sp<DecodeCBHandler> mDecodeCBHandler;
    sp<EncodeCBHandler> mEncodeCBHandler;
    AString mDecoderName;
    AString mEncoderName;
    _AV_FORMAT_FORMAT* mTargetFormat = NULL;
    bool mFirstOutput = true;
    std::atomic<bool> mStreamOutput{false};
    bool mInputEOS = false;
    int64_t mStreamStartUs = 0;
    std::atomic<int> mState{UNINITIALIZED};

    TrackReader mTrackReader;
    TrackEncoder mTrackEncoder;

  private:
    void onSetDataSource(const sp<AMessage>& msg);
    void onSetDataSourceFd(const sp<AMessage>& msg);
    void onSetMuxer(const sp<AMessage>& msg);
    void onSetTargetFormat(const sp<AMessage>& msg);

    bool isTeardown(const sp<AMessage>& msg) const;
    void onTeardown();

    void waitForStreamTime(int64_t timeUs);

    sp<AMessage> mTeardown;
    std::atomic<bool> mStopRequested{false};  // ends pacing waits
    std::atomic<bool> mRefused{false};        // stopped itself: the muxer did not take the track
    bool mCodecsStopped = false;              // command looper only
};

}  // namespace android
