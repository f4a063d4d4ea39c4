// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>
#include <deque>

#include "base/AnnotatedMutex.h"
#include "ffmpeg/AvOwner.h"

namespace android {

// The object item of a track format under which the extractor leaves this for the decoder.
constexpr const char kFormatKeyTrackParameters[] = "linux.track-parameters";
// The int32 item that is 1 where pictures must be turned upside down, top line for bottom line,
// before they are turned by "rotation-degrees".
constexpr const char kFormatKeyMirrored[] = "linux.mirrored";
// The int32 item that is 1 where the stream says that its pictures consist of fields.
constexpr const char kFormatKeyInterlaced[] = "linux.interlaced";

// What a demuxer knows of a stream and an AMessage has no key for: libavcodec's parameters, and
// for every sample that was read the packet's properties (times in the stream's own base,
// duration, flags, side data), which do not fit through MediaCodec::queueInputBuffer. Extractor
// and decoder share one object; all calls may come from any thread.
class TrackParameters : public RefBase {
  public:
    // Copies `parameters`. A stream time t is (t in microseconds) - startUs on the track's clock.
    TrackParameters(const AVCodecParameters& parameters, AVRational timeBase, int64_t startUs,
                    double frameRate = 0);

    const AVCodecParameters& codec() const { return *mParameters; }
    AVRational timeBase() const { return mTimeBase; }
    // Exact, as no format is; 0: sound, or not known.
    double frameRate() const { return mFrameRate; }
    int64_t toUs(int64_t streamTime) const;

    // Extractor, before anyone decodes: of what is decoded only that from 0 to `endUs` counts. The
    // file itself begins at `fileBeginUs`, which is where a stream without times counts from.
    void setWindow(int64_t fileBeginUs, int64_t endUs);
    int64_t fileBeginUs() const { return mFileBeginUs; }
    bool hasWindow() const { return mHasWindow; }
    int64_t windowEndUs() const { return mWindowEndUs; }
    // Whether a picture of this time counts.
    bool shows(int64_t timeUs) const {
        return !mHasWindow || (timeUs >= 0 && timeUs < mWindowEndUs);
    }

    // Extractor: remembers the properties of a sample that is read with this track time.
    void pushSample(const AVPacket& packet, int64_t timeUs);
    // Decoder: takes the properties of the sample that was queued with this time into `packet`
    // (its data stays as it is); older entries are dropped. False when there is none: a client
    // that does not read through the extractor.
    bool popSample(int64_t timeUs, AVPacket* packet);
    // Extractor: after a seek nothing that was read before counts.
    void clearSamples();

  private:
    struct Sample {
        int64_t timeUs;
        AvPacketOwner properties;
    };
    // A decoder that never asks must not make the list grow without bound.
    static constexpr size_t kMaxSamples = 1024;

    ~TrackParameters() override = default;

    const AvParametersOwner mParameters;
    const AVRational mTimeBase;
    const int64_t mStartUs;
    const double mFrameRate;
    bool mHasWindow = false;
    int64_t mFileBeginUs = 0;
    int64_t mWindowEndUs = 0;
    AnnotatedMutex mLock;
    std::deque<Sample> mSamples GUARDED_BY(mLock);
};

}  // namespace android
