// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/VideoRequest.h"

#include <media/stagefright/foundation/ABuffer.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ffmpeg/CodecTable.h"
#include "ffmpeg/SampleForm.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

// "csd-0", "csd-1", ... one after the other.
std::vector<uint8_t> codecSpecificData(const sp<AMessage>& format) {
    std::vector<uint8_t> data;
    sp<ABuffer> csd;
    for (int i = 0; format->findBuffer(("csd-" + std::to_string(i)).c_str(), &csd); ++i) {
        data.insert(data.end(), csd->data(), csd->data() + csd->size());
    }
    return data;
}

// A track with what the plain keys of a format tell; null when they do not tell enough.
sp<TrackParameters> parametersFromFormat(const AString& mime, const sp<AMessage>& format) {
    const AVCodecID codec = codecForMime(mime.c_str());
    if (codec == AV_CODEC_ID_NONE) return nullptr;
    const AvParametersOwner parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    format->findInt32("width", &parameters->width);
    format->findInt32("height", &parameters->height);
    setCodecData(codecSpecificData(format), parameters);
    return new TrackParameters(*parameters, kMicroseconds, 0);
}

sp<TrackParameters> trackOf(const AString& mime, const sp<AMessage>& format) {
    sp<RefBase> parameters;
    return format->findObject(kFormatKeyTrackParameters, &parameters)
                   ? sp<TrackParameters>(static_cast<TrackParameters*>(parameters.get()))
                   : parametersFromFormat(mime, format);
}

size_t inputCapacityOf(const AVCodecParameters& stream, const sp<AMessage>& format) {
    int32_t maxInputSize = 0;
    format->findInt32("max-input-size", &maxInputSize);
    if (maxInputSize > 0) return static_cast<size_t>(maxInputSize);
    const int64_t pictureBytes = static_cast<int64_t>(stream.width) * stream.height * 3 / 2;
    return std::max<size_t>(VideoRequest::kMinInputCapacity, pictureBytes);
}

status_t readConversion(const sp<AMessage>& format, VideoRequest* request) {
    int32_t rotationDegrees = 0;
    int32_t mirrored = 0;
    int32_t width = 0;
    int32_t height = 0;
    float frameRate = 0;
    Conversion& conversion = request->conversion;
    format->findInt32("rotation-degrees", &rotationDegrees);
    format->findInt32(kFormatKeyMirrored, &mirrored);
    format->findInt32("video-de-interlace", &conversion.deinterlace);
    format->findInt32("eFps", &conversion.frameRate);
    format->findInt32("eWid", &width);
    format->findInt32("eHei", &height);
    format->findAsFloat("frame-rate", &frameRate);
    if (width < 0 || height < 0 || conversion.frameRate < 0) return BAD_VALUE;
    request->sizeAsked = width > 0 && height > 0;
    if (request->sizeAsked) {
        conversion.width = width;
        conversion.height = height;
    }
    conversion.rotationDegrees = (rotationDegrees % 360 + 360) % 360;
    conversion.mirrored = mirrored != 0;
    conversion.sourceFrameRate = static_cast<int>(std::lround(std::max(frameRate, 0.0F)));
    if (frameRate > 0) {
        request->frameDuration = av_rescale_q(std::llround(1000000 / frameRate), kMicroseconds,
                                              request->track->timeBase());
    }
    return OK;
}

void readTunnel(const sp<AMessage>& format, VideoRequest* request) {
    int32_t tunneled = 0;
    int32_t noAudio = 0;
    format->findInt32("feature-tunneled-playback", &tunneled);
    format->findInt32("audio-hw-sync", &request->hwSync);
    format->findInt32("tunnel-no-audio", &noAudio);
    request->tunneled = tunneled != 0;
    if (noAudio != 0) request->hwSync = 0;
}

}  // namespace

status_t readVideoRequest(const AString& mime, const sp<AMessage>& format, VideoRequest* request) {
    *request = VideoRequest();
    request->track = trackOf(mime, format);
    if (request->track == nullptr ||
        avcodec_find_decoder(request->track->codec().codec_id) == nullptr) {
        return BAD_VALUE;
    }
    request->inputCapacity = inputCapacityOf(request->track->codec(), format);
    readTunnel(format, request);
    return readConversion(format, request);
}

}  // namespace android
