// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>

#include "oxa/jobs/Job.h"
#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

struct TranscodeInPartsOptions : TranscodeOptions {
    // How many parts are encoded at once, 1 to 64; not given: one for each processor, at most 8.
    // Each has decoder and encoder of its own, with its share of the processors and as much memory
    // as a Transcode has. Another number may go on with what one has begun: into which parts the
    // film is divided and how many threads each has was settled then.
    std::optional<int32_t> jobs;
};

// A Transcode of a file into a file that can be ended at any time, in any way, and goes on where it
// was when it is done again with the same options. The film is the same as a Transcode's (see Plan
// for what of its pictures is not, bit by bit).
//
// Until it has its name it is kept in parts in the folder "OUTPUT.parts" beside it, together with
// what they were made of: size and time of the input, the options, the version of this library.
// Another job that finds the folder uses what is complete if all of that is the same; otherwise it
// answers kOptions and says what is not. One that fails or is cancelled ends at once and leaves the
// folder if a part is complete, and nothing under the output's name. The folder needs as much room
// as two films.
class TranscodeInParts : public Job {
  public:
    explicit TranscodeInParts(TranscodeInPartsOptions options, JobListener* listener = nullptr);

  private:
    Result work(JobContext& context) override;

    const TranscodeInPartsOptions mOptions;
};

}  // namespace oxa::jobs
