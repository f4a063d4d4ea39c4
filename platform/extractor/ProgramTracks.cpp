// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ProgramTracks"

#include "extractor/ProgramTracks.h"

#include <log/log.h>

#include <algorithm>

#include "extractor/TrackFormat.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/StreamInfo.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

AVMediaType typeOf(const AVFormatContext& context, unsigned stream) {
    return context.streams[stream]->codecpar->codec_type;
}

bool isPartOf(const AVProgram& program, unsigned stream) {
    const unsigned* const end = program.stream_index + program.nb_stream_indexes;
    return std::find(static_cast<const unsigned*>(program.stream_index), end, stream) != end;
}

std::vector<unsigned> partOf(const AVProgram& program, const std::vector<unsigned>& streams) {
    std::vector<unsigned> part;
    std::copy_if(streams.begin(), streams.end(), std::back_inserter(part),
                 [&](unsigned stream) { return isPartOf(program, stream); });
    return part;
}

bool hasType(const AVFormatContext& context, const std::vector<unsigned>& streams,
             AVMediaType type) {
    return std::any_of(streams.begin(), streams.end(),
                       [&](unsigned stream) { return typeOf(context, stream) == type; });
}

// Pictures count more than sound.
int worthOf(const AVFormatContext& context, const std::vector<unsigned>& streams) {
    return (hasType(context, streams, AVMEDIA_TYPE_VIDEO) ? 2 : 0) +
           (hasType(context, streams, AVMEDIA_TYPE_AUDIO) ? 1 : 0);
}

// Of any programme where there are no tracks yet.
bool isBesideTracks(const AVFormatContext& context, const std::vector<unsigned>& tracks,
                    unsigned stream) {
    if (tracks.empty() || context.nb_programs == 0) return true;
    const AVProgram* const* const end = context.programs + context.nb_programs;
    return std::any_of(static_cast<const AVProgram* const*>(context.programs), end,
                       [&](const AVProgram* program) {
                           return isPartOf(*program, tracks.front()) && isPartOf(*program, stream);
                       });
}

}  // namespace

std::vector<unsigned> chooseTracks(const AVFormatContext& context) {
    std::vector<unsigned> playable;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        if (isPlayable(*context.streams[i])) playable.push_back(i);
    }
    if (context.nb_programs < 2) return playable;
    std::vector<unsigned> chosen;
    for (unsigned i = 0; i < context.nb_programs; ++i) {
        const std::vector<unsigned> tracks = partOf(*context.programs[i], playable);
        if (worthOf(context, tracks) > worthOf(context, chosen)) chosen = tracks;
    }
    if (chosen.empty()) return playable;
    ALOGI_IF(chosen.size() < playable.size(), "%zu of %zu tracks belong to other programmes",
             playable.size() - chosen.size(), playable.size());
    return chosen;
}

std::vector<unsigned> missingTracks(const AVFormatContext& context,
                                    const std::vector<unsigned>& tracks) {
    std::vector<unsigned> missing;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVMediaType type = typeOf(context, i);
        const bool isTrack = type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
        if (isTrack && !hasType(context, tracks, type) && isBesideTracks(context, tracks, i)) {
            missing.push_back(i);
        }
    }
    return missing;
}

int64_t tracksStartUs(const AVFormatContext& context, const std::vector<unsigned>& tracks) {
    int64_t startUs = INT64_MAX;
    for (AVMediaType type : {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO}) {
        const auto first = std::find_if(tracks.begin(), tracks.end(), [&](unsigned stream) {
            return typeOf(context, stream) == type;
        });
        if (first == tracks.end()) continue;
        const AVStream& stream = *context.streams[*first];
        if (!isTimeAllowed(stream.start_time, stream.time_base)) continue;
        startUs =
                std::min(startUs, av_rescale_q(stream.start_time, stream.time_base, kMicroseconds));
    }
    return startUs != INT64_MAX ? clampTimeUs(startUs) : fileStartUs(context);
}

}  // namespace android
