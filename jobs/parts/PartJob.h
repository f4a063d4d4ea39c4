// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputTags.h>

#include <string>

#include "oxa/jobs/Join.h"
#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

// One of several jobs that are at work at once: one part of a film.
class PartJob : public Job {
  public:
    // `mostThreads`: of a codec.
    PartJob(TranscodeOptions options, unsigned mostThreads, JobListener* listener);

  private:
    Result work(JobContext& context) override;

    const TranscodeOptions mOptions;
    const unsigned mMostThreads;
};

// The film of its parts, which says this of itself.
class FilmJob : public Job {
  public:
    FilmJob(JoinOptions options, host::OutputTags tags, JobListener* listener);

  private:
    Result work(JobContext& context) override;

    const JoinOptions mOptions;
    const host::OutputTags mTags;
};

}  // namespace oxa::jobs
