// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTracks.h"

#include <media/stagefright/foundation/AString.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>

#include "StatusText.h"

namespace oxaplayer {

using android::AMessage;
using android::AString;
using android::NuMediaExtractor;
using android::sp;
using android::status_t;

namespace {

std::optional<int32_t> findInt32(const sp<AMessage>& format, const char* key) {
    int32_t value = 0;
    if (!format->findInt32(key, &value)) return std::nullopt;
    return value;
}

SourceTrack describe(size_t index, const sp<AMessage>& format) {
    SourceTrack track;
    track.index = index;
    track.format = format;
    AString mime;
    if (format->findString("mime", &mime)) track.mime = mime.c_str();
    track.isVideo = strncasecmp(track.mime.c_str(), "video/", 6) == 0;
    int64_t durationUs = 0;
    if (format->findInt64("durationUs", &durationUs) && durationUs > 0) {
        track.durationUs = durationUs;
    }
    track.width = findInt32(format, "width").value_or(0);
    track.height = findInt32(format, "height").value_or(0);
    track.rotationDegrees = findInt32(format, "rotation-degrees").value_or(0);
    const int32_t aspectWidth = findInt32(format, "sar-width").value_or(0);
    const int32_t aspectHeight = findInt32(format, "sar-height").value_or(0);
    if (aspectWidth > 0 && aspectHeight > 0) {
        track.pixelAspect = static_cast<double>(aspectWidth) / aspectHeight;
    }
    track.frameRate = findInt32(format, "frame-rate");
    track.channels = findInt32(format, "channel-count").value_or(0);
    track.sampleRate = findInt32(format, "sample-rate").value_or(0);
    return track;
}

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

}  // namespace

status_t openExtractor(const InputFile& input, sp<NuMediaExtractor>* extractor) {
    *extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    return (*extractor)->setDataSource(input.descriptor(), 0, input.size());
}

std::optional<Failure> readTracks(const InputFile& input, std::vector<SourceTrack>* tracks) {
    sp<NuMediaExtractor> extractor;
    return readTracks(input, tracks, &extractor);
}

std::optional<Failure> readTracks(const InputFile& input, std::vector<SourceTrack>* tracks,
                                  sp<NuMediaExtractor>* extractor) {
    const status_t status = openExtractor(input, extractor);
    if (status != android::OK) {
        return Failure{ExitCode::kInput,
                       "cannot read '" + input.path() + "': " + statusText(status)};
    }
    tracks->clear();
    for (size_t index = 0; index < (*extractor)->countTracks(); ++index) {
        sp<AMessage> format;
        if ((*extractor)->getTrackFormat(index, &format) == android::OK) {
            tracks->push_back(describe(index, format));
        }
    }
    if (!tracks->empty()) return std::nullopt;
    return Failure{ExitCode::kInput,
                   "'" + input.path() + "' has no picture or sound that can be decoded"};
}

std::optional<int64_t> longestDurationUs(const std::vector<SourceTrack>& tracks) {
    std::optional<int64_t> longestUs;
    for (const SourceTrack& track : tracks)
        longestUs = std::max(longestUs, track.durationUs);
    return longestUs;
}

Json trackFields(const SourceTrack& track) {
    Json fields = {{"index", track.index},
                   {"kind", track.isVideo ? "video" : "audio"},
                   {"mime", track.mime}};
    if (track.isVideo) {
        fields["width"] = track.width;
        fields["height"] = track.height;
        fields["rotation"] = track.rotationDegrees;
        fields["frame_rate"] = orNull(track.frameRate);
    } else {
        fields["channels"] = track.channels;
        fields["sample_rate"] = track.sampleRate;
    }
    fields["duration_s"] =
            track.durationUs ? Json(rounded(*track.durationUs / 1e6, 1000)) : Json(nullptr);
    return fields;
}

std::string trackDetails(const SourceTrack& track) {
    if (!track.isVideo) {
        return std::to_string(track.channels) + " ch, " + std::to_string(track.sampleRate) + " Hz";
    }
    std::string text = std::to_string(track.width) + "x" + std::to_string(track.height);
    if (track.rotationDegrees != 0) {
        text += ", rotated by " + std::to_string(track.rotationDegrees);
    }
    if (track.frameRate) text += ", " + std::to_string(*track.frameRate) + " fps";
    return text;
}

std::string describeTrack(const SourceTrack& track) {
    return track.mime + " " + trackDetails(track);
}

}  // namespace oxaplayer
