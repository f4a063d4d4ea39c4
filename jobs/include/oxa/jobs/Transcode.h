// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Job.h"

namespace oxa::jobs {

enum class AvcProfile { kBaseline, kMain, kHigh };

// A frame into which a picture is made to fit, in its shape; one that fits stays as it is.
struct PictureFrame {
    Size size;
    bool turnsWithPicture = false;  // for an upright picture it stands upright, too
};

struct TranscodeOptions : EncodeOptions {
    std::string input;  // as oxa/jobs/Input.h says
    InputPart part;
    std::optional<PictureFrame> maxSize;  // 16 to 8192; not with `size`
    std::optional<AvcProfile> profile;    // not given: the encoder's choice
    // 10 to 52 for 1.0 to 5.2, enough for size and rates; the same.
    std::optional<int32_t> level;
    std::optional<int32_t> audioRate;      // Hz; not given: the source's, or 48000
    std::optional<int32_t> audioChannels;  // 1 to 6; not given: the source's, at most 6
    // Whether the output has the input's title, artist, date, comment, languages and chapters
    // (MPEG-TS: title and languages).
    bool keepsMetadata = true;
    bool strict = false;  // damage of the input is a failure (kInput), which ends the job at once
    // Whether the output is decoded before it takes its name, and compared with the input: number,
    // times and coarse content of pictures, place and end of sound. What differs is a failure
    // (kFailed). Takes as long as decoding both. For a file that is not a stream.
    bool verify = false;
};

// Turns the first picture and the first sound of a file into AVC and AAC in MP4 or an
// MPEG transport stream. A picture in HDR becomes BT.709, with a warning. A track that cannot be
// decoded is left out with a warning; damage is counted in the result.
//
// The file is written beside its final name and takes it when it is complete. A job that fails
// leaves nothing. One that is cancelled keeps the shorter file if it has a picture with its sound,
// or a second of sound alone: under the final name if nothing is there, otherwise beside it.
//
// While `run` lasts, the calling thread and the job's own are scheduled for throughput
// (SCHED_BATCH), where the caller's had the usual policy.
class Transcode : public Job {
  public:
    explicit Transcode(TranscodeOptions options, JobListener* listener = nullptr);

  private:
    Result work(JobContext& context) override;

    const TranscodeOptions mOptions;
};

}  // namespace oxa::jobs
