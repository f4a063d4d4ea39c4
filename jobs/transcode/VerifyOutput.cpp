// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/VerifyOutput.h"

#include "tracks/PartChoice.h"
#include "verify/OutputCheck.h"

namespace oxa::jobs {

std::optional<Failure> verifyOutput(const TranscodeSource& source, const std::string& output,
                                    const CancelFlag& cancelled) {
    const SignatureTracks tracks = {source.video() != nullptr, source.audio() != nullptr};
    const PictureChanges changes = {source.target().frameRate, source.target().deinterlace};
    MediaSignature wanted;
    MediaSignature written;
    if (auto failure = readSignature(source.input(), tracks, changes, cancelled, &wanted)) {
        return failure;
    }
    forgetPart();
    InputFile file;
    if (auto failure = file.openPath(output)) return failure;
    if (auto failure = readSignature(file, tracks, {}, cancelled, &written)) return failure;
    alignAlone(written, &wanted);
    if (source.container() == Container::kMpeg2Ts || beginsLate(wanted)) {
        alignToPictures(wanted, &written);
    }
    const std::string difference = differenceOf(wanted, written);
    if (difference.empty()) return std::nullopt;
    return Failure{FailureKind::kFailed, "the output is not what it should be: " + difference};
}

}  // namespace oxa::jobs
