// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>
#include <oxa/host/OutputTags.h>

#include <optional>

#include "files/InputFile.h"
#include "oxa/jobs/Job.h"
#include "oxa/jobs/Transcode.h"
#include "run/JobContext.h"
#include "tracks/TrackChoice.h"

namespace oxa::jobs {

// What a transcoding reads, and what it is to become.
class TranscodeSource {
  public:
    // Outlive the object.
    TranscodeSource(const TranscodeOptions& options, JobContext& context);

    // Checks the options, opens the input and chooses its tracks. Nothing when it can be
    // transcoded; otherwise why not. Opens no output.
    std::optional<Failure> open();

    // What the listener is told. From now on the session's outputs say what the input says.
    JobStart started();
    // What they say then.
    const host::OutputTags& tags() const { return mTags; }

    const InputFile& input() const { return mInput; }
    Container container() const { return mContainer; }
    const android::_AV_FORMAT_FORMAT& target() const { return mTarget; }
    // Null where there is none, or none is wanted.
    const Track* video() const { return mTracks.video ? &*mTracks.video : nullptr; }
    const Track* audio() const { return mTracks.audio ? &*mTracks.audio : nullptr; }

  private:
    LeftBehind keepTags();

    const TranscodeOptions& mOptions;
    JobContext& mContext;
    Container mContainer = Container::kMpeg2Ts;
    InputFile mInput;
    TrackChoice mTracks;
    android::_AV_FORMAT_FORMAT mTarget = {};
    host::OutputTags mTags;
};

}  // namespace oxa::jobs
