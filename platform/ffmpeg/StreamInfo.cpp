// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/StreamInfo.h"

#include <string.h>

#include <algorithm>
#include <vector>

#include "ffmpeg/AvOwner.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/TimeBase.h"
#include "media/AvcStream.h"

namespace android {

namespace {

// Below it plain AAC may carry a second, higher rate that only its frames tell of.
constexpr int kMaxAacCoreRate = 24000;
constexpr int kPlainAac = 2;  // object type in the configuration's first five bits
// Those above may have more than 8 bits, and colours of which only the stream tells.
constexpr int kHighestPlainProfile = 100;
constexpr double kMaxFrameRate = 300;
constexpr double kUsualFrameRate = 25;
// Of a stream, a picture ends where the next one begins, which may be seconds later.
constexpr int64_t kLongestAnalysisUs = 30000000;

// Types of streams of which libavformat does not believe that they are what they say.
struct AnnouncedType {
    uint32_t number;
    AVCodecID codec;
};
constexpr AnnouncedType kAnnouncedTypes[] = {
        {0x82, AV_CODEC_ID_DTS}, {0x83, AV_CODEC_ID_TRUEHD}, {0x85, AV_CODEC_ID_DTS},
        {0x86, AV_CODEC_ID_DTS}, {0x8a, AV_CODEC_ID_DTS},
};

bool plausible(AVRational rate) {
    return rate.num > 0 && rate.den > 0 && av_q2d(rate) <= kMaxFrameRate;
}

bool isMp4(const AVFormatContext& context) {
    return strstr(context.iformat->name, "mp4") != nullptr;
}

bool isSoundOrMovingPicture(const AVStream& stream) {
    const AVMediaType type = stream.codecpar->codec_type;
    return (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO) &&
           (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

// No sample has to be searched.
bool isIndexed(const AVStream& stream) {
    return stream.nb_frames > 0 && avformat_index_get_entries_count(&stream) > 0;
}

bool isSteady(const AVStream& stream) {
    const int64_t maxStep = av_rescale_q(limits::kMaxSteadyStepUs, kMicroseconds, stream.time_base);
    const int count = avformat_index_get_entries_count(&stream);
    int64_t last = AV_NOPTS_VALUE;
    for (int i = 0; i < count; ++i) {
        const int64_t time = avformat_index_get_entry(const_cast<AVStream*>(&stream), i)->timestamp;
        if (last != AV_NOPTS_VALUE && time - last > maxStep) return false;
        last = time;
    }
    return true;
}

// The shape of a picture's points is in the container or in the parameter sets.
void fillAspect(AVCodecParameters* parameters, AVStream* stream) {
    if (stream->sample_aspect_ratio.num > 0 || parameters->sample_aspect_ratio.num > 0) return;
    const auto sets = annexBFromAvcConfiguration(parameters->extradata, parameters->extradata_size);
    for (const NalUnit& unit : splitAnnexB(sets.data(), sets.size())) {
        AvcSequence sequence;
        if (unit.type() != kNalTypeSequenceParameters) continue;
        if (parseAvcSequence(unit, &sequence) && sequence.sarWidth > 0 && sequence.sarHeight > 0) {
            parameters->sample_aspect_ratio = {sequence.sarWidth, sequence.sarHeight};
        }
        return;
    }
}

bool isComplete(const AVStream& stream) {
    if (!isSoundOrMovingPicture(stream)) return true;
    const AVCodecParameters& parameters = *stream.codecpar;
    if (!isIndexed(stream) || stream.start_time == AV_NOPTS_VALUE ||
        parameters.extradata_size == 0) {
        return false;
    }
    switch (parameters.codec_id) {
        case AV_CODEC_ID_H264:
            return parameters.extradata[0] == 1 && parameters.extradata_size > 1 &&
                   parameters.extradata[1] <= kHighestPlainProfile && parameters.width > 0 &&
                   parameters.height > 0 && plausible(stream.avg_frame_rate);
        case AV_CODEC_ID_AAC:
            return parameters.extradata[0] >> 3 == kPlainAac &&
                   parameters.sample_rate > kMaxAacCoreRate && parameters.ch_layout.nb_channels > 0;
        default:
            return false;
    }
}

// Decoders are opened for it. Those of streams that it finds itself keep libavcodec's own limit.
int findStreamInfo(AVFormatContext* context) {
    std::vector<AVDictionary*> options(context->nb_streams, nullptr);
    for (AVDictionary*& option : options)
        av_dict_set_int(&option, "max_pixels", limits::kMaxPicturePoints, 0);
    // Something live would keep its client waiting for a track that does not come.
    const bool isFile = context->pb != nullptr && (context->pb->seekable & AVIO_SEEKABLE_NORMAL);
    if (isFile) context->max_analyze_duration = kLongestAnalysisUs;
    const int result = avformat_find_stream_info(context, options.data());
    for (AVDictionary* option : options)
        AvDictionaryOwner(option).reset();
    return result;
}

}  // namespace

int completeStreamInfo(AVFormatContext* context, StreamInfoDepth depth) {
    // Other containers may not know yet of what type a stream is.
    bool complete = depth == kStreamInfoToPlay && isMp4(*context) && context->nb_streams > 0;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        complete = complete && isComplete(*context->streams[i]);
    }
    if (!complete) return findStreamInfo(context);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        AVStream* const stream = context->streams[i];
        if (stream->codecpar->codec_id == AV_CODEC_ID_H264) fillAspect(stream->codecpar, stream);
    }
    return 0;
}

AVCodecID announcedSound(const AVFormatContext& context) {
    AVCodecID announced = AV_CODEC_ID_NONE;
    if (strcmp(context.iformat->name, "mpegts") != 0) return announced;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVCodecParameters& parameters = *context.streams[i]->codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_AUDIO) continue;
        if (parameters.sample_rate > 0) return AV_CODEC_ID_NONE;
        for (const AnnouncedType& type : kAnnouncedTypes) {
            if (parameters.codec_tag == type.number) announced = type.codec;
        }
    }
    return announced;
}

int64_t fileStartUs(const AVFormatContext& context) {
    if (context.start_time != AV_NOPTS_VALUE) return clampTimeUs(context.start_time);
    int64_t startUs = INT64_MAX;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        const AVMediaType type = stream.codecpar->codec_type;
        if (stream.start_time == AV_NOPTS_VALUE) continue;
        if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) continue;
        startUs =
                std::min(startUs, av_rescale_q(stream.start_time, stream.time_base, kMicroseconds));
    }
    return startUs != INT64_MAX ? clampTimeUs(startUs) : 0;
}

// The header alone does not tell the file's in every release.
int64_t fileDurationUs(const AVFormatContext& context) {
    int64_t durationUs = std::max<int64_t>(context.duration, 0);
    for (unsigned i = 0; i < context.nb_streams && context.duration <= 0; ++i) {
        const AVStream& stream = *context.streams[i];
        if (stream.duration <= 0) continue;
        durationUs = std::max(durationUs,
                              av_rescale_q(stream.duration, stream.time_base, kMicroseconds));
    }
    return clampTimeUs(durationUs);
}

bool hasSteadyIndex(const AVFormatContext& context) {
    if (!isMp4(context)) return false;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        if (isSoundOrMovingPicture(stream) && !(isIndexed(stream) && isSteady(stream))) {
            return false;
        }
    }
    return true;
}

double frameRateOf(const AVStream& stream) {
    for (AVRational rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
        if (plausible(rate)) return av_q2d(rate);
    }
    return 0;
}

double trackFrameRateOf(const AVStream& stream) {
    const double rate = frameRateOf(stream);
    return rate > 0 || stream.start_time != AV_NOPTS_VALUE ? rate : kUsualFrameRate;
}

}  // namespace android
