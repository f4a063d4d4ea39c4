// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
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

    // Those that are decoded from the first one at `startUs` or later to the first one at `lastUs`
    // or later.
    std::vector<int64_t> decoded(int64_t startUs, int64_t lastUs) const;

    // All pictures of the part, in the order of time, without decoding them.
    std::vector<StoredPicture> stored(const InputPart& part) const;

  private:
    const InputFile& mInput;
    const Track& mVideo;
    const CancelFlag& mCancelled;
};

}  // namespace oxa::jobs
