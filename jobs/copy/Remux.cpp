// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Remux.h"

#include <algorithm>
#include <utility>

#include "copy/CopyWork.h"
#include "encode/EncodeSetup.h"
#include "tracks/PartChoice.h"
#include "tracks/SourceTags.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

class RemuxWork : public CopyWork {
  public:
    RemuxWork(const RemuxOptions& options, JobContext& context)
        : CopyWork(options, context), mOptions(options), mFile(&context.cancelled()) {}

  private:
    std::optional<Failure> openInputs() override;
    JobStart started(Container container) const override;
    CopyRun::Work work(const OutputFile& output, Container container) override;
    int64_t durationUs() const;

    const RemuxOptions& mOptions;
    InputFile mFile;
    TrackChoice mTracks;
    std::unique_ptr<host::CopyInput> mInput = std::make_unique<host::CopyInput>();
};

std::optional<Failure> RemuxWork::openInputs() {
    if (auto failure = mFile.open(mOptions.input)) return failure;
    if (auto failure = refuseInput(mFile, mOptions.output, mOptions.outputDescriptor)) {
        return failure;
    }
    std::vector<Track> tracks;
    if (auto failure = readTracks(mFile, &tracks)) return failure;
    if (auto failure = choosePart(mFile, mOptions.part, &tracks)) return failure;
    mTracks = {firstOf(tracks, true), firstOf(tracks, false)};
    return openForCopy(mFile, true, true, mInput.get());
}

// Has the output say what the input says, and tells what is lost.
JobStart RemuxWork::started(Container container) const {
    JobStart start = {tracksOf(mTracks), container, {}};
    const auto input = host::inputDescription();
    if (!input) return start;
    const host::OutputTags tags = keptTags(*input, mTracks, mOptions.part, container);
    host::setOutputTags(tags);
    start.leftBehind = leftBehind(*input, mTracks, Only::kBoth, &tags);
    return start;
}

CopyRun::Work RemuxWork::work(const OutputFile& output, Container container) {
    // Shared, since a function can be copied.
    const auto input = std::make_shared<std::unique_ptr<host::CopyInput>>(std::move(mInput));
    const auto give = [path = mFile.path(), input](size_t, CopyTask::Part* part) {
        *part = {path, std::move(*input)};
        return std::optional<Failure>();
    };
    return {{output.descriptor(), container, 1, give, nullptr}, output, durationUs()};
}

int64_t RemuxWork::durationUs() const {
    int64_t endUs = longestDurationUs(tracksOf(mTracks)).value_or(0);
    if (mOptions.part.endUs) endUs = std::min(endUs, *mOptions.part.endUs);
    return std::max<int64_t>(0, endUs - mOptions.part.startUs);
}

}  // namespace

Remux::Remux(RemuxOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result Remux::work(JobContext& context) {
    return RemuxWork(mOptions, context).run();
}

}  // namespace oxa::jobs
