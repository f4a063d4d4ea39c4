// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Job.h"
#include "oxa/jobs/OutputOptions.h"

namespace oxa::jobs {

struct RemuxOptions : OutputOptions {
    std::string input;  // as oxa/jobs/Input.h says
    // What is copied begins at the key frame at the start or before it: MP4 does not show what is
    // early, and its sound begins at the start to the sample; a transport stream begins with the
    // key frame. It ends with the last picture before the end; sound is cut to a frame of it.
    InputPart part;
};

// Puts the first picture and the first sound of a file into another container as they are, without
// decoding them. They must be AVC and AAC (kInput). A file keeps its metadata.
//
// Output and cancel() as of Transcode.
class Remux : public Job {
  public:
    explicit Remux(RemuxOptions options, JobListener* listener = nullptr);

  private:
    Result work(JobContext& context) override;

    const RemuxOptions mOptions;
};

}  // namespace oxa::jobs
