// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/TrackText.h"

#include <nlohmann/json.hpp>

namespace oxaplayer {

namespace {

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

}  // namespace

Json trackFields(const Track& track) {
    Json fields = {{"index", track.index},
                   {"kind", track.isVideo ? "video" : "audio"},
                   {"mime", track.mime}};
    if (track.isVideo) {
        fields["width"] = track.width;
        fields["height"] = track.height;
        fields["rotation"] = track.rotationDegrees;
        fields["interlaced"] = track.isInterlaced;
        fields["frame_rate"] = orNull(track.frameRate);
    } else {
        fields["channels"] = track.channels;
        fields["sample_rate"] = track.sampleRate;
    }
    fields["language"] = track.language.empty() ? Json(nullptr) : Json(track.language);
    fields["duration_s"] =
            track.durationUs ? Json(rounded(*track.durationUs / 1e6, 1000)) : Json(nullptr);
    return fields;
}

std::string trackDetails(const Track& track) {
    if (!track.isVideo) {
        const std::string language = track.language.empty() ? "" : ", " + track.language;
        return std::to_string(track.channels) + " ch, " + std::to_string(track.sampleRate) + " Hz" +
               language;
    }
    std::string text = std::to_string(track.width) + "x" + std::to_string(track.height);
    if (track.rotationDegrees != 0) {
        text += ", rotated by " + std::to_string(track.rotationDegrees);
    }
    if (track.isInterlaced) text += " interlaced";
    if (track.frameRate) text += ", " + std::to_string(*track.frameRate) + " fps";
    return text;
}

std::string describeTrack(const Track& track) {
    return track.mime + " " + trackDetails(track);
}

}  // namespace oxaplayer
