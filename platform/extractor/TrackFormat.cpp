// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "TrackFormat"

#include "extractor/TrackFormat.h"

#include <log/log.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ffmpeg/CodecTable.h"
#include "ffmpeg/DisplayMatrix.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/SampleForm.h"
#include "ffmpeg/StreamInfo.h"
#include "ffmpeg/TimeBase.h"
#include "ffmpeg/TrackParameters.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/display.h>
}

namespace android {

namespace {

constexpr int64_t kVideoReserve = 64 << 10;
constexpr int64_t kMinUnknownVideoSize = 1 << 20;
constexpr int64_t kMinAudioSize = 256 << 10;

// 0 when the container has no list of its samples, or not of all. No sample is larger than its
// file, whatever the list says.
int64_t largestIndexedSample(const AVFormatContext& context, const AVStream& stream) {
    const int entries = avformat_index_get_entries_count(&stream);
    if (stream.nb_frames <= 0) return 0;
    int64_t largest = 0;
    for (int i = 0; i < entries; ++i) {
        const AVIndexEntry* entry = avformat_index_get_entry(const_cast<AVStream*>(&stream), i);
        largest = std::max<int64_t>(largest, entry->size);
    }
    const int64_t fileSize = avio_size(context.pb);
    return fileSize >= 0 ? std::min(largest, fileSize) : largest;
}

int32_t maxInputSize(const AVFormatContext& context, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    const int64_t indexed = largestIndexedSample(context, stream);
    int64_t size;
    if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        size = std::max(kMinAudioSize, indexed);
    } else if (indexed > 0) {
        size = indexed + parameters.extradata_size + kVideoReserve;
    } else {
        const int64_t points = static_cast<int64_t>(parameters.width) * parameters.height;
        size = std::max(kMinUnknownVideoSize, points * 3 / 2);
    }
    return static_cast<int32_t>(std::min<int64_t>(size, limits::kMaxSampleBytes));
}

// How the container wants pictures to be shown: nine numbers, or null.
const int32_t* displayMatrixOf(const AVStream& stream) {
    return reinterpret_cast<const int32_t*>(displayMatrix(stream));
}

// Clockwise degrees by which the picture is to be turned for display.
int32_t rotationBy(const int32_t* matrix) {
    const double turn = -av_display_rotation_get(matrix);
    if (std::isnan(turn)) return 0;
    return (static_cast<int32_t>(std::lround(turn / 90)) % 4 + 4) % 4 * 90;
}

// Lines keep their direction in a turn: what remains of a matrix that mirrors is the exchange of
// top and bottom.
bool isMirroredBy(const int32_t* matrix) {
    const double determinant =
            static_cast<double>(matrix[0]) * matrix[4] - static_cast<double>(matrix[1]) * matrix[3];
    return determinant < 0;
}

void setVideoItems(const AVStream& stream, const sp<AMessage>& format) {
    const AVCodecParameters& parameters = *stream.codecpar;
    format->setInt32("width", parameters.width);
    format->setInt32("height", parameters.height);
    const double rate = trackFrameRateOf(stream);
    if (rate > 0) {
        format->setInt32("frame-rate", std::max(1, static_cast<int32_t>(std::lround(rate))));
    }
    const int32_t* matrix = displayMatrixOf(stream);
    format->setInt32("rotation-degrees", matrix == nullptr ? 0 : rotationBy(matrix));
    if (matrix != nullptr && isMirroredBy(matrix)) format->setInt32(kFormatKeyMirrored, 1);
    if (parameters.field_order > AV_FIELD_PROGRESSIVE) {
        format->setInt32(kFormatKeyInterlaced, 1);
    }
    const AVRational aspect = stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio
                                                                 : parameters.sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) {
        format->setInt32("sar-width", aspect.num);
        format->setInt32("sar-height", aspect.den);
    }
}

void setAudioItems(const AVStream& stream, const sp<AMessage>& format) {
    format->setInt32("channel-count", stream.codecpar->ch_layout.nb_channels);
    format->setInt32("sample-rate", stream.codecpar->sample_rate);
}

// Codec-specific data as decoders of Android take it.
void setCodecData(const AVCodecParameters& parameters, const sp<AMessage>& format) {
    int index = 0;
    for (const std::vector<uint8_t>& data : codecData(parameters)) {
        if (data.empty()) continue;
        format->setBuffer(("csd-" + std::to_string(index++)).c_str(),
                          ABuffer::CreateAsCopy(data.data(), data.size()));
    }
}

// Not above 0 where it is not known.
int64_t durationUs(const AVFormatContext& context, const AVStream& stream) {
    if (stream.duration > 0 && isTimeAllowed(stream.duration, stream.time_base)) {
        return av_rescale_q(stream.duration, stream.time_base, kMicroseconds);
    }
    return context.duration <= limits::kMaxTimeUs ? context.duration : 0;
}

}  // namespace

bool isPlayable(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    if ((stream.disposition & (AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS)) !=
        0) {
        return false;
    }
    bool usable = false;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        usable = isPictureSizeAllowed(parameters.width, parameters.height);
    } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        usable = isSoundAllowed(parameters.ch_layout.nb_channels, parameters.sample_rate);
    } else {
        return false;
    }
    usable = usable && parameters.extradata_size <= limits::kMaxCodecDataBytes &&
             avcodec_find_decoder(parameters.codec_id) != nullptr;
    ALOGW_IF(!usable, "stream %d (%s, %dx%d, %d Hz) cannot be decoded and is left out",
             stream.index, avcodec_get_name(parameters.codec_id), parameters.width,
             parameters.height, parameters.sample_rate);
    return usable;
}

sp<AMessage> makeTrackFormat(const AVFormatContext& context, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    sp<AMessage> format = new AMessage;
    format->setString("mime", mimeForCodec(parameters).c_str());
    const bool hasIds = (context.iformat->flags & AVFMT_SHOW_IDS) != 0;
    format->setInt32("track-id", hasIds ? stream.id : stream.index + 1);
    if (durationUs(context, stream) > 0) {
        format->setInt64("durationUs", durationUs(context, stream));
    }
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        setVideoItems(stream, format);
    } else {
        setAudioItems(stream, format);
    }
    if (parameters.bit_rate > 0 && parameters.bit_rate <= INT32_MAX) {
        format->setInt32("bitrate", static_cast<int32_t>(parameters.bit_rate));
    }
    format->setInt32("max-input-size", maxInputSize(context, stream));
    setCodecData(parameters, format);
    const AVDictionaryEntry* language = av_dict_get(stream.metadata, "language", nullptr, 0);
    if (language != nullptr) {
        format->setString("language", language->value,
                          strnlen(language->value, limits::kMaxLanguageLength));
    }
    return format;
}

}  // namespace android
