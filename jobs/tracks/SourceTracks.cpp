// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/SourceTracks.h"

#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <oxa/host/InputChoice.h>

#include <algorithm>
#include <cstring>

#include "tracks/MessageText.h"

namespace oxa::jobs {

using android::AMessage;
using android::AString;
using android::NuMediaExtractor;
using android::sp;
using android::status_t;

namespace {

constexpr char kNoLanguage[] = "und";

std::optional<int32_t> findInt32(const sp<AMessage>& format, const char* key) {
    int32_t value = 0;
    if (!format->findInt32(key, &value)) return std::nullopt;
    return value;
}

Track describe(size_t index, const sp<AMessage>& format) {
    Track track;
    track.index = index;
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
    track.isInterlaced = findInt32(format, "linux.interlaced").value_or(0) != 0;
    track.frameRate = findInt32(format, "frame-rate");
    track.channels = findInt32(format, "channel-count").value_or(0);
    track.sampleRate = findInt32(format, "sample-rate").value_or(0);
    return track;
}

Ratio ratioOf(const host::InputRatio& ratio) {
    return {ratio.numerator, ratio.denominator};
}

// Those that readers see, in their order: the description is of the whole file.
std::vector<host::InputStream> listedStreams() {
    std::vector<host::InputStream> listed;
    const auto description = host::inputDescription();
    if (!description) return listed;
    const host::InputChoice choice = host::inputChoice();
    for (const host::InputStream& stream : description->streams) {
        const bool isPicture = stream.kind == host::InputStream::Kind::kPicture;
        const std::optional<int>& wanted = isPicture ? choice.videoTrack : choice.audioTrack;
        const bool isWanted = !wanted || static_cast<size_t>(*wanted) == stream.track;
        if (stream.track && isWanted) listed.push_back(stream);
    }
    return listed;
}

// What its format has no place for.
void addDescription(const host::InputStream& stream, Track* track) {
    track->language = languageOf(stream);
    track->codec = stream.codec;
    track->profile = stream.profile;
    if (stream.bitRate > 0) track->bitRate = stream.bitRate;
    track->exactFrameRate = ratioOf(stream.frameRate);
    track->exactPixelAspect = ratioOf(stream.pixelAspect);
    track->color = {stream.colorRange, stream.colorPrimaries, stream.colorTransfer,
                    stream.colorMatrix, stream.bits};
    track->layout = stream.channelLayout;
}

}  // namespace

std::string languageOf(const host::InputStream& stream) {
    return stream.language == kNoLanguage ? "" : stream.language;
}

status_t openExtractor(const InputFile& input, sp<NuMediaExtractor>* extractor) {
    *extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    return (*extractor)->setDataSource(input.descriptor(), 0, input.size());
}

std::optional<Failure> readTracks(const InputFile& input, std::vector<Track>* tracks) {
    sp<NuMediaExtractor> extractor;
    return readTracks(input, tracks, &extractor);
}

std::optional<Failure> readTracks(const InputFile& input, std::vector<Track>* tracks,
                                  sp<NuMediaExtractor>* extractor) {
    const status_t status = openExtractor(input, extractor);
    if (status != android::OK) {
        return Failure{FailureKind::kInput,
                       "cannot read '" + input.path() + "': " + statusText(status)};
    }
    const std::vector<host::InputStream> streams = listedStreams();
    tracks->clear();
    for (size_t index = 0; index < (*extractor)->countTracks(); ++index) {
        sp<AMessage> format;
        if ((*extractor)->getTrackFormat(index, &format) == android::OK) {
            tracks->push_back(describe(index, format));
            if (index < streams.size()) addDescription(streams[index], &tracks->back());
        }
    }
    if (!tracks->empty()) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "'" + input.path() + "' has no picture or sound that can be decoded"};
}

std::optional<Track> firstOf(const std::vector<Track>& tracks, bool isVideo) {
    for (const Track& track : tracks) {
        if (track.isVideo == isVideo) return track;
    }
    return std::nullopt;
}

std::optional<int64_t> longestDurationUs(const std::vector<Track>& tracks) {
    std::optional<int64_t> longestUs;
    for (const Track& track : tracks)
        longestUs = std::max(longestUs, track.durationUs);
    return longestUs;
}

std::optional<double> fileLengthSec(const std::string& path) {
    InputFile file;
    std::vector<Track> tracks;
    if (file.openPath(path) || readTracks(file, &tracks)) return std::nullopt;
    return longestDurationUs(tracks).value_or(0) / 1e6;
}

}  // namespace oxa::jobs
