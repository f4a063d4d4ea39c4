// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Job.h"

namespace oxa::jobs {

struct ContactSheetOptions {
    std::string input;  // as oxa/jobs/Input.h says
    // As those of EncodeOptions, for a PNG: a name has no extension or ".png".
    std::string output;
    int outputDescriptor = -1;
    bool replaceOutput = false;
    int columns = 4;   // 1 to 20
    int rows = 4;      // 1 to 20
    int width = 1280;  // of the whole sheet in pixels, 64 to 8192
};

// Makes one picture of pictures from all over a film, each with its time, row by row. A film with
// fewer pictures leaves places empty. Writes to a folder of its own under TMPDIR meanwhile, and the
// output as Transcode does; one that is cancelled leaves nothing.
class ContactSheet : public Job {
  public:
    explicit ContactSheet(ContactSheetOptions options, JobListener* listener = nullptr);

    // After run(), of a sheet that was written: its size, and the times of its pictures, in
    // microseconds.
    Size size() const { return mSize; }
    const std::vector<int64_t>& timesUs() const { return mTimesUs; }

  private:
    Result work(JobContext& context) override;

    const ContactSheetOptions mOptions;
    Size mSize = {0, 0};
    std::vector<int64_t> mTimesUs;
};

}  // namespace oxa::jobs
