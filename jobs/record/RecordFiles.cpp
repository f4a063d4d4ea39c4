// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/RecordFiles.h"

#include <fcntl.h>
#include <oxa/host/OutputFiles.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "encode/EncodeSetup.h"

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

// Nothing, or why no file can be made beside `name`.
std::optional<Failure> checkFolder(const std::string& name) {
    const fs::path folder = fs::path(name).parent_path();
    if (access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0) return std::nullopt;
    return Failure{FailureKind::kOutput, "cannot write '" + name + "': " + strerror(errno)};
}

}  // namespace

bool beginsSwitchedOff(const RecordOptions& options) {
    return options.standby || options.replayUs;
}

RecordFiles::RecordFiles(const RecordOptions& options, const CaptureSource& source,
                         JobContext& context)
    : mOptions(options),
      mSource(source),
      mContext(context),
      mStartTime(time(nullptr)),
      mFileNames(options.output,
                 options.splitUs || options.reconnect || beginsSwitchedOff(options)),
      mFirstName(options.outputDescriptor < 0 ? FileNames(mFileNames).first(mStartTime)
                                              : options.output) {}

std::optional<Failure> RecordFiles::open(Container container) {
    if (beginsSwitchedOff(mOptions)) {
        if (mOptions.outputDescriptor >= 0) return needsFiles("standby");
        if (auto failure = checkFolder(mFirstName)) return failure;
        mNowhere = FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
        mHasSeveral = true;
    } else if (auto failure = openFirst(container)) {
        return failure;
    }
    if (!mHasSeveral && mOptions.splitUs) return needsFiles("split");
    if (!mHasSeveral && mOptions.reconnect) return needsFiles("reconnect");
    if (!mHasSeveral) return std::nullopt;
    host::OutputFiles files;
    files.lengthUs = mOptions.splitUs.value_or(0);
    files.next = [this] { return openNext(); };
    files.finished = [this](const host::OutputFigures& figures) { finishOldest(figures); };
    if (mOptions.replayUs) {
        files.isWanted = [this] { return mIsWanted.load(); };
        files.keepUs = *mOptions.replayUs;
        files.grown = [this](int64_t us) { mLengthUs += us; };
        files.full = [this] { mIsFull = true; };
    }
    host::setOutputFiles(files);
    return std::nullopt;
}

std::optional<Failure> RecordFiles::openFirst(Container container) {
    android::Mutex::Autolock lock(mLock);
    EncodeOptions first = mOptions;
    first.output = mOptions.outputDescriptor < 0 ? mFileNames.first(mStartTime) : mOptions.output;
    mOpen.push_back(std::make_unique<OutputFile>(&mContext.cancelled()));
    auto failure = openOutput(first, container, WriteWay::kInPlace, mOpen.front().get());
    mHasSeveral = !failure && mOptions.outputDescriptor < 0 && mOpen.front()->bytes();
    return failure;
}

std::optional<Failure> RecordFiles::needsFiles(const std::string& what) const {
    return Failure{FailureKind::kOptions, what + " needs files, '" + mOptions.output + "' is none"};
}

// Of what is there only an ordinary file can be replaced, and never the one that is recorded.
bool RecordFiles::isTaken(const std::string& name) const {
    std::error_code error;
    const auto status = fs::symlink_status(name, error);
    if (!fs::exists(status)) return false;
    if (!mOptions.replaceOutput || !fs::is_regular_file(status)) return true;
    return mSource.isReadFrom(name);
}

std::optional<Failure> RecordFiles::openAnother() {
    android::Mutex::Autolock lock(mLock);
    const std::string name = mFileNames.next(
            time(nullptr), [this](const std::string& wanted) { return isTaken(wanted); });
    auto file = std::make_unique<OutputFile>(&mContext.cancelled());
    if (auto failure = file->openInPlace(name, mOptions.replaceOutput, -1)) return failure;
    keepLocked();
    mOpen.push_back(std::move(file));
    return std::nullopt;
}

// For the writers.
int RecordFiles::openNext() {
    if (const auto failure = openAnother()) {
        const char* const next = mOptions.splitUs ? ", the recording goes on in the file before"
                                                  : ", nothing is recorded";
        mContext.queue()->push(FileTrouble{failure->text + next});
        return -1;
    }
    return descriptor();
}

// Those before it that are empty were switched off before anything came.
void RecordFiles::finishOldest(const host::OutputFigures& figures) {
    android::Mutex::Autolock lock(mLock);
    while (mOpen.size() > 1 && mOpen.front()->bytes() == 0)
        discardFrontLocked();
    // Nothing came after its beginning.
    if (figures.pictures == 0 && figures.soundUnits == 0 && !mOpen.front()->isKept()) {
        return discardFrontLocked();
    }
    mTotal.pictures += static_cast<int64_t>(figures.pictures);
    mTotal.timeUs += std::max(figures.pictureEndUs, figures.soundEndUs);
    finishFrontLocked();
}

void RecordFiles::finishFrontLocked() {
    OutputFile& file = *mOpen.front();
    auto failure = file.finish();
    if (!mUnfinished) mUnfinished = failure;
    mNames.push_back(file.currentName());
    const auto bytes = file.bytes();
    mHasSize = mHasSize && bytes;
    mFinishedBytes += bytes.value_or(0);
    mOpen.pop_front();
}

void RecordFiles::discardFrontLocked() {
    mOpen.front()->discard();
    mOpen.pop_front();
}

int RecordFiles::descriptor() const {
    android::Mutex::Autolock lock(mLock);
    return mOpen.empty() ? mNowhere.get() : mOpen.back()->descriptor();
}

std::string RecordFiles::path() const {
    android::Mutex::Autolock lock(mLock);
    return mOpen.empty() ? mOptions.output : mOpen.back()->path();
}

RecordFiles::Total RecordFiles::total() const {
    android::Mutex::Autolock lock(mLock);
    return mTotal;
}

std::optional<int64_t> RecordFiles::bytes() const {
    android::Mutex::Autolock lock(mLock);
    if (!mHasSize) return std::nullopt;
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
    keepLocked();
}

// One that has just begun holds nothing yet, and may be the first to meet a full disk.
void RecordFiles::keepLocked() {
    if (!mOpen.empty() && mOpen.back()->bytes() != 0) mOpen.back()->keep();
}

bool RecordFiles::isKept() const {
    android::Mutex::Autolock lock(mLock);
    return !mNames.empty() || (!mOpen.empty() && mOpen.back()->isKept());
}

std::optional<Failure> RecordFiles::finish() {
    android::Mutex::Autolock lock(mLock);
    while (!mOpen.empty()) {
        if (mOpen.front()->bytes() == 0) {
            discardFrontLocked();
        } else {
            finishFrontLocked();
        }
    }
    return mUnfinished;
}

std::vector<std::string> RecordFiles::names() const {
    android::Mutex::Autolock lock(mLock);
    return mNames;
}

std::vector<std::string> RecordFiles::takeFinished() {
    android::Mutex::Autolock lock(mLock);
    std::vector<std::string> finished(mNames.begin() + mTold, mNames.end());
    mTold = static_cast<std::ptrdiff_t>(mNames.size());
    return finished;
}

void RecordFiles::discard() {
    android::Mutex::Autolock lock(mLock);
    for (const auto& file : mOpen)
        file->discard();
}

}  // namespace oxa::jobs
