// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "oxa/jobs/Job.h"
#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

struct PlanOptions : TranscodeOptions {
    // Of `input`, a file; `output` only has to be another one.
    std::optional<int32_t> parts;         // 1 to 1000
    std::optional<int64_t> partLengthUs;  // instead; 1 s or more
};

// What one film is made of.
struct FilmPlan {
    // The pictures: one part behind the other, nothing between them, the first one from the film's
    // start and the last one to its end. For each part a transcoding of the pictures alone, into
    // MP4. Without pictures one part, of the sound.
    std::vector<InputPart> parts;
    bool hasPictures = false;
    // The sound, as one more transcoding, into MP4, of the sound alone; it takes the place of the
    // parts' in Join.
    std::optional<InputPart> sound;
};

// Looks for the places at which a film can be cut so that its parts, encoded on whatever machines
// with the same options and joined, are the film that one transcoding makes: its pictures with
// their times, its key frames as far as the encoder does not choose them by what is to be seen,
// and its sound. There are fewer parts than asked for, with a warning, where there are not enough
// such places; one for a file whose clock jumps. Reads around each place; a file that has no
// complete index (all but MP4) is read once.
class Plan : public Job {
  public:
    explicit Plan(PlanOptions options, JobListener* listener = nullptr);

    // After run() has returned without a failure.
    const FilmPlan& plan() const { return mPlan; }

  private:
    Result work(JobContext& context) override;

    const PlanOptions mOptions;
    FilmPlan mPlan;
};

}  // namespace oxa::jobs
