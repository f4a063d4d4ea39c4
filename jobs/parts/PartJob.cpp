// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/PartJob.h"

#include <oxa/host/CodecThreads.h>

#include <utility>

#include "copy/JoinWork.h"
#include "transcode/TranscodeWork.h"

namespace oxa::jobs {

PartJob::PartJob(TranscodeOptions options, unsigned mostThreads, JobListener* listener)
    : Job(listener), mOptions(std::move(options)), mMostThreads(mostThreads) {}

Result PartJob::work(JobContext& context) {
    host::setMostCodecThreads(mMostThreads);
    return transcode(mOptions, context);
}

FilmJob::FilmJob(JoinOptions options, host::OutputTags tags, JobListener* listener)
    : Job(listener), mOptions(std::move(options)), mTags(std::move(tags)) {}

Result FilmJob::work(JobContext& context) {
    return joinFiles(mOptions, &mTags, context);
}

}  // namespace oxa::jobs
