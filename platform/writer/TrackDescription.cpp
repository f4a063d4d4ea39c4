// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/TrackDescription.h"

#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/MetaDataBase.h>

#include <algorithm>
#include <vector>

#include "ffmpeg/CodecTable.h"
#include "ffmpeg/DisplayMatrix.h"
#include "ffmpeg/SampleForm.h"
#include "media/AvcStream.h"
#include "media/Esds.h"
#include "media/HevcStream.h"

extern "C" {
#include <libavutil/display.h>
}

namespace android {

namespace {

constexpr AVRational kPictureTimeBase = {1, 90000};
constexpr int32_t kUnknownFrameRate = 30;

std::vector<uint8_t> findBytes(const MetaDataBase& meta, uint32_t key) {
    uint32_t type = 0;
    const void* data = nullptr;
    size_t size = 0;
    if (!meta.findData(key, &type, &data, &size)) return {};
    const auto* bytes = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(bytes, bytes + size);
}

std::vector<uint8_t> decoderConfiguration(const MetaDataBase& meta, AVCodecID codec, AvcForm form) {
    if (codec == AV_CODEC_ID_HEVC) return findBytes(meta, kKeyHVCC);
    if (codec == AV_CODEC_ID_H264) {
        std::vector<uint8_t> record = findBytes(meta, kKeyAVCC);
        if (form == AvcForm::kLengthPrefixed) return record;
        return annexBFromAvcConfiguration(record.data(), record.size());
    }
    const std::vector<uint8_t> esds = findBytes(meta, kKeyESDS);
    return configurationFromEsds(esds.data(), esds.size());
}

bool describeVideo(const MetaDataBase& meta, TrackDescription* track) {
    int32_t width = 0;
    int32_t height = 0;
    int32_t frameRate = 0;
    if (!meta.findInt32(kKeyWidth, &width) || !meta.findInt32(kKeyHeight, &height)) return false;
    if (!meta.findInt32(kKeyFrameRate, &frameRate) || frameRate <= 0) frameRate = kUnknownFrameRate;
    track->parameters->width = width;
    track->parameters->height = height;
    track->timeBase = kPictureTimeBase;
    track->nominalDuration = std::max(1, kPictureTimeBase.den / frameRate);
    return width > 0 && height > 0;
}

bool describeAudio(const MetaDataBase& meta, int samplesPerFrame, TrackDescription* track) {
    int32_t channels = 0;
    int32_t sampleRate = 0;
    if (!meta.findInt32(kKeyChannelCount, &channels) || channels <= 0 ||
        !meta.findInt32(kKeySampleRate, &sampleRate) || sampleRate <= 0) {
        return false;
    }
    av_channel_layout_default(&track->parameters->ch_layout, channels);
    track->parameters->sample_rate = sampleRate;
    track->parameters->frame_size = samplesPerFrame;
    track->timeBase = {1, sampleRate};
    track->nominalDuration = samplesPerFrame;
    return true;
}

std::vector<uint8_t> configurationIn(const uint8_t* data, size_t size, AVCodecID codec,
                                     AvcForm form) {
    if (codec == AV_CODEC_ID_HEVC) return makeHevcConfiguration(data, size);
    if (codec != AV_CODEC_ID_H264) return std::vector<uint8_t>(data, data + size);
    std::vector<uint8_t> record = makeAvcConfiguration(data, size);
    if (form == AvcForm::kLengthPrefixed) return record;
    return annexBFromAvcConfiguration(record.data(), record.size());
}

}  // namespace

bool TrackDescription::isComplete() const {
    const AVCodecID codec = parameters->codec_id;
    const bool needsData = hasNalUnits() || codec == AV_CODEC_ID_AAC || codec == AV_CODEC_ID_MPEG4;
    return !needsData || parameters->extradata_size > 0;
}

status_t describeTrack(const MetaDataBase& meta, AvcForm form, TrackDescription* track) {
    const char* mime = nullptr;
    if (!meta.findCString(kKeyMIMEType, &mime)) return ERROR_UNSUPPORTED;
    const CodecRow* const type = findCodec(mime);
    if (type == nullptr) return ERROR_UNSUPPORTED;

    track->parameters.reset(avcodec_parameters_alloc());
    AVCodecParameters* const parameters = track->parameters;
    parameters->codec_type = type->kind;
    parameters->codec_id = type->codec;
    const bool complete = track->isVideo() ? describeVideo(meta, track)
                                           : describeAudio(meta, type->samplesPerFrame, track);
    int32_t bitRate = 0;
    if (meta.findInt32(kKeyBitRate, &bitRate)) parameters->bit_rate = bitRate;

    if (!complete) return ERROR_MALFORMED;
    setCodecData(decoderConfiguration(meta, type->codec, form), parameters);
    return OK;
}

bool completeTrack(const uint8_t* data, size_t size, AvcForm form, TrackDescription* track) {
    const std::vector<uint8_t> extra =
            configurationIn(data, size, track->parameters->codec_id, form);
    if (extra.empty()) return false;
    setCodecData(extra, track->parameters);
    return true;
}

int addStream(AVFormatContext* muxer, const TrackDescription& track, int rotation) {
    AVStream* const stream = avformat_new_stream(muxer, nullptr);
    if (stream == nullptr) return AVERROR(ENOMEM);
    const int result = avcodec_parameters_copy(stream->codecpar, track.parameters);
    if (result < 0) return result;
    stream->time_base = track.timeBase;
    if (!track.isVideo() || rotation == 0) return 0;
    uint8_t* const matrix = newDisplayMatrix(stream);
    if (matrix == nullptr) return AVERROR(ENOMEM);
    av_display_rotation_set(reinterpret_cast<int32_t*>(matrix), rotation);
    return 0;
}

}  // namespace android
