// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyTask.h"

#include <utility>

namespace oxa::jobs {

using Step = host::TrackCopy::Step;

namespace {

host::TrackCopy::Container containerOf(Container container) {
    return container == Container::kMp4 ? host::TrackCopy::Container::kMp4
                                        : host::TrackCopy::Container::kMpeg2Ts;
}

}  // namespace

CopyTask::CopyTask(Work work)
    : mWork(std::move(work)), mCopy(mWork.descriptor, containerOf(mWork.container)) {}

void CopyTask::run() {
    if (mWork.sound != nullptr) mCopy.setSound(std::move(mWork.sound));
    for (size_t number = 0; number < mWork.parts; ++number) {
        if (!copyPart(number)) return;
    }
    mIsComplete = !mStopped;
    mCopy.finish(mStopped ? host::OutputEnd::kTogether : host::OutputEnd::kAll);
}

// False when it fails.
bool CopyTask::copyPart(size_t number) {
    if (mStopped) return true;
    Part part;
    mFailure = mWork.openPart(number, &part);
    if (mFailure) return false;
    mHasPictures = part.input->hasPictures();
    mCopy.append(std::move(part.input), number + 1 == mWork.parts);
    Step step = Step::kCopied;
    while (step == Step::kCopied && !mStopped)
        step = mCopy.copyNext();
    if (step != Step::kFailed) return true;
    const std::string refusal = mCopy.refusal();
    if (!refusal.empty()) {
        mFailure = Failure{FailureKind::kInput, "cannot copy '" + part.path + "': " + refusal};
    }
    return false;
}

}  // namespace oxa::jobs
