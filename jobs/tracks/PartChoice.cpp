// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/PartChoice.h"

#include <oxa/host/InputChoice.h>

#include <algorithm>

#include "encode/EncodeSetup.h"
#include "tracks/MessageText.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

std::optional<Failure> refuseTimes(const InputFile& input, const InputPart& part,
                                   const std::vector<Track>& tracks) {
    if (part.startUs < 0) return wrongOption("start", secondsText(part.startUs), "0 or later");
    if (part.endUs && *part.endUs <= part.startUs) {
        return wrongOption("end", secondsText(*part.endUs),
                           "a time after " + secondsText(part.startUs));
    }
    const auto lengthUs = longestDurationUs(tracks);
    if (!lengthUs || part.startUs < *lengthUs) return std::nullopt;
    return Failure{FailureKind::kInput, "'" + input.path() + "' ends at " + secondsText(*lengthUs) +
                                                ", not after " + secondsText(part.startUs)};
}

std::optional<Failure> refuseNumber(const InputFile& input, const std::optional<int>& number,
                                    bool isVideo, const std::vector<Track>& tracks) {
    if (!number) return std::nullopt;
    for (const Track& track : tracks) {
        if (track.isVideo == isVideo && static_cast<int>(track.index) == *number) {
            return std::nullopt;
        }
    }
    return Failure{FailureKind::kInput, "'" + input.path() + "': track " + std::to_string(*number) +
                                                " is no " + (isVideo ? "picture" : "sound")};
}

// The number of the sound that is asked for, by itself or by its language.
std::optional<Failure> chooseSound(const InputFile& input, const InputPart& part,
                                   const std::vector<Track>& tracks, std::optional<int>* number) {
    *number = part.audioTrack;
    if (*number || !part.audioLanguage) return refuseNumber(input, *number, false, tracks);
    for (const Track& track : tracks) {
        if (track.isVideo || track.language != *part.audioLanguage) continue;
        *number = static_cast<int>(track.index);
        return std::nullopt;
    }
    return Failure{FailureKind::kInput,
                   "'" + input.path() + "' has no sound in '" + *part.audioLanguage + "'"};
}

}  // namespace

bool isWhole(const InputPart& part) {
    return part.startUs == 0 && !part.endUs && !part.videoTrack && !part.audioTrack &&
           !part.audioLanguage;
}

std::optional<Failure> choosePart(const InputFile& input, const InputPart& part,
                                  std::vector<Track>* tracks) {
    host::InputChoice choice;
    if (auto failure = refuseTimes(input, part, *tracks)) return failure;
    if (auto failure = refuseNumber(input, part.videoTrack, true, *tracks)) return failure;
    if (auto failure = chooseSound(input, part, *tracks, &choice.audioTrack)) return failure;
    choice.videoTrack = part.videoTrack;
    choice.startUs = part.startUs;
    choice.endUs = part.endUs;
    host::setInputChoice(choice);
    const auto isHidden = [&](const Track& track) {
        const auto& number = track.isVideo ? choice.videoTrack : choice.audioTrack;
        return number && *number != static_cast<int>(track.index);
    };
    tracks->erase(std::remove_if(tracks->begin(), tracks->end(), isHidden), tracks->end());
    return std::nullopt;
}

void forgetPart() {
    host::setInputChoice({});
}

}  // namespace oxa::jobs
