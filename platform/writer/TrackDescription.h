// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MetaDataBase.h>
#include <stdint.h>
#include <utils/Errors.h>

#include "ffmpeg/AvOwner.h"

namespace android {

// How a container keeps the parts of H.264 samples.
enum class AvcForm {
    kAnnexB,          // start codes
    kLengthPrefixed,  // 4 bytes of length
};

// A track as a muxer needs it.
struct TrackDescription {
    AvParametersOwner parameters;
    AVRational timeBase = {1, 90000};
    int64_t nominalDuration = 0;  // of a sample, in timeBase

    bool isVideo() const { return parameters->codec_type == AVMEDIA_TYPE_VIDEO; }
    bool isAvc() const { return parameters->codec_id == AV_CODEC_ID_H264; }
    // H.264 and HEVC: samples are made of NAL units.
    bool hasNalUnits() const { return isAvc() || parameters->codec_id == AV_CODEC_ID_HEVC; }
    // False while what its decoder needs has not come.
    bool isComplete() const;
};

// ERROR_UNSUPPORTED for a MIME type that is not known here, ERROR_MALFORMED when sizes, channels or
// the rate are missing. What the decoder needs may come later.
status_t describeTrack(const MetaDataBase& meta, AvcForm form, TrackDescription* track);

// Completes a description with what a decoder is to know first: H.264 and HEVC with the parameter
// sets in these bytes, others with all of them. False without any.
bool completeTrack(const uint8_t* data, size_t size, AvcForm form, TrackDescription* track);

// Adds a stream for the track to a muxer and returns 0 or an AVERROR. `rotation` (clockwise
// degrees) matters for pictures only.
int addStream(AVFormatContext* muxer, const TrackDescription& track, int rotation);

}  // namespace android
