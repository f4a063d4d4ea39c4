// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TranscodeSource.h"

#include "encode/EncodeSetup.h"
#include "tracks/SourceTags.h"
#include "transcode/TargetFormat.h"

namespace oxa::jobs {

TranscodeSource::TranscodeSource(const TranscodeOptions& options, JobContext& context)
    : mOptions(options), mContext(context), mInput(&context.cancelled()) {}

std::optional<Failure> TranscodeSource::open() {
    if (auto failure = setUpEncoding(mOptions, &mContainer)) return failure;
    if (auto failure = checkTarget(mOptions)) return failure;
    if (auto failure = mInput.open(mOptions.input)) return failure;
    if (auto failure = chooseTracks(mInput, mOptions.only, mOptions.part, mContext, &mTracks))
        return failure;
    mTarget = makeTargetFormat(mOptions, video(), audio());
    if (mTracks.video) {
        if (auto failure = checkLevel(mOptions, *mTracks.video, mTarget)) return failure;
    }
    return refuseInput(mInput, mOptions.output, mOptions.outputDescriptor);
}

JobStart TranscodeSource::started() {
    return {tracksOf(mTracks), mContainer, keepTags()};
}

// Tells what is lost.
LeftBehind TranscodeSource::keepTags() {
    const auto input = host::inputDescription();
    if (!input) return {};
    if (!mOptions.keepsMetadata) return leftBehind(*input, mTracks, mOptions.only, nullptr);
    mTags = keptTags(*input, mTracks, mOptions.part, mContainer);
    host::setOutputTags(mTags);
    return leftBehind(*input, mTracks, mOptions.only, &mTags);
}

}  // namespace oxa::jobs
