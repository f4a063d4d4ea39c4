// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyWork.h"

#include <algorithm>

#include "encode/EncodeSetup.h"
#include "tracks/MessageText.h"
#include "tracks/PartChoice.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

Result CopyWork::run() {
    if (const auto failure = doWork()) {
        mResult.failure = *failure;
        mOutput.discard();
    }
    return mResult;
}

std::optional<Failure> CopyWork::doWork() {
    if (auto failure = setUpContainer(mOptions, &mContainer)) return failure;
    if (auto failure = openInputs()) return failure;
    if (auto failure = openOutput(mOptions, mContainer, WriteWay::kWhenComplete, &mOutput)) {
        return failure;
    }
    mContext.listener().onStart(started(mContainer));
    return copy();
}

std::optional<Failure> CopyWork::copy() {
    CopyRun run(work(mOutput, mContainer), mContext);
    const auto failure = run.run();
    // The output is read, too.
    forgetPart();
    mResult.damaged = run.damaged();
    return failure ? failure : complete(run);
}

std::optional<Failure> CopyWork::complete(const CopyRun& run) {
    const bool isShortened = run.wasShortened();
    if (!run.hasOutput()) {
        if (isShortened) return cancelledFailure();
        return Failure{FailureKind::kInput,
                       "there is nothing to copy for '" + mOptions.output + "'"};
    }
    if (auto failure = completeOutput(mOptions, isShortened, &mOutput)) return failure;
    summarize(run);
    return isShortened ? std::optional(cancelledFailure()) : std::nullopt;
}

void CopyWork::summarize(const CopyRun& run) {
    const host::OutputFigures& written = run.figures();
    mResult.files = {mOutput.currentName()};
    mResult.total = run.total();
    mResult.soundSec = (written.soundEndUs - written.soundStartUs) / 1e6;
    // The file itself knows best; what went through a pipe can only be counted.
    mResult.durationSec = std::max(written.pictureEndUs, written.soundEndUs) / 1e6;
    if (mResult.total.bytes && mOptions.outputDescriptor < 0) {
        mResult.durationSec = fileLengthSec(mOutput.currentName()).value_or(mResult.durationSec);
    }
}

std::optional<Failure> openForCopy(const InputFile& file, bool pictures, bool sound,
                                   host::CopyInput* input, bool keepsClock) {
    const android::status_t status =
            input->open(file.descriptor(), file.size(), pictures, sound, keepsClock);
    if (status != android::OK) {
        return Failure{FailureKind::kInput,
                       "cannot read '" + file.path() + "': " + statusText(status)};
    }
    if (input->refusal().empty()) return std::nullopt;
    return Failure{FailureKind::kInput, "cannot copy '" + file.path() + "': " + input->refusal()};
}

}  // namespace oxa::jobs
