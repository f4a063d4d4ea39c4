// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "extractor/FileDescription.h"

#include <string.h>

#include <algorithm>

#include "extractor/TrackFormat.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

using oxa::host::InputChapter;
using oxa::host::InputDescription;
using oxa::host::InputRatio;
using oxa::host::InputStream;

std::string textOf(const char* text) {
    return std::string(text == nullptr ? "" : text).substr(0, limits::kMaxMetadataLength);
}

// Of a name that means something.
std::string nameOf(const char* name) {
    const std::string text = textOf(name);
    return text == "unknown" || text == "reserved" ? "" : text;
}

// How an MP4 is made tells nothing about the film.
bool isOfContainer(const char* key) {
    for (const char* own : {"major_brand", "minor_version", "compatible_brands"}) {
        if (strcmp(key, own) == 0) return true;
    }
    return false;
}

std::string itemOf(const AVDictionary* metadata, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(metadata, key, nullptr, 0);
    return entry == nullptr ? "" : textOf(entry->value);
}

InputRatio ratioOf(AVRational ratio) {
    if (ratio.num <= 0 || ratio.den <= 0) return {};
    return {ratio.num, ratio.den};
}

InputStream::Kind kindOf(const AVCodecParameters& parameters) {
    switch (parameters.codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            return InputStream::Kind::kPicture;
        case AVMEDIA_TYPE_AUDIO:
            return InputStream::Kind::kSound;
        case AVMEDIA_TYPE_SUBTITLE:
            return InputStream::Kind::kSubtitle;
        default:
            return InputStream::Kind::kData;
    }
}

void describePicture(const AVStream& stream, InputStream* described) {
    const AVCodecParameters& parameters = *stream.codecpar;
    described->frameRate = ratioOf(stream.avg_frame_rate);
    if (described->frameRate.numerator == 0) described->frameRate = ratioOf(stream.r_frame_rate);
    described->pixelAspect = ratioOf(stream.sample_aspect_ratio);
    if (described->pixelAspect.numerator == 0) {
        described->pixelAspect = ratioOf(parameters.sample_aspect_ratio);
    }
    described->colorRange = nameOf(av_color_range_name(parameters.color_range));
    described->colorPrimaries = nameOf(av_color_primaries_name(parameters.color_primaries));
    described->colorTransfer = nameOf(av_color_transfer_name(parameters.color_trc));
    described->colorMatrix = nameOf(av_color_space_name(parameters.color_space));
    const AVPixFmtDescriptor* format =
            av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
    described->bits = format != nullptr ? format->comp[0].depth : parameters.bits_per_raw_sample;
}

std::string layoutOf(const AVChannelLayout& layout) {
    char name[128] = {};
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC ||
        av_channel_layout_describe(&layout, name, sizeof(name)) < 0) {
        return {};
    }
    return textOf(name);
}

const char* whyLeftOut(const AVFormatContext& context, const AVStream& stream) {
    if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) return "a cover";
    if ((stream.disposition & AV_DISPOSITION_TIMED_THUMBNAILS) != 0) return "thumbnails";
    const AVMediaType type = stream.codecpar->codec_type;
    if (type == AVMEDIA_TYPE_SUBTITLE) return "subtitles";
    if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) return "no picture or sound";
    const bool hasOthers = context.nb_programs > 1 && isPlayable(stream);
    return hasOthers ? "of another programme" : "cannot be decoded";
}

InputStream describeStream(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    InputStream described;
    described.kind = kindOf(parameters);
    if (parameters.codec_id != AV_CODEC_ID_NONE) {
        described.codec = textOf(avcodec_get_name(parameters.codec_id));
    }
    described.profile = textOf(avcodec_profile_name(parameters.codec_id, parameters.profile));
    described.bitRate = std::max<int64_t>(parameters.bit_rate, 0);
    described.language = itemOf(stream.metadata, "language");
    if (described.kind == InputStream::Kind::kPicture) describePicture(stream, &described);
    if (described.kind == InputStream::Kind::kSound) {
        described.channelLayout = layoutOf(parameters.ch_layout);
    }
    return described;
}

// MP4 keeps the names of chapters in a stream, too.
bool isOfChapters(const AVFormatContext& context, const AVStream& stream) {
    return context.nb_chapters > 0 && stream.discard == AVDISCARD_ALL &&
           stream.codecpar->codec_id == AV_CODEC_ID_BIN_DATA;
}

InputChapter describeChapter(const AVChapter& chapter, int64_t startUs) {
    const auto place = [&](int64_t time) {
        return clampTimeUs(av_rescale_q(time, chapter.time_base, kMicroseconds)) - startUs;
    };
    return {place(chapter.start), place(chapter.end), itemOf(chapter.metadata, "title")};
}

}  // namespace

InputDescription describeFile(const AVFormatContext& context, const std::vector<unsigned>& tracks,
                              int64_t startUs) {
    InputDescription description;
    const unsigned streams = std::min<unsigned>(context.nb_streams, limits::kMaxTracks);
    for (unsigned i = 0; i < streams; ++i) {
        if (isOfChapters(context, *context.streams[i])) continue;
        InputStream stream = describeStream(*context.streams[i]);
        const auto track = std::find(tracks.begin(), tracks.end(), i);
        if (track != tracks.end()) {
            stream.track = track - tracks.begin();
        } else {
            stream.whyLeftOut = whyLeftOut(context, *context.streams[i]);
        }
        description.streams.push_back(std::move(stream));
    }
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(context.metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr &&
           description.metadata.size() < limits::kMaxMetadataItems) {
        if (isOfContainer(entry->key)) continue;
        description.metadata.emplace_back(textOf(entry->key), textOf(entry->value));
    }
    const unsigned chapters = std::min<unsigned>(context.nb_chapters, limits::kMaxChapters);
    for (unsigned i = 0; i < chapters; ++i)
        description.chapters.push_back(describeChapter(*context.chapters[i], startUs));
    return description;
}

}  // namespace android
