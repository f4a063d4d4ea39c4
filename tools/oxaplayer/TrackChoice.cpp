// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TrackChoice.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "DecodeTrial.h"
#include "TrackText.h"

namespace oxaplayer {

namespace {

const char* wanted(Only only) {
    if (only == Only::kAudio) return "sound";
    return only == Only::kVideo ? "picture" : "picture or sound";
}

}  // namespace

std::optional<Failure> chooseTracks(const InputFile& input, Only only, Report* report,
                                    TrackChoice* choice) {
    std::vector<Track> tracks;
    android::sp<android::NuMediaExtractor> extractor;
    if (auto failure = readTracks(input, &tracks, &extractor)) return failure;
    for (const Track& track : tracks) {
        std::optional<Track>& place = track.isVideo ? choice->video : choice->audio;
        const bool isWanted = only != (track.isVideo ? Only::kAudio : Only::kVideo);
        if (!place && isWanted) place = track;
    }
    DecodeTrial trial(input, extractor);
    for (std::optional<Track>* place : {&choice->video, &choice->audio}) {
        if (!*place || trial.canDecode(**place)) continue;
        report->warning(std::string((*place)->isVideo ? "the picture" : "the sound") +
                        " cannot be decoded and is left out (" + (*place)->mime + ")");
        place->reset();
    }
    if (choice->video || choice->audio) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "'" + input.path() + "' has no " + wanted(only) + " that can be decoded"};
}

void announceTracks(const InputFile& input, const TrackChoice& choice, Report* report) {
    for (const auto& track : {choice.video, choice.audio}) {
        if (!track) continue;
        report->event("track", trackFields(*track));
        report->note(input.path() + ": " + describeTrack(*track));
    }
}

}  // namespace oxaplayer
