// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <stddef.h>

#include <atomic>

#include "BaseEncoder.h"
#include "OxaMediaMuxer.h"

namespace android {

namespace sites {
struct CheckSite;
struct EncoderTexts;
struct LogSite;
}  // namespace sites

// The format for an AAC encoder; `maxInputSize` in bytes.
sp<AMessage> newAacFormat(int32_t channelCount, int32_t sampleRate, int32_t maxInputSize);

// The encoder half of a pipeline: makes the encoder with its loopers and its relay, adds its track
// to the muxer, writes its samples, and takes all of it down in the order in which no callback can
// run into what is gone. The codec and the rest stay the pipeline's fields, which this works on;
// the pipeline starts the encoder and feeds it.
class TrackEncoder {
  public:
    // What tells the pipelines apart.
    struct Kind {
        const char* tag;     // of log lines
        const char* title;   // "Video" or "Audio"
        const char* stream;  // "video" or "audio"
        const char* encoderLooper;
        const char* callbackLooper;
        const sites::EncoderTexts& texts;

        static constexpr Kind video(const char* tag, const sites::EncoderTexts& texts) {
            return {tag, "Video", "video", "V-EncoderLooper", "V-EncodeCBLooper", texts};
        }
        static constexpr Kind audio(const char* tag, const sites::EncoderTexts& texts) {
            return {tag, "Audio", "audio", "A-EncoderLooper", "A-EncodeCBLooper", texts};
        }
    };

    struct Fields {
        sp<MediaCodec>& encoder;
        sp<OxaMediaMuxer>& muxer;
        sp<ALooper>& encoderLooper;
        sp<ALooper>& callbackLooper;
        sp<BaseEncoder::EncodeCBHandler>& relay;
        ssize_t& trackIndex;
    };

    // `kind` and what `fields` refers to must outlive this object.
    TrackEncoder(const Kind& kind, const Fields& fields);

    // Set-up, in this order, on the thread of the pipeline's commands. What a codec refuses is a
    // fatal assertion, at `site`.

    // For another recording: nothing of it is written yet. Before the encoder starts.
    void begin();
    // Makes the encoder; also its looper when there is none.
    void create(const char* mime, const sites::CheckSite& site);
    // Its component's name, which it logs.
    AString logName(const sites::LogSite& site) const;
    // Has the encoder call `pipeline` by a relay on a new looper.
    void attachRelay(const sp<BaseEncoder>& pipeline, const sites::CheckSite& site);
    // For pipelines that cannot do without the encoder.
    void configure(const sp<AMessage>& format, const sites::CheckSite& site);

    // Copies what the encoder's input buffer `index` has room for of `size` bytes of sound into it.
    // On the thread of its callbacks; what it refuses is judged by the relay.
    void queueSound(uint32_t index, const void* data, size_t size, int64_t timeUs,
                    const sites::CheckSite& site);

    // What the encoder gives, on the thread of its callbacks.

    // Adds the track, then posts `announcement` and waits at the muxer's gate; logs at `site` that
    // it is done. OK also without a muxer; else the muxer's refusal, about which nothing is logged.
    status_t addTrack(const sp<AMessage>& format, const sp<AMessage>& announcement,
                      const sites::LogSite& site);
    // Writes an output buffer of the encoder, which stays the caller's to release. Nothing when
    // the muxer takes nothing; what it refuses then is a fatal assertion, at `site`.
    void write(const sp<MediaCodecBuffer>& buffer, size_t offset, size_t size, int64_t timeUs,
               int32_t flags, const sites::CheckSite& site);
    // `line` is the caller's.
    void logError(int line, int32_t err, int32_t actionCode, const char* detail) const;

    // The end. Each of these does nothing for what is not there.

    // Lets a callback out that waits for a muxer which nobody will start any more.
    void openGate();
    // Opens the gate and ends the callbacks; not on their own thread. The looper's status.
    status_t stopCallbacks();
    // Stops the callbacks, then the encoder, on whose running a callback under way counts. The
    // encoder's status.
    status_t stop();
    // Stops and releases the encoder and drops loopers and relay. Callbacks are to be stopped
    // before, or this runs on their thread.
    void release();

    bool isWriting() const { return mWriting; }
    // The time of the last access unit handed to the muxer in this recording or the last one,
    // microseconds, -1 before the first; any thread.
    int64_t lastTimeUs() const { return mLastTimeUs; }
    // How many access units that were; any thread.
    int64_t writtenSamples() const { return mWrittenSamples; }

  private:
    const Kind& mKind;
    const Fields mFields;
    // Callback thread: the muxer takes samples. Stays false when its gate was opened without a
    // start.
    bool mWriting = false;
    std::atomic<int64_t> mLastTimeUs{-1};
    std::atomic<int64_t> mWrittenSamples{0};
};

}  // namespace android
