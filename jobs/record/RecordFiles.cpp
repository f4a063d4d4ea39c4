// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/RecordFiles.h"

#include <oxa/host/OutputFiles.h>

#include <ctime>
#include <filesystem>

#include "encode/EncodeSetup.h"

namespace oxa::jobs {

RecordFiles::RecordFiles(const RecordOptions& options, const CaptureSource& source,
                         JobContext& context)
    : mOptions(options),
      mSource(source),
      mContext(context),
      mFileNames(options.output, options.splitUs.has_value()),
      mFirstName(options.outputDescriptor < 0 ? mFileNames.first(time(nullptr)) : options.output) {}

std::optional<Failure> RecordFiles::open(Container container) {
    android::Mutex::Autolock lock(mLock);
    EncodeOptions first = mOptions;
    first.output = mFirstName;
    mOpen.push_back(std::make_unique<OutputFile>(&mContext.cancelled()));
    auto failure = openOutput(first, container, WriteWay::kInPlace, mOpen.front().get());
    if (failure || !mOptions.splitUs) return failure;
    if (!mOpen.front()->bytes()) {
        return Failure{FailureKind::kOptions,
                       "split needs files, '" + mOptions.output + "' is none"};
    }
    host::setOutputFiles(
            {*mOptions.splitUs, [this] { return openNext(); }, [this] { finishOldest(); }});
    return std::nullopt;
}

// Of what is there only an ordinary file can be replaced, and never the one that is recorded.
bool RecordFiles::isTaken(const std::string& name) const {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(name, error);
    if (!std::filesystem::exists(status)) return false;
    if (!mOptions.replaceOutput || !std::filesystem::is_regular_file(status)) return true;
    return mSource.isReadFrom(name);
}

int RecordFiles::openNext() {
    android::Mutex::Autolock lock(mLock);
    const std::string name = mFileNames.next(
            time(nullptr), [this](const std::string& wanted) { return isTaken(wanted); });
    auto file = std::make_unique<OutputFile>(&mContext.cancelled());
    if (auto failure = file->openInPlace(name, mOptions.replaceOutput, -1)) {
        mContext.queue()->push(
                FileTrouble{failure->text + ", the recording goes on in the file before"});
        return -1;
    }
    mOpen.back()->keep();
    mOpen.push_back(std::move(file));
    return mOpen.back()->descriptor();
}

void RecordFiles::finishOldest() {
    android::Mutex::Autolock lock(mLock);
    if (auto failure = finishFrontLocked()) mContext.queue()->push(FileTrouble{failure->text});
}

std::optional<Failure> RecordFiles::finishFrontLocked() {
    OutputFile& file = *mOpen.front();
    auto failure = file.finish();
    mNames.push_back(file.currentName());
    if (mOpen.size() == 1) return failure;
    mFinishedBytes += file.bytes().value_or(0);
    mOpen.pop_front();
    return failure;
}

int RecordFiles::descriptor() const {
    android::Mutex::Autolock lock(mLock);
    return mOpen.front()->descriptor();
}

std::string RecordFiles::path() const {
    android::Mutex::Autolock lock(mLock);
    return mOpen.back()->path();
}

std::optional<int64_t> RecordFiles::bytes() const {
    android::Mutex::Autolock lock(mLock);
    int64_t sum = mFinishedBytes;
    for (const auto& file : mOpen) {
        const auto bytes = file->bytes();
        if (!bytes) return std::nullopt;
        sum += *bytes;
    }
    return sum;
}

void RecordFiles::keep() {
    android::Mutex::Autolock lock(mLock);
    // One that has just begun may be the first to meet a full disk.
    const bool isEmpty = mOpen.back()->bytes() == 0;
    if (!isEmpty || mOpen.size() == 1) mOpen.back()->keep();
}

bool RecordFiles::isKept() const {
    android::Mutex::Autolock lock(mLock);
    return !mNames.empty() || mOpen.back()->isKept();
}

std::optional<Failure> RecordFiles::finish() {
    android::Mutex::Autolock lock(mLock);
    if (mOpen.size() > 1 && mOpen.back()->bytes() == 0) {
        mOpen.back()->discard();
        mOpen.pop_back();
    }
    std::optional<Failure> failure;
    for (size_t left = mOpen.size(); left > 0; --left) {
        auto unfinished = finishFrontLocked();
        if (!failure) failure = unfinished;
    }
    return failure;
}

std::vector<std::string> RecordFiles::names() const {
    android::Mutex::Autolock lock(mLock);
    return mNames;
}

std::vector<std::string> RecordFiles::takeFinished() {
    android::Mutex::Autolock lock(mLock);
    const std::vector<std::string> finished(mNames.begin() + mTold, mNames.end());
    mTold = static_cast<std::ptrdiff_t>(mNames.size());
    return finished;
}

void RecordFiles::discard() {
    android::Mutex::Autolock lock(mLock);
    for (const auto& file : mOpen)
        file->discard();
}

}  // namespace oxa::jobs
