// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "oxa/jobs/Job.h"
#include "oxa/jobs/OutputOptions.h"

namespace oxa::jobs {

struct JoinOptions : OutputOptions {
    std::vector<std::string> parts;    // in their order; as oxa/jobs/Input.h says, not "-"
    std::optional<std::string> sound;  // a file whose sound takes the place of the parts'
};

// Makes one file of the first picture and the first sound of several, one behind the other, without
// decoding them. They must be AVC and AAC of one kind: size, settings of the encoder, rate,
// channels, container; the first part that is not is named (kInput).
//
// The pictures of a part follow directly at the end of the last ones. Its sound keeps its place to
// them within half a frame of AAC, however many parts there are: what an encoder has put in front
// of it, and what is longer than the pictures of the part before, is left out.
//
// Output and cancel() as of Transcode.
class Join : public Job {
  public:
    explicit Join(JoinOptions options, JobListener* listener = nullptr);

  private:
    Result work(JobContext& context) override;

    const JoinOptions mOptions;
};

}  // namespace oxa::jobs
