// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/TrackChoice.h"

#include "tracks/DecodeTrial.h"
#include "tracks/PartChoice.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

const char* wanted(Only only) {
    if (only == Only::kAudio) return "sound";
    return only == Only::kVideo ? "picture" : "picture or sound";
}

bool hasWindow(const InputPart& part) {
    return part.startUs > 0 || part.endUs;
}

}  // namespace

std::optional<Failure> chooseTracks(const InputFile& input, Only only, const InputPart& part,
                                    JobContext& context, TrackChoice* choice) {
    std::vector<Track> tracks;
    android::sp<android::NuMediaExtractor> extractor;
    if (auto failure = readTracks(input, &tracks, &extractor)) return failure;
    DecodeTrial trialOfFile(input, extractor, context.cancelled());
    std::vector<Track> inFile;
    if (!isWhole(part)) {
        inFile = tracks;
        if (auto failure = choosePart(input, part, &inFile)) return failure;
        if (auto failure = readTracks(input, &tracks, &extractor)) return failure;
    }
    for (const Track& track : tracks) {
        std::optional<Track>& place = track.isVideo ? choice->video : choice->audio;
        const bool isWanted = only != (track.isVideo ? Only::kAudio : Only::kVideo);
        if (!place && isWanted) place = track;
    }
    DecodeTrial trial(input, extractor, context.cancelled());
    for (std::optional<Track>* place : {&choice->video, &choice->audio}) {
        if (!*place) continue;
        const bool isKnown =
                hasWindow(part) && trialOfFile.canDecodeIn(part, inFile[(*place)->index]);
        if (isKnown || trial.canDecode(**place)) continue;
        // A track without a length may end before the window begins.
        context.listener().onWarning(std::string((*place)->isVideo ? "the picture" : "the sound") +
                                     (hasWindow(part) ? " has nothing there that can be decoded"
                                                      : " cannot be decoded") +
                                     " and is left out (" + (*place)->mime + ")");
        place->reset();
    }
    for (std::optional<Track>* place : {&choice->video, &choice->audio}) {
        if (*place && !inFile.empty()) (*place)->index = inFile[(*place)->index].index;
    }
    if (context.cancelled()) return cancelledFailure();
    if (choice->video || choice->audio) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "'" + input.path() + "' has no " + wanted(only) + " that can be decoded" +
                           (hasWindow(part) ? " in the part that is asked for" : "")};
}

std::vector<Track> tracksOf(const TrackChoice& choice) {
    std::vector<Track> tracks;
    for (const auto& track : {choice.video, choice.audio}) {
        if (track) tracks.push_back(*track);
    }
    return tracks;
}

}  // namespace oxa::jobs
