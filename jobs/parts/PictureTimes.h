// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "files/InputFile.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Track.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// A picture in its file.
struct StoredPicture {
    int64_t timeUs;
    size_t size;
};

// Tells when the pictures of a file are shown, in microseconds from the file's beginning, as a job
// sees them that works on a part of it. All calls block, until the job is cancelled.
class PictureTimes {
  public:
    // Outlive the object. `video` is a track of all of the file.
    PictureTimes(const InputFile& input, const Track& video, const CancelFlag& cancelled)
        : mInput(input), mVideo(video), mCancelled(cancelled) {}

    // Of the first one that is shown at `startUs` or later; nothing when none can be decoded.
    std::optional<int64_t> firstDecoded(int64_t startUs) const;

    // All pictures of the part, in the order of time, without decoding them.
    std::vector<StoredPicture> stored(const InputPart& part) const;

  private:
    const InputFile& mInput;
    const Track& mVideo;
    const CancelFlag& mCancelled;
};

}  // namespace oxa::jobs
